#include "projects.h"
#include "rows.h"

#include <QRegularExpression>

namespace {

/// A project whose image takes 10 arguments and two more for each file.
class FilesWorld : public World
{
public:
    explicit FilesWorld(int files)
    {
        QByteArray merges;
        for (int i = 0; i < files; ++i)
            merges += merge("Archive", 'f' + QByteArray::number(i));
        project(demo, filesystem(merges));
    }
};

const QByteArrayList allTools{"svnversion", "ztmkmtd",  "ztlpp",     "ztluac",
                              "ztlupdate",  "lrelease", "ztmkromfs", "ztlink"};

/// A project of one Lua file and one target, which runs all tools.
void writeProjectOfAllTools(World &world)
{
    world.project(demo + R"( Version="1" Svnversion="1")",
                  R"(<Target Model="T1"/><MTD16 Enabled="1"><Lua>mtd16.lua</Lua></MTD16>
                     <Translation Enabled="1"><Language>de</Language></Translation>)"
                          + tree());
    world.write("project/demo.mtdef");
    world.write("project/root/a.lua");
    world.makeDirectory("project/include");
}

} // namespace

class TestToolRunner : public QObject
{
    Q_OBJECT

private slots:
    void responseFileHoldsOneArgumentALine()
    {
        World world(demo, filesystem(merge("Archive", "a 'b' \"c\" \\d @e ü", "-x")
                                     + merge("Archive", {}, "/")));
        const Result result = world.run({"-q"});
        QCOMPARE(result.calls.size(), 1);
        SAME(result.calls[0].responseText,
             "-x\n.svn\n-o\nobj/root.romfs\n--label\nroot\n-D\n-x\n--merge\na 'b' \"c\" \\d @e ü\n"
             "-D\n/\n--merge\n\n-D\n/etc/version\n-i\nobj/version.txt\n");
        const QRegularExpression name(QStringLiteral("^%1/project/obj/args\\.[A-Za-z0-9]{6}$")
                                              .arg(QString::fromUtf8(world.path())));
        QVERIFY(name.match(QString::fromUtf8(result.calls[0].responseFile)).hasMatch());
    }

    void responseFileThatCannotBeMadeFailsTheBuild_data()
    {
        Rows<QByteArray, QByteArray> row; // obstacle, reason
        row("missing directory", {}, "No such file or directory");
        row("file for a directory", "project/obj", "Not a directory");
    }
    void responseFileThatCannotBeMadeFailsTheBuild()
    {
        const auto [obstacle, reason] = fetch<QByteArray, QByteArray>();
        World world(demo, "<Translation>" + languages({"a", "b", "c", "d", "e", "f", "g"})
                                  + "</Translation>");
        world.makeDirectory("project/translations");
        if (!obstacle.isEmpty())
            world.write(obstacle);
        // A file that was never made has no name but the template.
        SAME(world.run({"--clearobsolete"}).text(),
             report(1, {}, "[ztmake] Error writing obj/args.XXXXXX: " + reason + "\n"));
    }

    void responseFileThatIsCutShortFailsTheBuild()
    {
        FilesWorld world(4);
        const Result result = world.run({"-q"}, {.fileSizeLimit = 16});
        QCOMPARE(result.status, 1);
        QVERIFY(result.calls.isEmpty());
        const QRegularExpression message(QStringLiteral(
                "^\\[ztmake\\] Error writing \\S*obj/args\\.\\w{6}: File too large\n$"));
        QVERIFY2(message.match(QString::fromUtf8(result.err)).hasMatch(), result.err.constData());
        SAME(world.tree("project/obj"), "version.txt\n");
    }

    void echoNamesTheOtherDirectory()
    {
        World world(R"(Name="Demo" SDK="../../sdk")", "", "project/sub/demo.ztp");
        world.makeDirectory("project/sub/translations");
        const QByteArray call = "ztlupdate --clearobsolete --xml-report"
                                " ../sub/obj/translations/report.xml\n";
        SAME(world.run({"--clearobsolete", "sub/demo.ztp"}).text(),
             report(0, "(in $W/project/sub/translations) " + call,
                    "[ztmake] (in sub/translations) " + call));
    }

    void outputOfTheToolsIsForwardedInOrder()
    {
        World world(demo, minimal);
        world.plan("ztmkromfs", "* out packed\\n\n* err packing\\n\n");
        world.plan("ztlink", "* out linked\\n\n* err linking\\n\n* exit 1\n");
        const QByteArray failed = "[ztmake] Command exited with status 1\n";
        SAME(world.run({}).text(),
             report(1, pack() + linkTo("T1"),
                    echoOf(pack()) + "packing\n" + echoOf(linkTo("T1")) + "linking\n" + failed,
                    "packed\nlinked\n"));
        SAME(world.run({"-q"}).text(),
             report(1, pack() + linkTo("T1"), "packing\nlinking\n" + failed, "packed\nlinked\n"));
    }

