#include "rows.h"
#include "world.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray linkCalls = "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/root.romfs"
                             " --output firmware/T1-Demo-firmware.ztf --name Demo\n";

/// A project whose image takes 10 arguments and two more for each file.
void writeProjectOfFiles(World &world, int files)
{
    QByteArray merges;
    for (int i = 0; i < files; ++i)
        merges +=
                "<Merge Type=\"Archive\"><Source>f" + QByteArray::number(i) + "</Source></Merge>\n";
    world.project(demo, "<Filesystem>" + merges + "</Filesystem>\n");
}

QByteArrayList imageArguments(int files, const QByteArray &letters)
{
    QByteArrayList arguments;
    if (!letters.isEmpty())
        arguments.append(letters);
    arguments << "-x"
              << ".svn"
              << "-o"
              << "obj/root.romfs"
              << "--label"
              << "root";
    for (int i = 0; i < files; ++i)
        arguments << "--merge"
                  << "f" + QByteArray::number(i);
    return arguments << "-D"
                     << "/etc/version"
                     << "-i"
                     << "obj/version.txt";
}

/// A project of one Lua file and one target, which runs all tools but that for definitions.
void writeProjectOfAllTools(World &world)
{
    world.project(
            demo + R"( Version="1" Svnversion="1")",
            "<Target Model=\"T1\"/>\n"
            "<Filesystem><Merge Type=\"Directory\"><Source>root</Source></Merge></Filesystem>\n"
            "<Translation Enabled=\"1\"><Language>de</Language></Translation>\n"
            "<MTD16 Enabled=\"1\"><Lua>mtd16.lua</Lua></MTD16>\n");
    world.write("project/demo.mtdef");
    world.write("project/root/a.lua");
    world.makeDirectory("project/include");
}

const QByteArrayList allTools{"svnversion", "ztmkmtd",  "ztlpp",     "ztluac",
                              "ztlupdate",  "lrelease", "ztmkromfs", "ztlink"};

} // namespace

