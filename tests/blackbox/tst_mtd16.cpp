#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray headerFile = "include/mtd16.lh";
const QByteArray luaFile = "root/usr/lib/lua/mtd16.lua";

/// A project that does nothing but compile its definitions.
void writeProject(World &world, const QByteArray &mtd16 = R"(<MTD16 Enabled="1"/>)",
                  const QByteArray &name = "project/demo.ztp")
{
    world.project(demo, mtd16, name);
    world.makeDirectory("project/include");
    world.makeDirectory("project/root/usr/lib/lua");
}

} // namespace

class tst_Mtd16 : public QObject
{
    Q_OBJECT

private slots:
    void definitionsAreOffUnlessSwitchedOn_data();
    void definitionsAreOffUnlessSwitchedOn();
    void filesOfTheDefinitions_data();
    void filesOfTheDefinitions();
    void filesOfAProjectElsewhere_data();
    void filesOfAProjectElsewhere();
    void outputsOutOfDateAreAskedFor_data();
    void outputsOutOfDateAreAskedFor();
    void timeOfTheProjectFileDoesNotMatter();
    void missingDefinitions_data();
    void missingDefinitions();
    void failedToolLeavesNoOutput_data();
    void failedToolLeavesNoOutput();
    void definitionsComeFirst();
    void verbosityIsTheProjects_data();
    void verbosityIsTheProjects();
};

void tst_Mtd16::definitionsAreOffUnlessSwitchedOn_data()
{
    QTest::addColumn<QByteArray>("element");
    QTest::addColumn<bool>("on");
    QTest::newRow("on") << QByteArray(R"(<MTD16 Enabled="yes"/>)") << true;
    QTest::newRow("off") << QByteArray(R"(<MTD16 Enabled="no"/>)") << false;
    QTest::newRow("unset") << QByteArray("<MTD16/>") << false;
    QTest::newRow("absent") << QByteArray() << false;
}

void tst_Mtd16::definitionsAreOffUnlessSwitchedOn()
{
    QFETCH(QByteArray, element);
    QFETCH(bool, on);
    World world;
    writeProject(world, element);
    world.write("project/demo.mtdef");
    SAME(world.run({"-q"}).text(),
         report(0, on ? "ztmkmtd --header " + headerFile + " --lua " + luaFile + " demo.mtdef\n"
                      : QByteArray()));
    QCOMPARE(world.exists("project/" + headerFile), on);
}

void tst_Mtd16::filesOfTheDefinitions_data()
{
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArray>("arguments");

    const QByteArray both = "--header " + headerFile + " --lua " + luaFile + ' ';
    QTest::newRow("default") << QByteArray() << both + "demo.mtdef";
    QTest::newRow("definitions") << QByteArray("<Source>defs/a.def</Source>")
                                 << both + "defs/a.def";
    QTest::newRow("definitions by their default name")
            << QByteArray("<Source>demo.mtdef</Source>") << both + "demo.mtdef";
    QTest::newRow("empty definitions") << QByteArray("<Source/>") << both + "demo.mtdef";
    QTest::newRow("header") << QByteArray("<Header>a.lh</Header>")
                            << "--header a.lh --lua " + luaFile + " demo.mtdef";
    QTest::newRow("module") << QByteArray("<Lua>root/a.lua</Lua>")
                            << "--header " + headerFile + " --lua root/a.lua demo.mtdef";
    QTest::newRow("defaults spelled out")
            << "<Lua>" + luaFile + "</Lua><Header>" + headerFile + "</Header>"
            << both + "demo.mtdef";
    QTest::newRow("empty names mean the defaults")
            << QByteArray("<Header></Header><Lua/>") << both + "demo.mtdef";
    QTest::newRow("later names win") << QByteArray("<Header>a</Header><Header>b</Header>")
                                     << "--header b --lua " + luaFile + " demo.mtdef";
    QTest::newRow("names as written")
            << QByteArray("<Header>./include/../a b</Header><Lua>root//x</Lua>")
            << QByteArray("--header './include/../a b' --lua root//x demo.mtdef");
}

void tst_Mtd16::filesOfTheDefinitions()
{
    QFETCH(QByteArray, children);
    QFETCH(QByteArray, arguments);
    World world;
    writeProject(world, "<MTD16 Enabled=\"1\">" + children + "</MTD16>");
    world.write("project/demo.mtdef");
    world.write("project/defs/a.def");
    SAME(world.run({"-q"}).text(), report(0, "ztmkmtd " + arguments + '\n'));
    SAME(world.run({"-q"}).text(), report(0, {}));
}

