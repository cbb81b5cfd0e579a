#include "engine/interruption.h"

#include "rows.h"
#include "testfiles.h"
#include "testprocess.h"

#include <cerrno>
#include <climits>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// Signals end processes and are noted for good, so each case has its own process.
class TestInterruption : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            std::signal(number, SIG_DFL);
    }

    void signalEndsTheProgramBeforeTheWatch()
    {
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            QCOMPARE(endOf([number = number] { raise(number); }), -number);
    }

    void signalIsNoted_data()
    {
        Rows<int, QByteArray> row; // number, name
        row("SIGINT", SIGINT, "SIGINT");
        row("SIGTERM", SIGTERM, "SIGTERM");
        row("SIGHUP", SIGHUP, "SIGHUP");
    }

    void signalIsNoted()
    {
        const auto [number, name] = fetch<int, QByteArray>();
        QCOMPARE(endOf([number = number, name = name] {
                     Interruption::watch();
                     require(Interruption::signal() == 0);
                     Interruption::Target target;
                     target.set(INT_MAX); // no process: telling it fails
                     errno = 77;
                     raise(number);
                     require(errno == 77);
                     require(Interruption::signal() == number);
                     require(Interruption::signalName().toLatin1() == name);
                 }),
                 0);
    }

    void programEndsByTheSignal_data() { signalIsNoted_data(); }

    void programEndsByTheSignal()
    {
        const auto [number, name] = fetch<int, QByteArray>();
        QCOMPARE(endOf([signal = number] {
                     Interruption::watch();
                     raise(signal);
                     Interruption::finish();
                 }),
                 -number);
    }

    // As the first process of a container, which no signal of its own ends.
    void programThatTheSignalDoesNotEndHasItsStatus()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     raise(SIGTERM);
                     sigset_t all;
                     sigfillset(&all);
                     sigprocmask(SIG_BLOCK, &all, nullptr);
                     Interruption::finish();
                 }),
                 128 + SIGTERM);
    }

    void secondSignalEndsAProgramThatRunsNoOther()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     raise(SIGTERM);
                     raise(SIGINT);
                 }),
                 -SIGINT);
    }

    // System calls go on after a signal, and its sender is told.
    void handlerIsAsked()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     struct sigaction action = {};
                     sigaction(SIGTERM, nullptr, &action);
                     const int flags = SA_RESTART | SA_SIGINFO;
                     require((action.sa_flags & flags) == flags);
                 }),
                 0);
    }

    void ignoredSignalStaysIgnored()
    {
        QCOMPARE(endOf([] {
                     std::signal(SIGHUP, SIG_IGN);
                     std::signal(SIGXFSZ, SIG_IGN);
                     Interruption::watch();
                     require(std::signal(SIGXFSZ, SIG_DFL) == SIG_IGN);
                     raise(SIGHUP);
                     require(Interruption::signal() == 0);
                     raise(SIGINT);
                     require(Interruption::signal() == SIGINT);
                 }),
                 0);
    }

    void endOfChildrenIsSeenEvenIfTheCallerIgnoredIt()
    {
        QCOMPARE(endOf([] {
                     std::signal(SIGCHLD, SIG_IGN);
                     Interruption::watch();
                     const pid_t child = fork();
                     if (child == 0)
                         _exit(5);
                     int status = 0;
                     require(waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 5);
                 }),
                 0);
    }

    void writesFailInsteadOfEndingTheProgram()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     int ends[2];
                     require(pipe(ends) == 0 && close(ends[0]) == 0);
                     require(write(ends[1], "x", 1) == -1 && errno == EPIPE);
                     // Programs that it starts would go on ignoring it.
                     require(std::signal(SIGPIPE, SIG_DFL) != SIG_IGN);
                 }),
                 0);
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     const QTemporaryDir world;
                     const rlimit nothing{0, 0};
                     const int file = open(qPrintable(world.filePath(QStringLiteral("file"))),
                                           O_CREAT | O_WRONLY, 0600);
                     require(file >= 0 && setrlimit(RLIMIT_FSIZE, &nothing) == 0);
                     require(write(file, "x", 1) == -1 && errno == EFBIG);
                 }),
                 0);
    }

    void signalReachesTheTarget()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     Interruption::Target target;
                     const pid_t child = sleeper();
                     target.set(child);
                     raise(SIGTERM);
                     require(endOfChild(child) == -SIGTERM);
                 }),
                 0);
    }

    void signalWhileTheTargetStartsReachesIt()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     Interruption::Target target;
                     const pid_t child = sleeper();
                     raise(SIGHUP);
                     target.set(child);
                     require(endOfChild(child) == -SIGHUP);
                 }),
                 0);
    }

    // It must not end the program alone and leave the other to itself.
    void secondSignalWhileTheTargetStartsKillsIt()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     Interruption::Target target;
                     const pid_t child = sleeper(SIG_IGN);
                     raise(SIGINT);
                     raise(SIGTERM);
                     target.set(child);
                     require(endOfChild(child) == -SIGKILL);
                     require(Interruption::signal() == SIGINT);
                 }),
                 0);
    }

    void signalAfterTheTargetReachesNobody()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     const pid_t child = sleeper();
                     {
                         Interruption::Target target;
                         target.set(child);
                     }
                     raise(SIGINT);
                     require(waitpid(child, nullptr, WNOHANG) == 0);
                     kill(child, SIGKILL);
                     // Had the first one been passed on, it would have come first.
                     require(endOfChild(child) == -SIGKILL);
                 }),
                 0);
    }

    void secondSignalKillsTheTarget()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     Interruption::Target target;
                     const pid_t child = sleeper(SIG_IGN);
                     target.set(child);
                     raise(SIGINT);
                     raise(SIGTERM);
                     require(endOfChild(child) == -SIGKILL);
                     require(Interruption::signal() == SIGINT);
                 }),
                 0);
    }

    // kill(0) would reach everybody in the group.
    void programThatDidNotStartIsNoTarget()
    {
        QCOMPARE(endOf([] {
                     setpgid(0, 0);
                     Interruption::watch();
                     const pid_t child = sleeper();
                     Interruption::Target target;
                     target.set(0);
                     raise(SIGINT);
                     target.set(0);
                     require(waitpid(child, nullptr, WNOHANG) == 0);
                     kill(child, SIGKILL);
                     require(endOfChild(child) == -SIGKILL);
                 }),
                 0);
    }

    void interruptedProjectStartsNothing()
    {
        QCOMPARE(endOf([] {
                     Interruption::watch();
                     raise(SIGTERM);
                     const ProjectSpec spec;
                     RecordingProject project(spec);
                     project.setCommandRunner(std::make_unique<FakeRunner>([](const Command &) {
                         require(false);
                         return true;
                     }));
                     OutputChain chain;
                     require(!project.runTool(u"tool"_s, {}, 0));
                     require(!project.makeOutputs(&chain, {}, {}));
                     require(!project.makeImage(u"image"_s, {}));
                     require(project.errorText() == Interruption::text());
                 }),
                 0);
    }

private:
    static void require(bool condition)
    {
        if (!condition)
            _exit(1);
    }

    static int endOfChild(pid_t child)
    {
        int status = 0;
        if (waitpid(child, &status, 0) != child)
            return 99;
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }

    /// No process outlives a failed test for longer.
    static constexpr unsigned secondsAtMost = 20;

    /// @return the exit status of a process that does @p work, or the negative of its last signal
    static int endOf(const std::function<void()> &work)
    {
        const pid_t child = fork();
        if (child == 0) {
            alarm(secondsAtMost);
            work();
            _exit(0);
        }
        return endOfChild(child);
    }

    /// A child that waits for ever, its signals as in a program that was just started.
    static pid_t sleeper(void (*handler)(int) = SIG_DFL)
    {
        return TestProcess::waitingChild([handler] {
            for (const int number : {SIGINT, SIGTERM, SIGHUP})
                std::signal(number, handler);
        });
    }
};

QTEST_GUILESS_MAIN(TestInterruption)
#include "tst_interruption.moc"