class TestToolRunner : public QObject
{
    Q_OBJECT

private slots:
    void seventeenArgumentsTravelInAFile_data()
    {
        Rows<int, QByteArray> row; // files, letters
        row("10", 0, {});
        row("15", 2, "-v");
        row("16", 3, {});
        row("17", 3, "-v");
        row("18", 4, {});
        row("410", 200, {});
    }
    void seventeenArgumentsTravelInAFile()
    {
        const auto [files, letters] = fetch<int, QByteArray>();
        World world;
        writeProjectOfFiles(world, files);
        const Result result = world.run({letters.isEmpty() ? "-q" : letters});
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.size(), 1);
        const QByteArrayList expected = imageArguments(files, letters);
        QCOMPARE(result.calls[0].arguments, expected);
        if (expected.size() < 17)
            QCOMPARE(result.calls[0].received, expected);
        else
            QCOMPARE(result.calls[0].received, QByteArrayList{'@' + result.calls[0].responseFile});
        SAME(world.tree("project/obj"), "version.txt\n");
    }

    void responseFileHoldsOneArgumentALine()
    {
        World world;
        world.project(demo, "<Filesystem><Merge Type=\"Archive\"><Source>a 'b' \"c\" \\d @e ü"
                            "</Source><Destination>-x</Destination></Merge>"
                            "<Merge Type=\"Archive\"><Source/><Destination>/</Destination></Merge>"
                            "</Filesystem>");
        const Result result = world.run({"-q"});
        QCOMPARE(result.calls.size(), 1);
        SAME(result.calls[0].responseText,
             "-x\n.svn\n-o\nobj/root.romfs\n--label\nroot\n-D\n-x\n--merge\na 'b' \"c\" \\d @e ü\n"
             "-D\n/\n--merge\n\n-D\n/etc/version\n-i\nobj/version.txt\n");
    }

    void responseFileIsNamedByAnAbsolutePath()
    {
        World world;
        writeProjectOfFiles(world, 4);
        const QRegularExpression inProject(QStringLiteral("^%1/obj/args\\.[A-Za-z0-9]{6}$")
                                                   .arg(QString::fromUtf8(world.path("project"))));
        const auto responseFile = [&world](const QByteArrayList &arguments, const Start &start) {
            return QString::fromUtf8(world.run(arguments, start).calls.value(0).responseFile);
        };
        const QString first = responseFile({"-q"}, {});
        QVERIFY2(inProject.match(first).hasMatch(), qPrintable(first));
        const QString other = responseFile({"-q", "../project/demo.ztp"}, {.directory = "home"});
        QVERIFY2(other.startsWith(QLatin1Char('/')), qPrintable(other));
        QVERIFY2(other.contains(QStringLiteral("project/obj/args.")), qPrintable(other));
    }

    void responseFileIsRemovedAfterAFailure()
    {
        for (const char *failure : {"* exit 1\n", "* crash\n", "* kill\n"}) {
            World world;
            writeProjectOfFiles(world, 4);
            world.plan("ztmkromfs", failure);
            const Result result = world.run({"-q"});
            QCOMPARE(result.status, 1);
            QVERIFY(!result.calls.value(0).responseFile.isEmpty());
            SAME(world.tree("project/obj"), "version.txt\n");
        }
        World world;
        writeProjectOfFiles(world, 4);
        world.remove("sdk/bin/ztmkromfs");
        QCOMPARE(world.run({"-q"}).status, 1);
        SAME(world.tree("project/obj"), "version.txt\n");
    }

    void responseFileThatCannotBeMadeFailsTheBuild_data()
    {
        Rows<QByteArray> row; // obstacle
        row("missing directory", {});
        row("file for a directory", "project/obj");
    }
    void responseFileThatCannotBeMadeFailsTheBuild()
    {
        const auto [obstacle] = fetch<QByteArray>();
        World world;
        QByteArray languages;
        for (const char *language : {"a", "b", "c", "d", "e", "f", "g"})
            languages += "<Language>" + QByteArray(language) + "</Language>";
        world.project(demo, "<Translation>" + languages + "</Translation>");
        world.makeDirectory("project/translations");
        if (!obstacle.isEmpty())
            world.write(obstacle);
        const Result result = world.run({"--clearobsolete"});
        QCOMPARE(result.status, 1);
        QVERIFY(result.calls.isEmpty());
        const QByteArray reason =
                obstacle.isEmpty() ? "No such file or directory" : "Not a directory";
        // A file that was never made has no name but the template.
        SAME(result.err, "[ztmake] Error writing obj/args.XXXXXX: " + reason + "\n");
    }

    void responseFileThatIsCutShortFailsTheBuild()
    {
        World world;
        writeProjectOfFiles(world, 4);
        const Result result = world.run({"-q"}, {.fileSizeLimit = 16});
        QCOMPARE(result.status, 1);
        QVERIFY(result.calls.isEmpty());
        const QRegularExpression message(
                QStringLiteral("^\\[ztmake\\] Error writing \\S*obj/args\\.\\w{6}:"
                               " File too large\n$"));
        QVERIFY2(message.match(QString::fromUtf8(result.err)).hasMatch(), result.err.constData());
        SAME(world.tree("project/obj"), "version.txt\n");
    }

    void twentyArgumentsAreEchoed_data()
    {
        Rows<int, QByteArray, QByteArray, QByteArray> row; // files, option, letters, rest

        row("10", 0, "-R", {}, {});
        row("20", 5, "-R", {}, {});
        row("21", 5, "-v", "-v", " ...");
        row("22", 6, "-R", {}, " ...");
        row("51", 20, "-vv", "-vv", " ...");
    }
    void twentyArgumentsAreEchoed()
    {
        const auto [files, option, letters, rest] =
                fetch<int, QByteArray, QByteArray, QByteArray>();
        World world;
        writeProjectOfFiles(world, files);
        SAME(world.run({option}).err, "[ztmake] ztmkromfs "
                                              + imageArguments(files, letters).mid(0, 20).join(' ')
                                              + rest + '\n');
    }

    void echoNamesTheOtherDirectory()
    {
        World world;
        world.project(R"(Name="Demo" SDK="../../sdk")", "", "project/sub/demo.ztp");
        world.makeDirectory("project/sub/translations");
        SAME(world.run({"--clearobsolete", "sub/demo.ztp"}).text(),
             report(0,
                    "(in $W/project/sub/translations) ztlupdate --clearobsolete --xml-report"
                    " ../sub/obj/translations/report.xml\n",
                    "[ztmake] (in sub/translations) ztlupdate --clearobsolete --xml-report"
                    " ../sub/obj/translations/report.xml\n"));
    }

    void quietBuildsShowTheToolsAlone()
    {
        World world;
        world.project(demo, "<Target Model=\"T1\"/><Filesystem/>");
        world.plan("ztmkromfs", "* out packed\\n\n* err with a warning\\n\n");
        world.plan("ztlink", "* out linked\\n\n");
        const Result result = world.run({"-q"});
        SAME(result.err, "with a warning\n");
        SAME(result.out, "packed\nlinked\n");
    }

    void outputIsForwardedInOrder()
    {
        World world;
        world.project(demo, "<Target Model=\"T1\"/><Filesystem/>");
        world.plan("ztmkromfs", "* err packing\\n\n");
        world.plan("ztlink", "* err linking\\n\n* exit 1\n");
        SAME(world.run({}).err,
             "[ztmake] ztmkromfs -x .svn -o obj/root.romfs --label root -D /etc/version"
             " -i obj/version.txt\npacking\n[ztmake] "
                     + linkCalls
                     + "linking\n"
                       "[ztmake] Command exited with status 1\n");
    }

    void failureOfAToolEndsTheBuild_data()
    {
        Rows<int> row; // position
        for (int i = 1; i < allTools.size(); ++i)
            row(allTools[i].constData(), i);
    }
    void failureOfAToolEndsTheBuild()
    {
        const auto [position] = fetch<int>();
        World world;
        writeProjectOfAllTools(world);
        world.plan(allTools[position], "* exit 3\n");
        const Result result = world.run({"-q"});
        QByteArrayList names;
        for (const Call &call : result.calls)
            names.append(call.name);
        QCOMPARE(names, allTools.mid(0, position + 1));
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Command exited with status 3\n");
    }

    void failedTool_data()
    {
        Rows<QByteArray, QByteArray> row; // plan, error

        for (const char *status : {"1", "2", "126", "255"})
            row(status, "* exit " + QByteArray(status) + '\n',
                "Command exited with status " + QByteArray(status));
        row("aborted", "* crash\n", "Command crashed");
        row("killed", "* kill\n", "Command crashed");
        row("missing", "missing", "Command failed to run: $W/sdk/bin/ztmkromfs");
        row("directory", "directory", "Command failed to run: $W/sdk/bin/ztmkromfs");
        row("no program", "text", "Command failed to run: $W/sdk/bin/ztmkromfs");
    }
    void failedTool()
    {
        const auto [plan, error] = fetch<QByteArray, QByteArray>();
        World world;
        world.project(demo, "<Target Model=\"T1\"/><Filesystem/>");
        if (plan.startsWith('*')) {
            world.plan("ztmkromfs", plan);
        } else {
            world.remove("sdk/bin/ztmkromfs");
            if (plan == "directory")
                world.makeDirectory("sdk/bin/ztmkromfs");
            if (plan == "text")
                world.write("sdk/bin/ztmkromfs", "no program\n");
        }
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 1);
        QCOMPARE(result.calls.size(), plan.startsWith('*') ? 1 : 0);
        SAME(result.err, "[ztmake] " + error + '\n');
    }

    void inputIsLeftToTheTools()
    {
        World world;
        world.project(demo + R"( Svnversion="1")", "<Target Model=\"T1\"/><Filesystem/>");
        world.plan("svnversion", "* read\n* out 7\\n\n");
        world.plan("ztmkromfs", "* exit 0\n");
        world.plan("ztlink", "* read\n");
        const Result result = world.run({"-q"}, {.input = "passphrase\n"});
        QCOMPARE(result.calls.size(), 3);
        SAME(result.calls[0].input, "");
        SAME(result.calls[2].input, "passphrase\n");
    }
};

QTEST_GUILESS_MAIN(TestToolRunner)
#include "tst_toolrunner.moc"
