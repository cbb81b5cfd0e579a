#include "interruption.h"
#include "rows.h"

#include <csignal>

using namespace Qt::StringLiterals;

/// Signals to the program and its tools.
class TestInterruption : public QObject
{
    Q_OBJECT

private slots:
    void toolIsEndedByTheSignal_data()
    {
        Rows<int, QByteArray, int, QByteArray> row; // step, signal and its number, whom
        for (int step = 0; step < steps.size(); ++step) {
            for (const auto &[name, value] : interruptions) {
                for (const char *whom : {"parent", "group"}) {
                    row(QByteArray(steps[step].name) + ", " + name + ", " + whom, step, name, value,
                        whom);
                }
            }
        }
    }
    void toolIsEndedByTheSignal()
    {
        const auto [step, name, number, whom] = fetch<int, QByteArray, int, QByteArray>();
        World world;
        writeProject(world);
        const Step &last = steps[step];
        world.plan(
                last.tool,
                planned(last.call, {"partial", "signal " + whom + ' ' + ::number(number), "wait"}));
        const Result result = world.run({"-q"}, {.ownGroup = true});
        QCOMPARE(result.status, -1);
        QCOMPARE(result.signal, number);
        SAME(result.err, step == 0 ? "[ztmake] Interrupted by "_ba + name + '\n'
                                   : message(name.constData(), last.tool));
        SAME(result.out, "");
        QCOMPARE(names(result), namesUpTo(step));
        // Of the user's catalogues and of the report only the next build makes good ones.
        SAME(outputs(world), outputsOf(step, step == 4));

        world.plan(last.tool, "");
        const Result next = world.run({"-q"});
        QCOMPARE(next.err, QByteArray());
        QCOMPARE(next.status, 0);
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
    }

    void toolThatCatchesTheSignalHasFinished_data()
    {
        Rows<int> row; // step
        for (int step = 1; step < steps.size(); ++step)
            row(steps[step].name, step);
    }
    void toolThatCatchesTheSignalHasFinished()
    {
        const auto [step] = fetch<int>();
        World world;
        writeProject(world);
        const Step &last = steps[step];
        world.plan(last.tool, planned(last.call, {"catch", "signal parent 15", "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGTERM);
        SAME(result.err, message("SIGTERM", last.tool));
        QCOMPARE(names(result), namesUpTo(step));
        SAME(outputs(world), outputsOf(step, true));

        world.plan(last.tool, "");
        const Result next = world.run({"-q"});
        QCOMPARE(next.status, 0);
        QCOMPARE(names(next).count(last.tool),
                 last.isJudgedByTime() ? 0 : namesUpTo(9).count(last.tool));
    }

    void toolThatFailsAfterTheSignal()
    {
        World world;
        writeSmallProject(world);
        world.plan("ztlpp",
                   planned("1", {"catch", "partial", "signal parent 2", "wait", "exit 3"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGINT);
        SAME(result.err, message("SIGINT", "ztlpp"));
        SAME(world.tree("project/obj"), "root/\n");
    }

    void secondSignalKillsTheTool_data()
    {
        Rows<int, QByteArray> row; // first, name
        for (const auto &[name, value] : interruptions)
            row(name, value, QByteArray(name));
    }

    // That the first has been passed on shows that it has been handled.
    void secondSignalKillsTheTool()
    {
        const auto [first, name] = fetch<int, QByteArray>();
        for (const int second : {SIGINT, SIGTERM, SIGHUP}) {
            if (second == first) // within half a second that is the same one
                continue;
            World world;
            writeSmallProject(world);
            world.plan("ztlpp",
                       planned("1", {"catch", "partial", "signal parent " + number(first), "wait",
                                     "signal parent " + number(second), "wait", "wait"}));
            const Result result = world.run({"-q"});
            QCOMPARE(result.signal, first);
            SAME(result.err, message(name.constData(), "ztlpp"));
            SAME(world.tree("project/obj"), "root/\n");
        }
    }

    void secondSignalKillsAToolThatIgnoresTheFirst()
    {
        World world;
        writeSmallProject(world);
        // When both are on their way at once, the one with the lower number arrives first.
        world.plan("ztluac", planned("1", {"ignore", "partial", "signal parent 2",
                                           "signal parent 15", "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGINT);
        SAME(result.err, message("SIGINT", "ztluac"));
        QVERIFY2(kill(static_cast<pid_t>(result.calls.last().pid), 0) != 0, "it is still there");
        QCOMPARE(world.tree("project/obj").count(".luo"), 0);
        QCOMPARE(world.tree("project/obj").count(".lui"), 1);
    }

    void signalToTheToolAlone_data()
    {
        Rows<int> row; // number
        for (const auto &[name, value] : interruptions)
            row(name, value);
        row("SIGKILL", SIGKILL);
        row("SIGSEGV", SIGSEGV);
    }
    void signalToTheToolAlone()
    {
        const auto [number] = fetch<int>();
        World world;
        writeSmallProject(world);
        world.plan("ztlpp", planned("1", {"partial", "signal self " + ::number(number), "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Command crashed\n");
        SAME(world.tree("project/obj"), "root/\n");
    }

    // The signal arrives before the end of the tool is seen.
    void toolThatEndsAtOnce()
    {
        World world;
        writeSmallProject(world);
        world.plan("ztlpp", planned("1", {"ignore", "signal parent 1"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGHUP);
        SAME(result.err, message("SIGHUP", "ztlpp"));
        QCOMPARE(names(result), QByteArrayList{"ztlpp"});
        QCOMPARE(world.tree("project/obj").count(".lui\n"), 1);
    }

    void responseFileIsRemoved()
    {
        World world;
        QByteArray includes;
        for (int i = 0; i < 20; ++i)
            includes += "<Include>i" + number(i) + "</Include>";
        writeSmallProject(world, "<Preprocess Type=\"Ztlpp\">" + includes + "</Preprocess>");
        world.plan("ztlpp", planned("1", {"partial", "signal parent 15", "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGTERM);
        QVERIFY(!result.calls.first().responseFile.isEmpty());
        SAME(world.tree("project/obj"), "root/\n");
    }

    // What a failed tool leaves of a catalogue stays; what an interrupted one leaves does not.
    void olderOutputsOfAnInterruptedCatalogueAreRemoved()
    {
        World world;
        writeProject(world);
        world.write("project/obj/translations/de.qm", "old", -1);
        world.plan("lrelease", planned("1", {"signal parent 15", "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGTERM);
        QVERIFY(!world.exists("project/obj/translations/de.qm"));
    }

    void clearingObsoleteTextsIsInterrupted()
    {
        World world;
        writeProject(world);
        world.plan("ztlupdate", planned("1", {"signal parent 15", "wait"}));
        const Result result = world.run({"-q", "--clearobsolete"});
        QCOMPARE(result.signal, SIGTERM);
        SAME(result.err, message("SIGTERM", "ztlupdate"));
        SAME(outputs(world), "");
    }

    void ignoredSignalsStayIgnored_data() { toolIsEndedByTheSignal_data(); }
    void ignoredSignalsStayIgnored()
    {
        const auto [step, name, number, whom] = fetch<int, QByteArray, int, QByteArray>();
        World world;
        writeProject(world);
        // The tools inherit that they ignore it.
        world.plan(steps[step].tool,
                   planned(steps[step].call, {"signal " + whom + ' ' + ::number(number)})
                           + (step == 0 ? "1 out 1234\n" : ""));
        const Result result = world.run({"-q"}, {.ownGroup = true, .ignoredSignal = number});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
    }
};

QTEST_GUILESS_MAIN(TestInterruption)
#include "tst_interruption.moc"
