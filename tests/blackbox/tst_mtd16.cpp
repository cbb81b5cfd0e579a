#include "projects.h"
#include "rows.h"

namespace {

const QByteArray headerFile = "include/mtd16.lh";
const QByteArray luaFile = "root/usr/lib/lua/mtd16.lua";

/// A project that does nothing but compile its definitions.
class Mtd16World : public World
{
public:
    explicit Mtd16World(const QByteArray &mtd16 = R"(<MTD16 Enabled="1"/>)",
                        const QByteArray &name = "project/demo.ztp")
    {
        project(demo, mtd16, name);
        makeDirectory("project/include");
        makeDirectory("project/root/usr/lib/lua");
    }
};

} // namespace

class TestMtd16 : public QObject
{
    Q_OBJECT

private slots:
    void definitionsAreOffUnlessSwitchedOn_data()
    {
        Rows<QByteArray, bool> row; // element, on
        row("on", R"(<MTD16 Enabled="yes"/>)", true);
        row("off", R"(<MTD16 Enabled="no"/>)", false);
        row("unset", "<MTD16/>", false);
        row("absent", {}, false);
    }
    void definitionsAreOffUnlessSwitchedOn()
    {
        const auto [element, on] = fetch<QByteArray, bool>();
        Mtd16World world(element);
        world.write("project/demo.mtdef");
        SAME(world.run({"-q"}).text(),
             report(0, on ? "ztmkmtd --header " + headerFile + " --lua " + luaFile + " demo.mtdef\n"
                          : QByteArray()));
        QCOMPARE(world.exists("project/" + headerFile), on);
    }