void tst_Mtd16::filesOfAProjectElsewhere_data()
{
    QTest::addColumn<QByteArray>("project"); // below the project directory, also the argument
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArray>("definitions");

    // Only the derived name follows the project file.
    QTest::newRow("derived") << QByteArray("sub/box.ztp") << QByteArray()
                             << QByteArray("sub/box.mtdef");
    QTest::newRow("named") << QByteArray("sub/box.ztp") << QByteArray("<Source>a.def</Source>")
                           << QByteArray("a.def");
    QTest::newRow("named as it would be derived")
            << QByteArray("sub/box.ztp") << QByteArray("<Source>box.mtdef</Source>")
            << QByteArray("box.mtdef");
    QTest::newRow("two dots") << QByteArray("box.v2.ztp") << QByteArray()
                              << QByteArray("box.v2.mtdef");
    QTest::newRow("no extension") << QByteArray("box") << QByteArray() << QByteArray("box.mtdef");
    QTest::newRow("no extension, dot in the directory")
            << QByteArray("sub.d/box") << QByteArray() << QByteArray("sub.mtdef");
    QTest::newRow("not below the SDK")
            << QByteArray("box.ztp") << QByteArray("<Source>$SDK/a.def</Source>")
            << QByteArray("$SDK/a.def");
}

void tst_Mtd16::filesOfAProjectElsewhere()
{
    QFETCH(QByteArray, project);
    QFETCH(QByteArray, children);
    QFETCH(QByteArray, definitions);
    World world;
    world.project("Name=\"Demo\" SDK=\"" + world.path("sdk") + '"',
                  "<MTD16 Enabled=\"1\">" + children + "</MTD16>", "project/" + project);
    world.makeDirectory("project/include");
    world.makeDirectory("project/root/usr/lib/lua");
    world.write("project/" + definitions);
    const Result result = world.run({"-q", project});
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 1);
    const QByteArrayList expected{"--header", headerFile, "--lua", luaFile, definitions};
    QCOMPARE(result.calls[0].arguments, expected);
    QCOMPARE(result.calls[0].directory, world.path("project"));
}

void tst_Mtd16::outputsOutOfDateAreAskedFor_data()
{
    QTest::addColumn<int>("header"); // times; the definitions have 5; 0: missing
    QTest::addColumn<int>("lua");
    QTest::addColumn<bool>("forced");
    QTest::addColumn<QByteArray>("asked");

    const QByteArray header = "--header " + headerFile + ' ';
    const QByteArray lua = "--lua " + luaFile + ' ';
    const auto row = [](int headerTime, int luaTime, bool forced, const QByteArray &asked) {
        QTest::addRow("header %d, module %d%s", headerTime, luaTime, forced ? ", forced" : "")
                << headerTime << luaTime << forced << asked;
    };
    row(0, 0, false, header + lua);
    row(0, 4, false, header + lua);
    row(0, 5, false, header);
    row(0, 6, false, header);
    row(4, 0, false, header + lua);
    row(4, 4, false, header + lua);
    row(4, 5, false, header);
    row(4, 6, false, header);
    row(5, 0, false, lua);
    row(5, 4, false, lua);
    row(5, 5, false, "");
    row(5, 6, false, "");
    row(6, 0, false, lua);
    row(6, 4, false, lua);
    row(6, 5, false, "");
    row(6, 6, false, "");
    row(0, 0, true, header + lua);
    row(5, 4, true, header + lua);
    row(6, 6, true, header + lua);
}

void tst_Mtd16::outputsOutOfDateAreAskedFor()
{
    QFETCH(int, header);
    QFETCH(int, lua);
    QFETCH(bool, forced);
    QFETCH(QByteArray, asked);
    World world;
    writeProject(world);
    world.write("project/demo.mtdef", "x\n", 5);
    if (header)
        world.write("project/" + headerFile, "x\n", header);
    if (lua)
        world.write("project/" + luaFile, "x\n", lua);
    SAME(world.run({"-q", forced ? "-A" : "-R"}).text(),
         report(0, asked.isEmpty() ? QByteArray() : "ztmkmtd " + asked + "demo.mtdef\n"));
}

void tst_Mtd16::timeOfTheProjectFileDoesNotMatter()
{
    World world;
    writeProject(world);
    world.write("project/demo.mtdef", "x\n", 5);
    world.write("project/" + headerFile, "x\n", 5);
    world.write("project/" + luaFile, "x\n", 5);
    world.setTime("project/demo.ztp", 1000000000);
    SAME(world.run({"-q"}).text(), report(0, {}));
}

void tst_Mtd16::missingDefinitions_data()
{
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("derived") << QByteArray() << QByteArray("demo.mtdef");
    QTest::newRow("named") << QByteArray("<Source>a/b.def</Source>") << QByteArray("a/b.def");
}