    void failureOfAToolEndsTheBuild_data()
    {
        Rows<int> row; // position
        for (int i = 1; i < allTools.size(); ++i)
            row(allTools[i], i);
    }
    void failureOfAToolEndsTheBuild()
    {
        const auto [position] = fetch<int>();
        World world;
        writeProjectOfAllTools(world);
        world.plan(allTools[position], "* exit 3\n");
        const Result result = world.run({"-q"});
        QCOMPARE(names(result), allTools.mid(0, position + 1));
        SAME(result.text(),
             report(1, result.callText(), "[ztmake] Command exited with status 3\n"));
    }

    void inputIsLeftToTheTools()
    {
        World world(demo + R"( Svnversion="1")", minimal);
        world.plan("svnversion", "* read\n* out 7\\n\n");
        world.plan("ztmkromfs", "* exit 0\n");
        world.plan("ztlink", "* read\n");
        const Result result = world.run({"-q"}, {.input = "passphrase\n"});
        QCOMPARE(result.calls.size(), 3);
        SAME(result.calls[0].input, "");
        SAME(result.calls[2].input, "passphrase\n");
    }

    // It would come out of the response file as more than one.
    void argumentWithALineBreak()
    {
        World world(demo, tree() + process(noPreprocess + noCompile));
        for (int i = 0; i < 5; ++i)
            world.write("project/root/" + QByteArray::number(i) + ".lua");
        world.write("project/root/x\r\n--merge\n/\\path.lua");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Argument with a line break: x\\r\\n--merge\\n/\\\\path.lua\n");
        QCOMPARE(result.calls.size(), 0);
        QCOMPARE(world.tree("project/obj").count("args."), 0);
    }

    // Messages must not get into the files that the program opens.
    void closedStandardStreams_data()
    {
        Rows<QByteArray> row; // redirections
        row("all", "<&- >&- 2>&-");
        row("standard input", "<&-");
        row("standard output", ">&-");
        row("standard error", "2>&-");
        row("all but standard output", "<&- 2>&-");
        row("all but standard input", ">&- 2>&-");
    }
    void closedStandardStreams()
    {
        const auto [redirections] = fetch<QByteArray>();
        QByteArrayList texts;
        for (const QByteArray &command : {QByteArray(), redirections}) {
            QByteArray includes;
            for (int i = 0; i < 20; ++i)
                includes += "<Include>i" + QByteArray::number(i) + "</Include>";
            World world(
                    demo,
                    tree() + process("<Preprocess Type=\"Ztlpp\">" + includes + "</Preprocess>"));
            for (const char *name : {"a", "b", "c"})
                world.write("project/root/" + QByteArray(name) + ".lua");
            world.plan("ztlpp", "1 probe obj/.unfinished\n");
            const Result result = world.run({"-c", "exec ../sdk/bin/ztmake -vv " + command},
                                            {.program = "/bin/sh"});
            QCOMPARE(result.status, 0);
            QByteArray text = world.tree("project/obj") + world.read("project/obj/version.txt");
            for (const Call &call : result.calls)
                text += call.name + call.responseText + call.probes.join();
            QVERIFY(!result.calls.last().responseText.isEmpty());
            texts.append(text);
        }
        SAME(texts.last(), texts.first());
    }

    // Otherwise a file that a tool opens becomes one of them, and gets what the tool prints.
    void toolsHaveStandardStreamsThatWereClosed_data() { closedStandardStreams_data(); }
    void toolsHaveStandardStreamsThatWereClosed()
    {
        const auto [redirections] = fetch<QByteArray>();
        World world(demo, minimal);
        world.remove("sdk/bin/ztlink");
        world.write("sdk/bin/ztlink", "#!/bin/sh\nfor stream in 0 1 2; do\n"
                                      "test -e /proc/$$/fd/$stream || echo $stream >>closed\n"
                                      "done\n: >linked\n");
        world.setMode("sdk/bin/ztlink", 0755);
        const Result result = world.run({"-c", "exec ../sdk/bin/ztmake -q " + redirections},
                                        {.program = "/bin/sh"});
        QCOMPARE(result.status, 0);
        QVERIFY(world.exists("project/linked"));
        QVERIFY(!world.exists("project/closed"));
    }
};

QTEST_GUILESS_MAIN(TestToolRunner)
#include "tst_toolrunner.moc"