    void filesOfTheDefinitions_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, QByteArray> row; // children, and what they name
        const QByteArray file = "demo.mtdef";
        row("default", {}, headerFile, luaFile, file);
        row("definitions", "<Source>defs/a.def</Source>", headerFile, luaFile, "defs/a.def");
        row("empty definitions", "<Source/>", headerFile, luaFile, file);
        row("header", "<Header>a.lh</Header>", "a.lh", luaFile, file);
        row("module", "<Lua>root/a.lua</Lua>", headerFile, "root/a.lua", file);
        row("defaults spelled out", "<Lua>" + luaFile + "</Lua><Header>" + headerFile + "</Header>",
            headerFile, luaFile, file);
        row("empty names mean the defaults", "<Header></Header><Lua/>", headerFile, luaFile, file);
        row("later names win", "<Header>a</Header><Header>b</Header>", "b", luaFile, file);
        row("names as written", "<Header>./include/../a b</Header><Lua>root//x</Lua>",
            "'./include/../a b'", "root//x", file);
    }
    void filesOfTheDefinitions()
    {
        const auto [children, header, lua, definitions] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        Mtd16World world("<MTD16 Enabled=\"1\">" + children + "</MTD16>");
        world.write("project/demo.mtdef");
        world.write("project/defs/a.def");
        SAME(world.run({"-q"}).text(),
             report(0, "ztmkmtd --header " + header + " --lua " + lua + ' ' + definitions + '\n'));
        SAME(world.run({"-q"}).text(), report(0, {}));
    }

    void filesOfAProjectElsewhere_data()
    {
        Rows<QByteArray, QByteArray, QByteArray>
                row; // project, children, definitions [project: below the project directory, also
                     // the argument]

        // Only the derived name follows the project file.
        row("derived", "sub/box.ztp", {}, "sub/box.mtdef");
        row("named", "sub/box.ztp", "<Source>a.def</Source>", "a.def");
        row("named as it would be derived", "sub/box.ztp", "<Source>box.mtdef</Source>",
            "box.mtdef");
        row("two dots", "box.v2.ztp", {}, "box.v2.mtdef");
        row("no extension", "box", {}, "box.mtdef");
        row("no extension, dot in the directory", "sub.d/box", {}, "sub.mtdef");
        row("not below the SDK", "box.ztp", "<Source>$SDK/a.def</Source>", "$SDK/a.def");
    }
    void filesOfAProjectElsewhere()
    {
        const auto [project, children, definitions] = fetch<QByteArray, QByteArray, QByteArray>();
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

    void outputsOutOfDateAreAskedFor()
    {
        const QByteArray header = "--header " + headerFile + ' ';
        const QByteArray lua = "--lua " + luaFile + ' ';
        // The definitions have time 5, 0 is a missing output.
        for (const int headerTime : {0, 4, 5, 6}) {
            for (const int luaTime : {0, 4, 5, 6}) {
                for (const bool isForced : {false, true}) {
                    Mtd16World world;
                    world.write("project/demo.mtdef", "x\n", 5);
                    if (headerTime)
                        world.write("project/" + headerFile, "x\n", headerTime);
                    if (luaTime)
                        world.write("project/" + luaFile, "x\n", luaTime);
                    const QByteArray asked = (isForced || headerTime < 5 ? header : "")
                                             + (isForced || luaTime < 5 ? lua : "");
                    SAME(world.run({"-q", isForced ? "-A" : "-R"}).text(),
                         report(0, asked.isEmpty() ? "" : "ztmkmtd " + asked + "demo.mtdef\n"));
                }
            }
        }
    }

    void timeOfTheProjectFileDoesNotMatter()
    {
        Mtd16World world;
        world.write("project/demo.mtdef", "x\n", 5);
        world.write("project/" + headerFile, "x\n", 5);
        world.write("project/" + luaFile, "x\n", 5);
        world.setTime("project/demo.ztp", 1000000000);
        SAME(world.run({"-q"}).text(), report(0, {}));
    }

    void missingDefinitions_data()
    {
        Rows<QByteArray, QByteArray> row; // children, name
        row("derived", {}, "demo.mtdef");
        row("named", "<Source>a/b.def</Source>", "a/b.def");
    }
    void missingDefinitions()
    {
        const auto [children, name] = fetch<QByteArray, QByteArray>();
        Mtd16World world("<MTD16 Enabled=\"1\">" + children + "</MTD16><Filesystem/>");
        world.write("project/" + headerFile);
        world.write("project/" + luaFile);
        SAME(world.run({}).text(),
             report(1, {}, "[ztmake] MTD16 input file \"" + name + "\" not found.\n"));
        SAME(world.tree("project/obj"), "");
        QVERIFY(world.exists("project/" + headerFile));
    }

    void failedToolLeavesNoOutput_data()
    {
        // The times of header and module, 5 being the definitions'; plan, error; what stays.
        Rows<int, int, QByteArray, QByteArray, bool, bool> row;
        const QByteArray fail = "* partial\n* exit 2\n";
        const QByteArray failed = "Command exited with status 2";
        row("both asked for", 4, 4, fail, failed, false, false);
        row("header asked for", 4, 5, fail, failed, false, true);
        row("module asked for", 6, 4, fail, failed, true, false);
        row("nothing written", 4, 4, "* exit 2\n", failed, false, false);
        row("crash", 4, 5, "* partial\n* crash\n", "Command crashed", false, true);
        row("missing tool", 5, 4, {}, "Command failed to run: $W/sdk/bin/ztmkmtd", true, false);
    }
    void failedToolLeavesNoOutput()
    {
        const auto [header, lua, plan, error, headerStays, luaStays] =
                fetch<int, int, QByteArray, QByteArray, bool, bool>();
        Mtd16World world;
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

    void definitionsComeFirst()
    {
        World world(demo + R"( Svnversion="1")",
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
        world.project(demo, "<MTD16 Enabled=\"1\"/>" + tree() + process(noPreprocess));
        SAME(compilerCalls(world.run({"-q"})),
             "ztmkmtd --lua " + luaFile
                     + " demo.mtdef\n"
                       "ztluac -o obj/root/usr/lib/lua/mtd16.luo -- root/usr/lib/lua/mtd16.lua\n");
    }

    void bothOutputsCanBeOneFile_data()
    {
        Rows<QByteArray> row; // the other path of the header
        row("same path", "include/m");
        row("another path", "./include/m");
    }
    void bothOutputsCanBeOneFile()
    {
        const auto [path] = fetch<QByteArray>();
        World world(demo, "<MTD16 Enabled=\"1\"><Header>include/m</Header><Lua>" + path
                                  + "</Lua></MTD16>");
        world.makeDirectory("project/include");
        world.write("project/demo.mtdef");
        const Result result = world.run({"-q"});
        SAME(result.err, "");
        SAME(world.tree("project/include"), "m\n");
    }

    void verbosityIsTheProjects()
    {
        const QByteArray call =
                "ztmkmtd --header " + headerFile + " --lua " + luaFile + " demo.mtdef\n";
        for (const QByteArray &option : QByteArrayList{"-q", "-R", "-vv"}) {
            Mtd16World world;
            world.write("project/demo.mtdef");
            SAME(world.run({option}).text(), report(0, call, option == "-q" ? "" : echoOf(call)));
        }
    }
};

QTEST_GUILESS_MAIN(TestMtd16)
#include "tst_mtd16.moc"
