#include "interruption.h"
#include "rows.h"

#include <csignal>

using namespace Qt::StringLiterals;

/// The same signal twice: timeout(1) tells a process, and then its group. The program's clock is
/// the test's.
class TestRepeatedSignal : public QObject
{
    Q_OBJECT

private slots:
    void sameSignalAtOnceCountsOnce_data()
    {
        Rows<int, QByteArray> row; // number, name
        for (const auto &[name, value] : interruptions)
            row(name, value, QByteArray(name));
    }
    void sameSignalAtOnceCountsOnce()
    {
        const auto [number, name] = fetch<int, QByteArray>();
        World world;
        writeSmallProject(world);
        freezeClock(world);
        const QByteArray signal = "signal parent " + ::number(number);
        // When the program has looked at its clock again, it has the second signal.
        world.plan("ztlpp",
                   planned("1", {"catch", "partial", signal, "wait", "write ../armed x", signal,
                                 "await ../seen", "remove obj/root", "write cleaned x", "exit 1"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, number);
        SAME(result.err, message(name.constData(), "ztlpp"));
        QVERIFY(world.exists("project/cleaned"));
    }

    void sameSignalLaterKillsTheTool()
    {
        World world;
        writeSmallProject(world);
        freezeClock(world);
        world.setVariable("ZTTEST_CLOCK_STEP", "1"); // with each look at it
        world.plan("ztlpp", planned("1", {"catch", "partial", "signal parent 15", "wait",
                                          "signal parent 15", "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, SIGTERM);
        SAME(result.err, message("SIGTERM", "ztlpp"));
        SAME(world.tree("project/obj"), "root/\n");
    }

private:
    static void freezeClock(World &world)
    {
        world.setVariable("LD_PRELOAD", FROZENCLOCK_LIBRARY);
        world.setVariable("ZTTEST_CLOCK_ARMED", world.path("armed"));
        world.setVariable("ZTTEST_CLOCK_SEEN", world.path("seen"));
    }
};

QTEST_GUILESS_MAIN(TestRepeatedSignal)
#include "tst_repeatedsignal.moc"
