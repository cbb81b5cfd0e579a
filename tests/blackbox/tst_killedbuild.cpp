#include "interruption.h"
#include "rows.h"

#include <QRegularExpression>

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
        WholeWorld world;
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
        // The response file of a killed program is nobody's any more.
        const QRegularExpression responseFile(QStringLiteral("obj/args\\.\\w{6}\n"));
        SAME(QString::fromUtf8(outputs(world)).remove(responseFile).toUtf8(),
             outputsOf(steps.size() - 1, true));
        // What was finished before is not made again, and nothing but what was not.
        for (qsizetype i = 1; i < steps.size(); ++i) {
            if (steps[i].isJudgedByTime()) {
                const bool again = i == step || (!written && i > step)
                                   || (step == 2 && i == 3); // it was made from what is new
                QCOMPARE(names(next).count(steps[i].tool), again ? 1 : 0);
            }
        }
        QCOMPARE(names(world.run({"-q"})), (QByteArrayList{"svnversion", "ztlupdate", "ztmkromfs",
                                                           "ztlink", "ztmkromfs", "ztlink"}));
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
        WholeWorld world;
        QCOMPARE(world.run({"-q"}).status, 0);
        world.write("project/obj/.unfinished", note);
        const Result result = world.run({"-q"});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(names(result), namesUpTo(9));
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
    }

    void tornNoteStaysUntilABuildSucceeds()
    {
        SmallWorld world;
        QCOMPARE(world.run({"-q"}).status, 0);
        world.write("project/obj/.unfinished", "root");
        world.plan("ztlpp", "2 exit 1\n");
        QCOMPARE(world.run({"-q"}).status, 1);
        SAME(world.read("project/obj/.unfinished"), "root");
        world.plan("ztlpp", "2 signal group 9\n2 wait\n");
        QCOMPARE(world.run({"-q"}, {.ownGroup = true}).signal, SIGKILL);
        SAME(world.read("project/obj/.unfinished"), "root");
        world.plan("ztlpp", "");
        QCOMPARE(names(world.run({"-q"})).count("ztlpp"), 2);
        QVERIFY(!world.exists("project/obj/.unfinished"));
        QCOMPARE(names(world.run({"-q"})).count("ztlpp"), 0);
    }
};

QTEST_GUILESS_MAIN(TestKilledBuild)
#include "tst_killedbuild.moc"