void tst_Mtd16::missingDefinitions()
{
    QFETCH(QByteArray, children);
    QFETCH(QByteArray, name);
    World world;
    writeProject(world, "<MTD16 Enabled=\"1\">" + children + "</MTD16><Filesystem/>");
    world.write("project/" + headerFile);
    world.write("project/" + luaFile);
    SAME(world.run({}).text(),
         report(1, {}, "[ztmake] MTD16 input file \"" + name + "\" not found.\n"));
    SAME(world.tree("project/obj"), "");
    QVERIFY(world.exists("project/" + headerFile));
}

void tst_Mtd16::failedToolLeavesNoOutput_data()
{
    QTest::addColumn<int>("header"); // times; the definitions have 5
    QTest::addColumn<int>("lua");
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QByteArray>("error");
    QTest::addColumn<bool>("headerStays");
    QTest::addColumn<bool>("luaStays");

    const QByteArray fail = "* partial\n* exit 2\n";
    const QByteArray failed = "Command exited with status 2";
    QTest::newRow("both asked for") << 4 << 4 << fail << failed << false << false;
    QTest::newRow("header asked for") << 4 << 5 << fail << failed << false << true;
    QTest::newRow("module asked for") << 6 << 4 << fail << failed << true << false;
    QTest::newRow("nothing written")
            << 4 << 4 << QByteArray("* exit 2\n") << failed << false << false;
    QTest::newRow("crash") << 4 << 5 << QByteArray("* partial\n* crash\n")
                           << QByteArray("Command crashed") << false << true;
    QTest::newRow("missing tool") << 5 << 4 << QByteArray()
                                  << QByteArray("Command failed to run: $W/sdk/bin/ztmkmtd") << true
                                  << false;
}

void tst_Mtd16::failedToolLeavesNoOutput()
{
    QFETCH(int, header);
    QFETCH(int, lua);
    QFETCH(QByteArray, plan);
    QFETCH(QByteArray, error);
    QFETCH(bool, headerStays);
    QFETCH(bool, luaStays);
    World world;
    writeProject(world);
    world.write("project/demo.mtdef", "x\n", 5);
    world.write("project/" + headerFile, "old\n", header);
    world.write("project/" + luaFile, "old\n", lua);
    if (plan.isEmpty())
        world.remove("sdk/bin/ztmkmtd");
    else
        world.plan("ztmkmtd", plan);
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 1);
    SAME(result.err, "[ztmake] " + error + '\n');
    QCOMPARE(world.exists("project/" + headerFile), headerStays);
    QCOMPARE(world.exists("project/" + luaFile), luaStays);
    SAME(world.tree("project/obj"), "");
}

void tst_Mtd16::definitionsComeFirst()
{
    World world;
    world.project(demo + R"( Svnversion="1")",
                  R"(<MTD16 Enabled="1"/><Filesystem Label="wrong"/>)");
    world.makeDirectory("project/include");
    world.makeDirectory("project/root/usr/lib/lua");
    world.write("project/demo.mtdef");
    SAME(world.run({"-q"}).text(),
         report(1,
                "svnversion ''\nztmkmtd --header " + headerFile + " --lua " + luaFile
                        + " demo.mtdef\n",
                "[ztmake] Project must contain exactly one filesystem, labelled \"root\".\n"));

    // What they make is compiled in the same build.
    world.remove("project/" + luaFile);
    world.project(demo, R"(<MTD16 Enabled="1"/><Filesystem><Merge Type="Directory">
            <Source>root</Source></Merge><Process><Preprocess Type="Ztlpp" Enabled="0"/></Process>
            </Filesystem>)");
    const QByteArray calls = world.run({"-q"}).callText();
    SAME(calls.left(calls.indexOf("ztmkromfs")),
         "ztmkmtd --lua " + luaFile
                 + " demo.mtdef\n"
                   "ztluac -o obj/root/usr/lib/lua/mtd16.luo -- root/usr/lib/lua/mtd16.lua\n");
}

void tst_Mtd16::verbosityIsTheProjects_data()
{
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<bool>("echoed");
    QTest::newRow("quiet") << QByteArray("-q") << false;
    QTest::newRow("default") << QByteArray("-R") << true;
    QTest::newRow("verbose") << QByteArray("-vv") << true;
}

void tst_Mtd16::verbosityIsTheProjects()
{
    QFETCH(QByteArray, option);
    QFETCH(bool, echoed);
    World world;
    writeProject(world);
    world.write("project/demo.mtdef");
    const QByteArray call =
            "ztmkmtd --header " + headerFile + " --lua " + luaFile + " demo.mtdef\n";
    SAME(world.run({option}).text(), report(0, call, echoed ? echoOf(call) : QByteArray()));
}

QTEST_GUILESS_MAIN(tst_Mtd16)
#include "tst_mtd16.moc"
