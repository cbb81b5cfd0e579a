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

class tst_ToolRunner : public QObject
{
    Q_OBJECT

private slots:
    void seventeenArgumentsTravelInAFile_data();
    void seventeenArgumentsTravelInAFile();
    void responseFileHoldsOneArgumentALine();
    void responseFileIsNamedByAnAbsolutePath();
    void responseFileIsRemovedAfterAFailure();
    void responseFileThatCannotBeMadeFailsTheBuild_data();
    void responseFileThatCannotBeMadeFailsTheBuild();
    void responseFileThatIsCutShortFailsTheBuild();
    void twentyArgumentsAreEchoed_data();
    void twentyArgumentsAreEchoed();
    void echoNamesTheOtherDirectory();
    void quietBuildsShowTheToolsAlone();
    void outputIsForwardedInOrder();
    void failureOfAToolEndsTheBuild_data();
    void failureOfAToolEndsTheBuild();
    void failedTool_data();
    void failedTool();
    void inputIsLeftToTheTools();
};

void tst_ToolRunner::seventeenArgumentsTravelInAFile_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<QByteArray>("letters");
    QTest::newRow("10") << 0 << QByteArray();
    QTest::newRow("15") << 2 << QByteArray("-v");
    QTest::newRow("16") << 3 << QByteArray();
    QTest::newRow("17") << 3 << QByteArray("-v");
    QTest::newRow("18") << 4 << QByteArray();
    QTest::newRow("410") << 200 << QByteArray();
}

void tst_ToolRunner::seventeenArgumentsTravelInAFile()
{
    QFETCH(int, files);
    QFETCH(QByteArray, letters);
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

void tst_ToolRunner::responseFileHoldsOneArgumentALine()
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

void tst_ToolRunner::responseFileIsNamedByAnAbsolutePath()
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

void tst_ToolRunner::responseFileIsRemovedAfterAFailure()
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

void tst_ToolRunner::responseFileThatCannotBeMadeFailsTheBuild_data()
{
    QTest::addColumn<QByteArray>("obstacle");
    QTest::newRow("missing directory") << QByteArray();
    QTest::newRow("file for a directory") << QByteArray("project/obj");
}

void tst_ToolRunner::responseFileThatCannotBeMadeFailsTheBuild()
{
    QFETCH(QByteArray, obstacle);
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
    const QByteArray reason = obstacle.isEmpty() ? "No such file or directory" : "Not a directory";
    // A file that was never made has no name but the template.
    SAME(result.err, "[ztmake] Error writing obj/args.XXXXXX: " + reason + "\n");
}

void tst_ToolRunner::responseFileThatIsCutShortFailsTheBuild()
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

void tst_ToolRunner::twentyArgumentsAreEchoed_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<QByteArray>("letters");
    QTest::addColumn<QByteArray>("rest");

    QTest::newRow("10") << 0 << QByteArray("-R") << QByteArray() << QByteArray();
    QTest::newRow("20") << 5 << QByteArray("-R") << QByteArray() << QByteArray();
    QTest::newRow("21") << 5 << QByteArray("-v") << QByteArray("-v") << QByteArray(" ...");
    QTest::newRow("22") << 6 << QByteArray("-R") << QByteArray() << QByteArray(" ...");
    QTest::newRow("51") << 20 << QByteArray("-vv") << QByteArray("-vv") << QByteArray(" ...");
}

void tst_ToolRunner::twentyArgumentsAreEchoed()
{
    QFETCH(int, files);
    QFETCH(QByteArray, option);
    QFETCH(QByteArray, letters);
    QFETCH(QByteArray, rest);
    World world;
    writeProjectOfFiles(world, files);
    SAME(world.run({option}).err,
         "[ztmake] ztmkromfs " + imageArguments(files, letters).mid(0, 20).join(' ') + rest + '\n');
}

void tst_ToolRunner::echoNamesTheOtherDirectory()
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

void tst_ToolRunner::quietBuildsShowTheToolsAlone()
{
    World world;
    world.project(demo, "<Target Model=\"T1\"/><Filesystem/>");
    world.plan("ztmkromfs", "* out packed\\n\n* err with a warning\\n\n");
    world.plan("ztlink", "* out linked\\n\n");
    const Result result = world.run({"-q"});
    SAME(result.err, "with a warning\n");
    SAME(result.out, "packed\nlinked\n");
}

void tst_ToolRunner::outputIsForwardedInOrder()
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

void tst_ToolRunner::failureOfAToolEndsTheBuild_data()
{
    QTest::addColumn<int>("position");
    for (int i = 1; i < allTools.size(); ++i)
        QTest::newRow(allTools[i].constData()) << i;
}

void tst_ToolRunner::failureOfAToolEndsTheBuild()
{
    QFETCH(int, position);
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

void tst_ToolRunner::failedTool_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QByteArray>("error");

    for (const char *status : {"1", "2", "126", "255"})
        QTest::newRow(status) << "* exit " + QByteArray(status) + '\n'
                              << "Command exited with status " + QByteArray(status);
    QTest::newRow("aborted") << QByteArray("* crash\n") << QByteArray("Command crashed");
    QTest::newRow("killed") << QByteArray("* kill\n") << QByteArray("Command crashed");
    QTest::newRow("missing") << QByteArray("missing")
                             << QByteArray("Command failed to run: $W/sdk/bin/ztmkromfs");
    QTest::newRow("directory") << QByteArray("directory")
                               << QByteArray("Command failed to run: $W/sdk/bin/ztmkromfs");
    QTest::newRow("no program") << QByteArray("text")
                                << QByteArray("Command failed to run: $W/sdk/bin/ztmkromfs");
}

void tst_ToolRunner::failedTool()
{
    QFETCH(QByteArray, plan);
    QFETCH(QByteArray, error);
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

void tst_ToolRunner::inputIsLeftToTheTools()
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

QTEST_GUILESS_MAIN(tst_ToolRunner)
#include "tst_toolrunner.moc"
