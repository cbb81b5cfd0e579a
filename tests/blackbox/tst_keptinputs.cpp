#include "luaproject.h"
#include "rows.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

void linkHard(const World &world, const QByteArray &file, const QByteArray &name)
{
    require(::link(world.path(file).constData(), world.path(name).constData()) == 0, "link", name);
}

} // namespace

/// Outputs that are inputs, by whatever name: nothing is removed or written to.
class TestKeptInputs : public QObject
{
    Q_OBJECT

private slots:
    void outputThatIsAnotherSource_data()
    {
        Rows<bool> row; // hard
        row("symbolic link", false);
        row("hard link", true);
    }
    void outputThatIsAnotherSource()
    {
        const auto [hard] = fetch<bool>();
        LuaWorld world({});
        world.write("project/root/a.lua", "a\n");
        world.write("project/root/b.lua", "b\n");
        world.makeDirectory("project/obj/root");
        if (hard)
            linkHard(world, "project/root/b.lua", "project/obj/root/a.luo");
        else
            world.link("../../root/b.lua", "project/obj/root/a.luo");
        const Result result = world.run({"-q", "-A"});
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Cannot write obj/root/a.luo\n");
        SAME(world.read("project/root/b.lua"), "b\n");
    }

    void copyThatIsTheSourceOfALaterEntry()
    {
        World world(demo + " ObjectDirectory=\".\"",
                    "<Filesystem><Merge Type=\"Directory\"><Source>app</Source></Merge>"
                    "<Merge Type=\"Directory\"><Source>root</Source></Merge></Filesystem>"
                            + process(noPreprocess + noCompile));
        world.write("project/app/a.lua", "app\n", 2);
        world.write("project/root/a.lua", "root\n", 1);
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Cannot write ./root/a.lua\n");
        SAME(world.read("project/root/a.lua"), "root\n");
    }

