#include "faults.h"
#include "projects.h"

#include <QSet>
#include <QtTest>

#include <sys/mount.h>
#include <unistd.h>

/// What the system has not got: descriptors, space, rights, room for arguments.
class TestLimits : public QObject
{
    Q_OBJECT

private slots:
    void noFreeFileDescriptor()
    {
        FaultyProject project;
        project.saveAndExpect();
        int failures = 0;
        for (int limit = 3;; ++limit) {
            QVERIFY(limit < 64);
            project.restore();
            FaultyRun run;
            run.result = project.world.run({"-q", "demo.ztp"}, {.fileLimit = limit});
            const bool hasSucceeded = run.result.status == 0;
            const QByteArray description =
                    "limit " + QByteArray::number(limit) + ": " + run.result.err;
            // The tools are under the limit, too, and so are the loaders of them all.
            const bool isStarted = !run.result.err.contains("error while loading shared libraries");
            if (!hasSucceeded && isStarted
                && !run.result.err.contains("Command exited with status")) {
                QVERIFY2(run.result.status == 1 && run.hasGoodMessage(), description.constData());
                ++failures;
            }
            const QByteArray wrong = hasSucceeded ? project.wrongOutputs() : QByteArray();
            SAME(wrong.isEmpty() ? project.wrongNextBuild() : description + wrong, "");
            if (hasSucceeded)
                break;
        }
        QVERIFY(failures > 0);
    }

    void fullFileSystem()
    {
        FaultyProject project;
        project.saveAndExpect();
        project.restore();
        project.world.makeDirectory("project/obj");
        const QByteArray disk = project.world.path("project/obj");
        const auto mountDisk = [&](unsigned long flags, const QByteArray &options) {
            return mount("none", disk.constData(), "tmpfs", flags, options.constData()) == 0;
        };
        if (!mountDisk(0, "size=4k,nr_inodes=30"))
            QSKIP("No file system can be mounted here.");
        const auto unmount = qScopeGuard([&] { umount(disk.constData()); });
        for (int inodes = 30; inodes >= 2; --inodes) {
            for (const char *size : {"4k", "16k", "1m"}) {
                const QByteArray options =
                        "size=" + QByteArray(size) + ",nr_inodes=" + QByteArray::number(inodes);
                QCOMPARE(umount(disk.constData()), 0);
                QVERIFY(mountDisk(0, options));
                FaultyRun run;
                run.result = project.world.run({"-q"});
                const QByteArray description = options + ": " + run.result.err;
                const bool isTool = run.result.err.contains("[ztmake] Command exited with status ");
                QVERIFY2(run.result.status == 0
                                 || (run.result.status == 1 && (isTool || run.hasGoodMessage())),
                         description.constData());
                QVERIFY(mountDisk(MS_REMOUNT, "size=16m,nr_inodes=1000"));
                const QByteArray wrong = project.wrongNextBuild();
                QVERIFY2(wrong.isEmpty(), (description + wrong).constData());
            }
        }
    }

    void readOnlyObjectDirectory()
    {
        FaultyProject project;
        project.saveAndExpect();
        project.restore();
        project.world.makeDirectory("project/obj/translations");
        project.world.setMode("project/obj", 0555);
        SAME(project.world.run({"-q"}, {.ordinaryUser = true}).text(),
             report(1, {}, "[ztmake] Cannot make directory obj/root\n"));
        project.world.setMode("project/obj", 0755);
        SAME(project.world.run({"-q"}, {.ordinaryUser = true}).text(), report(0, {}));
        SAME(project.wrongOutputs(), "");
    }

    void deepTree()
    {
        constexpr int depth = 2'000;
        World world(demo, tree() + process(noPreprocess));
        const QByteArray folders = QByteArray("d/").repeated(depth);
        world.write("project/root/" + folders + "a.lua");
        const Result result = world.run({"-q"}, {.fileLimit = 256});
        SAME(result.err, "");
        QCOMPARE(result.status, 0);
        SAME(world.read("project/obj/root/" + folders + "a.luo"), "made by ztluac\n");
    }

    void twoHundredThousandArguments()
    {
        constexpr int count = 50'000; // four arguments each
        World world(demo, tree() + process(noPreprocess));
        world.setTime("project/demo.ztp", -1);
        world.write("project/root/0.lua");
        world.write("project/obj/root/0.luo");
        for (const char *name : {"root/%1.lua", "obj/root/%1.luo"}) {
            const QByteArray pattern = world.path("project/" + QByteArray(name));
            const QByteArray first = QByteArray(pattern).replace("%1", "0");
            for (int i = 1; i < count; ++i) {
                const QByteArray path = QByteArray(pattern).replace("%1", QByteArray::number(i));
                QCOMPARE(::link(first.constData(), path.constData()), 0);
            }
        }
        const Result result = world.run({"-q"});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.size(), 1);
        const Call &call = result.calls.first();
        QCOMPARE(call.received.size(), 1);
        QVERIFY(call.arguments.size() > 4 * count);
        const QSet<QByteArray> objects(call.arguments.begin(), call.arguments.end());
        for (int i = 0; i < count; ++i)
            QVERIFY(objects.contains("obj/root/" + QByteArray::number(i) + ".luo"));
        QVERIFY(!world.exists(call.responseFile));
    }
};

QTEST_GUILESS_MAIN(TestLimits)
#include "tst_limits.moc"
