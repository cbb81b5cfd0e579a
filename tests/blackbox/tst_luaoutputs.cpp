#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray noPreprocess = R"(<Preprocess Type="Ztlpp" Enabled="0"/>)";
const QByteArray noCompile = R"(<Compile Type="Lua" Enabled="0"/>)";

constexpr qint64 millisecond = 1000000;

/// A project that merges one source tree (or file) with some processing options.
void writeProject(World &world, const QByteArray &process, const QByteArray &source = "root")
{
    world.project(demo, "<Filesystem><Merge Type=\"Directory\"><Source>" + source
                                + "</Source></Merge></Filesystem><Process>" + process
                                + "</Process>");
    world.setTime("project/demo.ztp", -1000 * millisecond);
}

QByteArray preprocess(const QByteArray &name)
{
    return "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/" + name
           + ".lui --root root -- root/" + name + ".lua\n";
}

QByteArray compile(const QByteArray &name)
{
    return "ztluac -o obj/root/" + name + ".luo -- obj/root/" + name + ".lui\n";
}

/// The calls of a run before the image is packed.
QByteArray compilerCalls(const Result &result)
{
    const QByteArray calls = result.callText();
    return calls.left(calls.indexOf("ztmkromfs"));
}

/// The arguments of the image between the source tree and the version file.
QByteArray objectArguments(const Result &result)
{
    if (result.calls.isEmpty() || result.calls.last().name != "ztmkromfs")
        return "no image";
    QByteArrayList arguments = result.calls.last().arguments;
    return arguments.mid(8, arguments.size() - 12).join(' ');
}

} // namespace

class tst_LuaOutputs : public QObject
{
    Q_OBJECT

private slots:
    void copiesAreReplacedWhenOutOfDate_data();
    void copiesAreReplacedWhenOutOfDate();
    void copyThatCannotBeReplaced();
    void copyThatCannotBeWritten();
    void copyThatCannotBeDeletedStaysCurrent();
    void partialOutputThatCannotBeDeletedIsMadeAgain();
    void failingToolLeavesNoOutput_data();
    void failingToolLeavesNoOutput();
    void firstFailureEndsTheWalk();
    void directoryOfObjectsThatCannotBeMade();
    void copyOfASourceThatIsAFile();
    void timesAreComparedInNanoseconds_data();
    void timesAreComparedInNanoseconds();
    void projectFileMakesOutputsStale_data();
    void projectFileMakesOutputsStale();
};

void tst_LuaOutputs::copiesAreReplacedWhenOutOfDate_data()
{
    QTest::addColumn<int>("copy"); // its time; the source has 5; 0: missing
    QTest::addColumn<bool>("forced");
    QTest::addColumn<bool>("copied");
    QTest::newRow("missing") << 0 << false << true;
    QTest::newRow("older") << 4 << false << true;
    QTest::newRow("equal") << 5 << false << false;
    QTest::newRow("newer") << 6 << false << false;
    QTest::newRow("newer, forced") << 6 << true << true;
}

void tst_LuaOutputs::copiesAreReplacedWhenOutOfDate()
{
    QFETCH(int, copy);
    QFETCH(bool, forced);
    QFETCH(bool, copied);
    World world;
    writeProject(world, noPreprocess + noCompile);
    world.write("project/root/sub/X.LUA", QByteArray("new\0\xff", 5), 5);
    if (copy)
        world.write("project/obj/root/sub/X.LUA", "old and longer", copy);
    const Result result = world.run({"-q", forced ? "-A" : "-R"});
    QCOMPARE(result.status, 0);
    SAME(compilerCalls(result), "");
    SAME(objectArguments(result), "-D sub/X.LUA -i obj/root/sub/X.LUA");
    SAME(world.read("project/obj/root/sub/X.LUA"),
         copied ? QByteArray("new\0\xff", 5) : QByteArray("old and longer"));
}

void tst_LuaOutputs::copyThatCannotBeReplaced()
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

void tst_LuaOutputs::copyThatCannotBeDeletedStaysCurrent()
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

void tst_LuaOutputs::partialOutputThatCannotBeDeletedIsMadeAgain()
{
    World world;
    writeProject(world, noCompile);
    world.write("project/root/a.lua", "x\n", 2);
    world.write("project/obj/root/a.lui", "x\n", 1);
    world.setMode("project/obj/root", 0555);
    world.plan("ztlpp", "1 partial\n1 exit 3\n");
    SAME(world.run({"-q"}, {.ordinaryUser = true}).err, "[ztmake] Command exited with status 3\n");
    SAME(world.tree("project/obj"), "root/\nroot/a.lui\n");
    const Result next = world.run({"-q"}, {.ordinaryUser = true});
    SAME(next.err, "");
    QCOMPARE(next.status, 0);
    QCOMPARE(next.calls.first().name, "ztlpp");
}

void tst_LuaOutputs::copyThatCannotBeWritten()
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

