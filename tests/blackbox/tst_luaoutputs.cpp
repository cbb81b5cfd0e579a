#include "luaproject.h"
#include "rows.h"

class TestLuaOutputs : public QObject
{
    Q_OBJECT

private slots:
    // When a source is copied is the matter of tst_staleness.
    void copyHasTheBytesOfItsSource()
    {
        World world;
        writeProject(world, noPreprocess + noCompile);
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
        World world;
        writeProject(world, noPreprocess + noCompile);
        world.write("project/root/a.lua");
        world.makeDirectory("project/obj/root/a.lua");
        world.setTime("project/obj/root/a.lua", -1);
        SAME(world.run({"-q"}).text(), report(1, {}, "[ztmake] Cannot delete obj/root/a.lua\n"));
        world.setTime("project/obj/root/a.lua", 1);
        QCOMPARE(world.run({"-q"}).status, 0);
    }

    void copyThatCannotBeWritten()
    {
        World world;
        writeProject(world, noPreprocess + noCompile);
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
        World world;
        writeProject(world, noPreprocess + noCompile);
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
        World world;
        writeProject(world, noCompile);
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
        Rows<QByteArray, QByteArray, QByteArray> row; // tool, plan, error
        for (const QByteArray &tool : QByteArrayList{"ztlpp", "ztluac"}) {
            row(tool + " writes and fails", tool, "* partial\n* exit 1\n",
                "Command exited with status 1");
            row(tool + " fails", tool, "* exit 1\n", "Command exited with status 1");
            row(tool + " crashes", tool, "* partial\n* crash\n", "Command crashed");
            row(tool + " is killed", tool, "* partial\n* kill\n", "Command crashed");
            row(tool + " is missing", tool, {}, "Command failed to run: $W/sdk/bin/" + tool);
        }
    }
    void failingToolLeavesNoOutput()
    {
        const auto [tool, plan, error] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        writeProject(world, {});
        world.write("project/root/a.lua", "x\n", 5);
        world.write("project/obj/root/a.lui", "old", 4);
        world.write("project/obj/root/a.luo", "old", 3);
        if (plan.isEmpty())
            world.remove("sdk/bin/" + tool);
        else
            world.plan(tool, plan);
        const bool isSecond = tool == "ztluac";
        const QByteArray own = isSecond ? compile("a") : preprocess("a");
        SAME(world.run({"-q"}).text(),
             report(1, (isSecond ? preprocess("a") : "") + (plan.isEmpty() ? "" : own),
                    "[ztmake] " + error + '\n'));
        SAME(world.tree("project/obj"), isSecond ? "root/\nroot/a.lui\n" : "root/\nroot/a.luo\n");
    }

    void firstFailureEndsTheWalk()
    {
        World world;
        world.project(demo, filesystem(merge("Directory", "root") + merge("Directory", "more")));
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

    void directoryOfObjectsThatCannotBeMade()
    {
        World world;
        writeProject(world, {});
        world.write("project/root/sub/deep/a.lua");
        world.write("project/obj/root/sub");
        SAME(world.run({"-q"}).text(),
             report(1, {}, "[ztmake] Cannot make directory obj/root/sub/deep\n"));
        world.remove("project/obj/root");
        world.write("project/obj/root");
        SAME(world.run({"-q"}).text(), report(1, {}, "[ztmake] Cannot make directory obj/root\n"));
    }

    // Its copy would stand where the directory of objects is.
    void copyOfASourceThatIsAFile()
    {
        World world;
        writeProject(world, noPreprocess + noCompile, "src/a.lua");
        world.write("project/src/a.lua");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(objectArguments(result), "-D  -i obj/root");
        SAME(world.run({"-q", "-A"}).text(), report(1, {}, "[ztmake] Cannot delete obj/root\n"));
    }

    void timesAreComparedInNanoseconds_data()
    {
        Rows<qint64, qint64, bool> row; // source, output, rebuilt

        const qint64 second = 1000 * millisecond;
        row("a nanosecond older", qint64(5), qint64(4), true);
        row("equal", qint64(5), qint64(5), false);
        row("a nanosecond newer", qint64(5), qint64(6), false);
        row("a second older, more nanoseconds", second + 1, qint64(2), true);
        row("a second newer, fewer nanoseconds", qint64(2), second + 1, false);
        row("years apart", second * 100000000, qint64(0), true);
        row("before 1970", -second * 2000000000, -second * 2000000000 - 1, true);
    }
    void timesAreComparedInNanoseconds()
    {
        const auto [source, output, rebuilt] = fetch<qint64, qint64, bool>();
        World world;
        writeProject(world, noPreprocess);
        world.setTime("project/demo.ztp", -3000000000 * 1000 * millisecond);
        world.write("project/root/a.lua", "x\n", source);
        world.write("project/obj/root/a.luo", "x\n", output);
        if (world.time("project/root/a.lua") != source
            || world.time("project/obj/root/a.luo") != output)
            QSKIP("This file system does not keep such times.");
        SAME(compilerCalls(world.run({"-q"})),
             rebuilt ? "ztluac -o obj/root/a.luo -- root/a.lua\n" : "");
    }

    void projectFileMakesOutputsStale_data()
    {
        Rows<qint64, qint64, bool> row; // project, output, rebuilt

        // The project file's time counts in milliseconds only, and so does an output beside it.
        row("a millisecond older", 5 * millisecond, 4 * millisecond, true);
        row("a nanosecond older, another millisecond", 5 * millisecond, 5 * millisecond - 1, true);
        row("older within the millisecond", 5 * millisecond + 900000, 5 * millisecond + 1, false);
        row("equal", 5 * millisecond, 5 * millisecond, false);
        row("newer", 5 * millisecond, 6 * millisecond, false);
    }
    void projectFileMakesOutputsStale()
    {
        const auto [project, output, rebuilt] = fetch<qint64, qint64, bool>();
        for (const QByteArray &process : {noPreprocess, noCompile, noPreprocess + noCompile}) {
            World world;
            writeProject(world, process);
            const QByteArray object = process == noPreprocess ? "project/obj/root/a.luo"
                                      : process == noCompile  ? "project/obj/root/a.lui"
                                                              : "project/obj/root/a.lua";
            world.write("project/root/a.lua", "new", 0);
            world.write(object, "old", output);
            world.setTime("project/demo.ztp", project);
            QCOMPARE(world.run({"-q"}).status, 0);
            QCOMPARE(world.read(object) != "old", rebuilt);
        }
    }
};

QTEST_GUILESS_MAIN(TestLuaOutputs)
#include "tst_luaoutputs.moc"
