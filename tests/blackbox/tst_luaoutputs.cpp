#include "luaproject.h"
#include "rows.h"

class TestLuaOutputs : public QObject
{
    Q_OBJECT

private slots:
    // When a source is copied is the matter of tst_staleness.
    void copyHasTheBytesOfItsSource()
    {
        LuaWorld world(noPreprocess + noCompile);
        const QByteArray bytes("new\0\xff", 5);
        world.write("project/root/sub/X.LUA", bytes, 5);
        world.write("project/obj/root/sub/X.LUA", "old and longer", 4);
        const Result result = world.run({"-q"});
        SAME(compilerCalls(result), "");
        SAME(objectArguments(result), "-D sub/X.LUA -i obj/root/sub/X.LUA");
        SAME(world.read("project/obj/root/sub/X.LUA"), bytes);
    }

    void copyThatCannotBeReplaced()
    {
        LuaWorld world(noPreprocess + noCompile);
        world.write("project/root/a.lua");
        world.makeDirectory("project/obj/root/a.lua");
        world.setTime("project/obj/root/a.lua", -1);
        SAME(world.run({"-q"}).text(), report(1, {}, "[ztmake] Cannot delete obj/root/a.lua\n"));
        world.setTime("project/obj/root/a.lua", 1);
        QCOMPARE(world.run({"-q"}).status, 0);
    }

    void copyThatCannotBeWritten()
    {
        LuaWorld world(noPreprocess + noCompile);
        world.write("project/root/a.lua");
        world.makeDirectory("project/obj/root");
        world.setMode("project/obj/root", 0555);
        SAME(world.run({"-q"}, {.ordinaryUser = true}).text(),
             report(1, {}, "[ztmake] Cannot write obj/root/a.lua\n"));
        world.setMode("project/obj/root", 0755);
        world.setMode("project/root/a.lua", 0);
        SAME(world.run({"-q"}, {.ordinaryUser = true}).text(),
             report(1, {}, "[ztmake] Cannot write obj/root/a.lua\n"));
        SAME(world.tree("project/obj"), "root/\n");
    }

    void copyThatCannotBeDeletedStaysCurrent()
    {
        LuaWorld world(noPreprocess + noCompile);
        world.write("project/root/a.lua");
        world.write("project/obj/root/a.lua", "x\n", 1);
        world.setMode("project/obj/root", 0555);
        SAME(world.run({"-q", "-A"}, {.ordinaryUser = true}).text(),
             report(1, {}, "[ztmake] Cannot delete obj/root/a.lua\n"));
        SAME(world.tree("project/obj"), "root/\nroot/a.lua\n");
        const Result next = world.run({"-q"}, {.ordinaryUser = true});
        SAME(next.err, "");
        QCOMPARE(next.status, 0);
    }

    void partialOutputThatCannotBeDeletedIsMadeAgain()
    {
        LuaWorld world(noCompile);
        world.write("project/root/a.lua", "x\n", 2);
        world.write("project/obj/root/a.lui", "x\n", 1);
        world.setMode("project/obj/root", 0555);
        world.plan("ztlpp", "1 partial\n1 exit 3\n");
        SAME(world.run({"-q"}, {.ordinaryUser = true}).err,
             "[ztmake] Command exited with status 3\n");
        SAME(world.tree("project/obj"), "root/\nroot/a.lui\n");
        const Result next = world.run({"-q"}, {.ordinaryUser = true});
        SAME(next.err, "");
        QCOMPARE(next.status, 0);
        QCOMPARE(next.calls.first().name, "ztlpp");
    }

    void failingToolLeavesNoOutput_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // tool, calls, left
        row("preprocessor", "ztlpp", preprocess("a"), "root/a.luo\n");
        row("compiler", "ztluac", preprocess("a") + compile("a"), "root/a.lui\n");
    }
    void failingToolLeavesNoOutput()
    {
        const auto [tool, calls, left] = fetch<QByteArray, QByteArray, QByteArray>();
        LuaWorld world({});
        world.write("project/root/a.lua", "x\n", 5);
        world.write("project/obj/root/a.lui", "old", 4);
        world.write("project/obj/root/a.luo", "old", 3);
        world.plan(tool, "* partial\n* exit 1\n");
        SAME(world.run({"-q"}).text(), report(1, calls, "[ztmake] Command exited with status 1\n"));
        SAME(world.tree("project/obj"), "root/\n" + left);
    }

    void firstFailureEndsTheWalk()
    {
        World world(demo, filesystem(merge("Directory", "root") + merge("Directory", "more")));
        for (const char *name : {"root/a.lua", "root/b.lua", "root/c.lua", "more/d.lua"})
            world.write(QByteArray("project/") + name);
        const QByteArray first = world.entries("project/root")[0].chopped(4);
        const QByteArray second = world.entries("project/root")[1].chopped(4);
        world.plan("ztluac", "2 exit 9\n");
        SAME(world.run({"-q"}).text(),
             report(1, preprocess(first) + compile(first) + preprocess(second) + compile(second),
                    "[ztmake] Command exited with status 9\n"));
        QVERIFY(world.exists("project/obj/root/" + first + ".luo"));
        QVERIFY(!world.exists("project/obj/root/" + second + ".luo"));
    }

    // Its copy would stand where the directory of objects is.
    void copyOfASourceThatIsAFile()
    {
        LuaWorld world(noPreprocess + noCompile, "src/a.lua");
        world.write("project/src/a.lua");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(objectArguments(result), "-D  -i obj/root");
        SAME(world.run({"-q", "-A"}).text(), report(1, {}, "[ztmake] Cannot delete obj/root\n"));
    }

    void timeOfTheProjectFileCountsInMilliseconds()
    {
        const QList<std::tuple<qint64, qint64, bool>> times{
                // of project file and output; stale
                {5 * millisecond, 5 * millisecond - 1, true},
                {5 * millisecond + 900000, 5 * millisecond + 1, false},
                {5 * millisecond, 6 * millisecond, false}};
        for (const auto &[process, extension] : {std::pair{noPreprocess, "luo"},
                                                 {noCompile, "lui"},
                                                 {noPreprocess + noCompile, "lua"}}) {
            for (const auto &[project, output, isStale] : times) {
                LuaWorld world(process);
                const QByteArray object = QByteArray("project/obj/root/a.") + extension;
                world.write("project/root/a.lua", "new", 0);
                world.write(object, "old", output);
                world.setTime("project/demo.ztp", project);
                QCOMPARE(world.run({"-q"}).status, 0);
                QCOMPARE(world.read(object) != "old", isStale);
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestLuaOutputs)
#include "tst_luaoutputs.moc"