    void copyThatIsItsSource_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // how, object directory, argument
        for (const char *argument : {"-q", "-A"}) {
            row("object directory is the project's, "_ba + argument, "", ".", argument);
            row("linked tree, "_ba + argument, "tree", "obj", argument);
            row("linked file, "_ba + argument, "file", "obj", argument);
            row("hard link, "_ba + argument, "hard", "obj", argument);
        }
    }
    void copyThatIsItsSource()
    {
        const auto [how, directory, argument] = fetch<QByteArray, QByteArray, QByteArray>();
        LuaWorld world(noPreprocess + noCompile, "root",
                       demo + " ObjectDirectory=\"" + directory + '"');
        const QByteArray content = "the only copy\n";
        world.write("project/root/a.lua", content, 3);
        world.makeDirectory("project/obj");
        if (how == "tree")
            world.link("../root", "project/obj/root");
        if (how == "file")
            world.link("../../root/a.lua", "project/obj/root/a.lua");
        if (how == "hard") {
            world.makeDirectory("project/obj/root");
            linkHard(world, "project/root/a.lua", "project/obj/root/a.lua");
        }
        world.setTime("project/demo.ztp", 4 * millisecond); // all is out of date
        const QByteArray before = world.tree("project");
        const QByteArray path = directory == "." ? "./root/a.lua" : "obj/root/a.lua";
        for (int i = 0; i < 2; ++i) {
            const Result result = world.run({"-q", argument});
            QCOMPARE(result.status, 1);
            SAME(result.err, "[ztmake] Cannot write " + path + '\n');
            QCOMPARE(result.calls.size(), 0);
            SAME(world.read("project/root/a.lua"), content);
            QCOMPARE(world.time("project/root/a.lua"), 3);
            // With --all there is a note, so that the next build goes on with it.
            SAME(world.tree("project")
                         .replace("obj/.unfinished\n", "")
                         .replace(".unfinished\n", ""),
                 before);
        }
    }

    void outputThatIsAnInput_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // output, input, process
        row("preprocessed file, its source", "obj/root/a.lui", "root/a.lua", {});
        row("compiled file, its source", "obj/root/a.luo", "root/a.lua", noPreprocess);
        row("compiled file, the source of the chain", "obj/root/a.luo", "root/a.lua", {});
        row("preprocessed file, the project file", "obj/root/a.lui", "demo.ztp", {});
        row("compiled file, the definitions", "obj/root/a.luo", "demo.mtdef", {});
        row("copy, the definitions", "obj/root/a.lua", "demo.mtdef", noPreprocess + noCompile);
        row("header, the definitions", "made/m.lh", "demo.mtdef", {});
        row("module, the project file", "made/m.lua", "demo.ztp", {});
        row("compiled texts, their source", "obj/translations/de.qm", "translations/de.ts", {});
        row("version, the project file", "obj/version.txt", "demo.ztp", {});
        row("start-up script, texts", "obj/autoexec.lua", "translations/de.ts", {});
        row("image, the project file", "obj/root.romfs", "demo.ztp", {});
    }
    void outputThatIsAnInput()
    {
        const auto [output, input, process] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(demo, R"(<Target Model="A"/><Startup File="/main.lua"/>
<MTD16 Enabled="1"><Header>made/m.lh</Header><Lua>made/m.lua</Lua></MTD16>
<Translation Enabled="1"><Language>de</Language></Translation>)"
                                  + tree() + ::process(process));
        for (const char *name : {"root/a.lua", "demo.mtdef", "translations/de.ts", "made/x",
                                 "obj/translations/x", "obj/root/x"})
            world.write("project/"_ba + name);
        world.setTime("project/demo.ztp", 7);
        linkHard(world, "project/" + input, "project/" + output);
        const QByteArray content = world.read("project/" + input);
        const qint64 time = world.time("project/" + input);
        const Result result = world.run({"-q", "-A"}); // equal times are current
        QCOMPARE(world.read("project/" + input), content);
        QCOMPARE(world.time("project/" + input), time);
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Cannot write " + output + '\n');
    }

    // A copy of the tree by links, or a program that looks for equal files, makes such.
    void outputThatIsAnotherFileByALink_data()
    {
        Rows<QByteArray, bool> row; // output, hard
        for (const char *output : {"obj/root/a.lui", "obj/root/a.luo", "obj/translations/de.qm",
                                   "obj/version.txt", "obj/autoexec.lua"}) {
            row("hard link, "_ba + output, output, true);
            row("symbolic link, "_ba + output, output, false);
        }
        for (const char *output : {"made/m.lh", "made/m.lua"})
            row("hard link, "_ba + output, output, true);
    }
    void outputThatIsAnotherFileByALink()
    {
        const auto [output, hard] = fetch<QByteArray, bool>();
        World world(demo, R"(<Target Model="A"/><Startup File="/main.lua"/>
<MTD16 Enabled="1"><Header>made/m.lh</Header><Lua>made/m.lua</Lua></MTD16>
<Translation Enabled="1"><Language>de</Language></Translation>)"
                                  + tree());
        for (const char *name : {"root/a.lua", "root/data", "demo.mtdef", "translations/de.ts",
                                 "made/x", "obj/translations/x", "obj/root/x"})
            world.write("project/"_ba + name);
        world.write("project/root/data", "data");
        if (hard)
            linkHard(world, "project/root/data", "project/" + output);
        else
            world.link(world.path("project/root/data"), "project/" + output);
        const Result result = world.run({"-q", "-A"});
        SAME(result.err, "");
        QCOMPARE(result.status, 0);
        SAME(world.read("project/root/data"), "data");
        QVERIFY(world.exists("project/" + output) && world.read("project/" + output) != "data");
    }

    void moduleThatIsALink_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // module, where it leads, message
        row("to a source beside it", "root/m.lua", "a.lua", "[ztmake] Cannot write root/m.lua\n");
        row("to a source", "made/m.lua", "../root/a.lua", "[ztmake] Cannot write made/m.lua\n");
        row("elsewhere", "root/m.lua", "../made/m.lua", "");
    }
    void moduleThatIsALink()
    {
        const auto [module, target, message] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(demo, "<MTD16 Enabled=\"1\"><Lua>" + module + "</Lua></MTD16>" + tree());
        for (const char *name :
             {"root/a.lua", "demo.mtdef", "made/m.lua", "root/m.lua", "include/x"})
            world.write("project/"_ba + name, "content");
        world.remove("project/" + module);
        world.link(target, "project/" + module);
        const Result result = world.run({"-q", "-A"});
        SAME(result.err, message);
        SAME(world.read("project/root/a.lua"), "content");
        QCOMPARE(world.read("project/" + module) == "content", !message.isEmpty());
    }

    // The compiler must not read what it writes.
    void compiledFileThatLeadsToThePreprocessedOne()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.makeDirectory("project/obj/root");
        world.link("a.lui", "project/obj/root/a.luo");
        const Result result = world.run({"-q", "-A"});
        SAME(result.err, "[ztmake] Cannot write obj/root/a.luo\n");
        QCOMPARE(names(result), QByteArrayList{"ztlpp"});
    }

    void compiledFileThatIsThePreprocessedOne()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.write("project/obj/root/a.lui", "x\n", 1);
        linkHard(world, "project/obj/root/a.lui", "project/obj/root/a.luo");
        const Result result = world.run({"-q", "-A"});
        SAME(result.err, "");
        QVERIFY(world.read("project/obj/root/a.lui") != world.read("project/obj/root/a.luo"));
    }
};

QTEST_GUILESS_MAIN(TestKeptInputs)
#include "tst_keptinputs.moc"
