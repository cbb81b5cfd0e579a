#include "interruption.h"
#include "rows.h"

#include <csignal>

using namespace Qt::StringLiterals;

/// Half outputs that a killed build has left, and the note that says so.
class TestKilledBuild : public QObject
{
    Q_OBJECT

private slots:
    void killedBuildIsMadeUpFor_data()
    {
        Rows<int, bool> row; // step, written
        for (int step = 0; step < steps.size(); ++step) {
            row(steps[step].name + ", half written"_ba, step, false);
            row(steps[step].name + ", over half-written old"_ba, step, true);
        }
    }
    void killedBuildIsMadeUpFor()
    {
        const auto [step, written] = fetch<int, bool>();
        World world;
        writeProject(world);
        const Step &last = steps[step];
        if (written) {
            QCOMPARE(world.run({"-q"}).status, 0);
            world.plan(last.tool, "");
        }
        world.plan(last.tool, planned(last.call, {"partial", "signal group 9", "wait"}));
        const Result result = world.run({"-q", written ? "-A" : "-q"}, {.ownGroup = true});
        QCOMPARE(result.signal, SIGKILL);
        SAME(result.err, "");

        world.plan(last.tool, "");
        const Result next = world.run({"-q"});
        QCOMPARE(next.err, QByteArray());
        QCOMPARE(next.status, 0);
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
        // What was finished before is not made again; the rest is.
        for (qsizetype i = 1; i < steps.size(); ++i) {
            if (steps[i].isJudgedByTime()) {
                const bool again = i >= step; // with --all, too: the rest of it is still due
                QCOMPARE(names(next).count(steps[i].tool), again ? 1 : 0);
            }
        }
        QCOMPARE(names(world.run({"-q"})), (QByteArrayList{"svnversion", "ztlupdate", "ztmkromfs",
                                                           "ztlink", "ztmkromfs", "ztlink"}));
    }

    void responseFileOfAKilledBuildIsRemoved()
    {
        World world;
        QByteArray includes;
        for (int i = 0; i < 20; ++i)
            includes += "<Include>i" + number(i) + "</Include>";
        writeSmallProject(world, "<Preprocess Type=\"Ztlpp\">" + includes + "</Preprocess>");
        world.plan("ztlpp", planned("1", {"signal group 9", "wait"}));
        QCOMPARE(world.run({"-q"}, {.ownGroup = true}).signal, SIGKILL);
        QCOMPARE(world.tree("project/obj").count("args."), 1);
        world.write("project/obj/args.txt"); // somebody's own
        world.plan("ztlpp", "");
        QCOMPARE(world.run({"-q"}).status, 0);
        // Nor is what a build leaves that is killed before its note has its name.
        world.write("project/obj/.unfinished.new");
        QCOMPARE(world.run({"-q"}).status, 0);
        QVERIFY(!world.exists("project/obj/.unfinished.new"));
        QCOMPARE(world.tree("project/obj").count("args."), 1);
        QVERIFY(world.exists("project/obj/args.txt"));
    }

    // What the note says about files outside the object directory does not go with that.
    void objectDirectoryIsRemovedAfterAKill_data()
    {
        Rows<QByteArray> row; // what was there
        for (const char *what : {"empty folder", "older outputs", "nothing"})
            row(what, what);
    }
    void objectDirectoryIsRemovedAfterAKill()
    {
        const auto [what] = fetch<QByteArray>();
        World world;
        writeProject(world);
        if (what == "older outputs") {
            for (const char *output : {"made/m.lh", "made/m.lua"})
                world.write("project/"_ba + output, "old", -1);
        }
        if (what == "nothing")
            world.remove("project/made");
        world.plan("ztmkmtd", planned("1", {"folder made", "partial", "signal group 9", "wait"}));
        QCOMPARE(world.run({"-q"}, {.ownGroup = true}).signal, SIGKILL);
        SAME(world.read("project/made/m.lh"), "half");
        world.remove("project/obj");
        world.plan("ztmkmtd", "");
        const Result result = world.run({"-q"});
        SAME(result.err, "");
        QCOMPARE(names(result).count("ztmkmtd"), 1);
        SAME(world.tree("project/made"), "m.lh\nm.lua\n");
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
    }

    void buildOfEverythingIsFinishedByTheNext_data()
    {
        Rows<QByteArrayList, QByteArrayList> row; // how it ends, what the next one does
        const QByteArrayList rest{"ztluac", "ztlpp", "ztluac", "ztmkromfs"};
        row("interrupted", {"partial", "signal parent 2", "wait"}, rest);
        row("killed", {"partial", "signal group 9", "wait"}, rest);
        row("killed without its tool", {"signal parent 9", "partial"}, rest);
        row("failed", {"partial", "exit 1"}, {"ztluac", "ztmkromfs"});
        row("crashed", {"partial", "crash"}, {"ztluac", "ztmkromfs"});
    }
    void buildOfEverythingIsFinishedByTheNext()
    {
        const auto [actions, rest] = fetch<QByteArrayList, QByteArrayList>();
        World world;
        writeSmallProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        world.plan("ztluac", planned("1", actions));
        QVERIFY(world.run({"-q", "-A"}, {.ownGroup = true}).status != 0);
        world.plan("ztluac", "");
        const Result next = world.run({"-q"});
        QCOMPARE(next.status, 0);
        QCOMPARE(names(next), rest);
        QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
    }

    void buildOfEverythingIsInterruptedTwice()
    {
        World world;
        writeSmallProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        for (const char *argument : {"-A", "-q"}) {
            world.plan("ztlpp", planned("1", {"signal parent 15", "wait"}));
            QCOMPARE(world.run({"-q", argument}).signal, SIGTERM);
        }
        world.plan("ztlpp", "");
        QCOMPARE(names(world.run({"-q"})),
                 (QByteArrayList{"ztlpp", "ztluac", "ztlpp", "ztluac", "ztmkromfs"}));
    }

    void tornNoteBuildsEverything_data()
    {
        Rows<QByteArray> row; // note
        row("empty", {});
        row("cut short", "root/a");
        row("without its end", "root/a.lui\0"_ba);
        row("zeros", QByteArray(64, '\0'));
    }
    void tornNoteBuildsEverything()
    {
        const auto [note] = fetch<QByteArray>();
        World world;
        writeProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        world.write("project/obj/.unfinished", note);
        const Result result = world.run({"-q"});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(names(result), namesUpTo(9));
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
    }

    void tornNoteStaysUntilABuildSucceeds()
    {
        World world;
        writeSmallProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        world.write("project/obj/.unfinished", "root");
        world.plan("ztlpp", "2 exit 1\n");
        QCOMPARE(world.run({"-q"}).status, 1);
        QVERIFY(world.exists("project/obj/.unfinished"));
        world.plan("ztlpp", "1 signal group 9\n1 wait\n");
        QCOMPARE(world.run({"-q"}, {.ownGroup = true}).signal, SIGKILL);
        QVERIFY(world.exists("project/obj/.unfinished"));
        world.plan("ztlpp", "");
        QCOMPARE(names(world.run({"-q"})).count("ztlpp"), 1); // what had not been made anew
        QVERIFY(!world.exists("project/obj/.unfinished"));
        QCOMPARE(names(world.run({"-q"})).count("ztlpp"), 0);
    }
};

QTEST_GUILESS_MAIN(TestKilledBuild)
#include "tst_killedbuild.moc"