void tst_LuaOutputs::failingToolLeavesNoOutput_data()
{
    QTest::addColumn<QByteArray>("tool");
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<QByteArray>("error");
    QTest::addColumn<QByteArray>("left");

    const QByteArray first = preprocess("a");
    const QByteArray both = preprocess("a") + compile("a");
    const QByteArray nothing = "root/\nroot/a.luo\n";
    const QByteArray preprocessed = "root/\nroot/a.lui\n";
    const auto row = [](const char *name, const char *tool, const char *plan,
                        const QByteArray &calls, const char *error, const QByteArray &left) {
        QTest::newRow(name) << QByteArray(tool) << QByteArray(plan) << calls << QByteArray(error)
                            << left;
    };
    const char failed[] = "Command exited with status 1";
    row("ztlpp writes and fails", "ztlpp", "* partial\n* exit 1\n", first, failed, nothing);
    row("ztlpp fails", "ztlpp", "* exit 1\n", first, failed, nothing);
    row("ztlpp crashes", "ztlpp", "* partial\n* crash\n", first, "Command crashed", nothing);
    row("ztlpp is missing", "ztlpp", "missing", "", "Command failed to run: $W/sdk/bin/ztlpp",
        nothing);
    row("ztluac writes and fails", "ztluac", "* partial\n* exit 1\n", both, failed, preprocessed);
    row("ztluac fails", "ztluac", "* exit 1\n", both, failed, preprocessed);
    row("ztluac is killed", "ztluac", "* partial\n* kill\n", both, "Command crashed", preprocessed);
    row("ztluac is missing", "ztluac", "missing", first, "Command failed to run: $W/sdk/bin/ztluac",
        preprocessed);
}

void tst_LuaOutputs::failingToolLeavesNoOutput()
{
    QFETCH(QByteArray, tool);
    QFETCH(QByteArray, plan);
    QFETCH(QByteArray, calls);
    QFETCH(QByteArray, error);
    QFETCH(QByteArray, left);
    World world;
    writeProject(world, {});
    world.write("project/root/a.lua", "x\n", 5);
    world.write("project/obj/root/a.lui", "old", 4);
    world.write("project/obj/root/a.luo", "old", 3);
    if (plan == "missing")
        world.remove("sdk/bin/" + tool);
    else
        world.plan(tool, plan);
    SAME(world.run({"-q"}).text(), report(1, calls, "[ztmake] " + error + '\n'));
    SAME(world.tree("project/obj"), left);
}

void tst_LuaOutputs::firstFailureEndsTheWalk()
{
    World world;
    world.project(demo, R"(<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
            <Merge Type="Directory"><Source>more</Source></Merge></Filesystem>)");
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

void tst_LuaOutputs::directoryOfObjectsThatCannotBeMade()
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
void tst_LuaOutputs::copyOfASourceThatIsAFile()
{
    World world;
    writeProject(world, noPreprocess + noCompile, "src/a.lua");
    world.write("project/src/a.lua");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(objectArguments(result), "-D  -i obj/root");
    SAME(world.run({"-q", "-A"}).text(), report(1, {}, "[ztmake] Cannot delete obj/root\n"));
}

void tst_LuaOutputs::timesAreComparedInNanoseconds_data()
{
    QTest::addColumn<qint64>("source");
    QTest::addColumn<qint64>("output");
    QTest::addColumn<bool>("rebuilt");

    const qint64 second = 1000 * millisecond;
    QTest::newRow("a nanosecond older") << qint64(5) << qint64(4) << true;
    QTest::newRow("equal") << qint64(5) << qint64(5) << false;
    QTest::newRow("a nanosecond newer") << qint64(5) << qint64(6) << false;
    QTest::newRow("a second older, more nanoseconds") << second + 1 << qint64(2) << true;
    QTest::newRow("a second newer, fewer nanoseconds") << qint64(2) << second + 1 << false;
    QTest::newRow("years apart") << second * 100000000 << qint64(0) << true;
    QTest::newRow("before 1970") << -second * 2000000000 << -second * 2000000000 - 1 << true;
}

void tst_LuaOutputs::timesAreComparedInNanoseconds()
{
    QFETCH(qint64, source);
    QFETCH(qint64, output);
    QFETCH(bool, rebuilt);
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

void tst_LuaOutputs::projectFileMakesOutputsStale_data()
{
    QTest::addColumn<qint64>("project");
    QTest::addColumn<qint64>("output");
    QTest::addColumn<bool>("rebuilt");

    // The project file's time counts in milliseconds only, and so does an output beside it.
    QTest::newRow("a millisecond older") << 5 * millisecond << 4 * millisecond << true;
    QTest::newRow("a nanosecond older, another millisecond")
            << 5 * millisecond << 5 * millisecond - 1 << true;
    QTest::newRow("older within the millisecond")
            << 5 * millisecond + 900000 << 5 * millisecond + 1 << false;
    QTest::newRow("equal") << 5 * millisecond << 5 * millisecond << false;
    QTest::newRow("newer") << 5 * millisecond << 6 * millisecond << false;
}

void tst_LuaOutputs::projectFileMakesOutputsStale()
{
    QFETCH(qint64, project);
    QFETCH(qint64, output);
    QFETCH(bool, rebuilt);
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

QTEST_GUILESS_MAIN(tst_LuaOutputs)
#include "tst_luaoutputs.moc"
