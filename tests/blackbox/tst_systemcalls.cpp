#include "projects.h"

#include <QtTest>

#include <csignal>

/// Holds down what a build asks of the file system: a change that asks once more for each file is
/// seen here, without a clock.
namespace {

constexpr int folders = 20;
constexpr int filesInFolder = 50;
constexpr int files = folders * filesInFolder;

/// The calls of one build.
struct Counts
{
    int stats, accesses, directories, opens, syncs;
};

Counts countsOf(World *world, const QByteArray &sync = "1",
                const QByteArrayList &calls = {"ztmkromfs"})
{
    world->setVariable("ZTMAKE_SYNC", sync);
    world->setVariable("LD_PRELOAD", COUNTCALLS_LIBRARY);
    world->setVariable("COUNTCALLS_LOG", world->path("counts"));
    const Result result = world->run({"-q"});
    require(result.status == 0 && result.err.isEmpty(), "build", result.err);
    require(names(result) == calls, "see what is made", names(result).join(' '));
    const QByteArrayList counts = world->read("counts").simplified().split(' ');
    require(counts.size() == 5, "read the counts", {});
    return {counts[0].toInt(), counts[1].toInt(), counts[2].toInt(), counts[3].toInt(),
            counts[4].toInt()};
}

} // namespace

class TestSystemCalls : public QObject
{
    Q_OBJECT

private slots:
    void buildWithNothingToDoAsksThriceAFileAndOpensAFolderOnce()
    {
        World world(demo, tree());
        for (int i = 0; i < files; ++i) {
            const QByteArray name =
                    "d" + QByteArray::number(i % folders) + "/f" + QByteArray::number(i);
            world.write("project/root/" + name + ".lua", "x\n", 1);
            world.write("project/obj/root/" + name + ".lui", "x\n", 2);
            world.write("project/obj/root/" + name + ".luo", "x\n", 3);
        }
        const Counts counts = countsOf(&world);
        QVERIFY(counts.stats >= 3 * files); // otherwise the counting does not work
        QVERIFY(counts.stats <= 3 * files + 2 * folders);
        QVERIFY(counts.accesses <= 5);
        QVERIFY(counts.directories <= 5);
        QVERIFY(counts.opens >= 2 * folders); // those of the sources, and those of the outputs
        QVERIFY(counts.opens < 3 * folders);
        QCOMPARE(counts.syncs, 0);
    }

    void buildWaitsAsOftenForTheDiskForManyCopiesAsForOne()
    {
        QList<int> syncs;
        for (const auto &[copies, sync] : {std::pair(1, "1"), {files, ""}, {1, "0"}}) {
            World world(demo, tree() + process(noPreprocess + noCompile));
            for (int i = 0; i < copies; ++i)
                world.write("project/root/f" + QByteArray::number(i) + ".lua");
            syncs.append(countsOf(&world, sync).syncs);
        }
        // The note, its folder, and the file system of the outputs.
        QCOMPARE(syncs, QList<int>({3, 3, 0}));
    }

    void whatAKilledBuildHasFinishedIsWaitedFor()
    {
        World world(demo, tree() + process(noCompile));
        world.write("project/root/a.lua");
        world.plan("ztmkromfs", "* signal parent 9\n");
        QCOMPARE(world.run({"-q"}).signal, SIGKILL);
        world.plan("ztmkromfs", "");
        QCOMPARE(countsOf(&world).syncs, 1); // the file system of the outputs
    }

    void buildWaitsForTheDiskForAnOutputElsewhere()
    {
        World world(demo, "<MTD16 Enabled=\"1\"><Header>h</Header><Lua>h</Lua></MTD16>");
        world.write("project/demo.mtdef");
        // The note and its folder, and then the same for the output.
        QCOMPARE(countsOf(&world, "1", {"ztmkmtd"}).syncs, 4);
    }
};

QTEST_GUILESS_MAIN(TestSystemCalls)
#include "tst_systemcalls.moc"
