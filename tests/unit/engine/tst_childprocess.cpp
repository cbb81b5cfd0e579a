#include "engine/childprocess.h"
#include "engine/interruption.h"

#include "rows.h"
#include "testfiles.h"
#include "testprocess.h"

#include <cerrno>
#include <csignal>

#include <sys/resource.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;

namespace {

ProcessEnd run(const QString &workDir, const QString &program, const QStringList &arguments)
{
    QByteArrayList words;
    for (const QString &argument : arguments)
        words.append(argument.toLocal8Bit());
    return runProcess(workDir, program, words);
}

} // namespace

class TestChildProcess : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_world = std::make_unique<QTemporaryDir>(); }

    void cleanup()
    {
        // Every program has been waited for.
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
        QCOMPARE(errno, ECHILD);
    }

    void exitStatus_data()
    {
        Rows<int> row; // status
        for (const int status : {0, 1, 127, 255})
            row(QByteArray::number(status), status);
    }

    void exitStatus()
    {
        const auto [status] = fetch<int>();
        const ProcessEnd end = shell("exit " + QByteArray::number(status));
        QCOMPARE(end.kind, ProcessEnd::Kind::Exited);
        QCOMPARE(end.status, status);
        QCOMPARE(end.isSuccess(), status == 0);
    }

    void programThatASignalEnds()
    {
        for (const char *signal : {"KILL", "SEGV", "TERM", "INT"}) {
            const ProcessEnd end = shell("ulimit -c 0; kill -"_ba + signal + " $$");
            QCOMPARE(end.kind, ProcessEnd::Kind::Crashed);
            QVERIFY(!end.isSuccess());
        }
    }

    // waitid() must not take a stop for the end.
    void programThatIsStoppedAndContinued()
    {
        const ProcessEnd end = shell("(while ! grep -q '^State:.T' /proc/$$/status; do :; done; "
                                     "kill -CONT $$) & kill -STOP $$; wait; exit 7");
        QCOMPARE(end.kind, ProcessEnd::Kind::Exited);
        QCOMPARE(end.status, 7);
    }

    void programThatDoesNotStart_data()
    {
        Rows<QString> row; // program
        row("missing", u"missing"_s);
        row("a directory", u"."_s);
        row("not executable", u"plain"_s);
        row("of no known format", u"empty"_s);
        row("with a missing interpreter", u"script"_s);
    }

    void programThatDoesNotStart()
    {
        const auto [program] = fetch<QString>();
        QVERIFY(TestFiles::write(path(u"plain"_s), "#!/bin/sh\n"));
        QVERIFY(TestFiles::write(path(u"empty"_s)));
        QVERIFY(TestFiles::write(path(u"script"_s), "#!/missing/interpreter\n"));
        for (const QString &name : {u"empty"_s, u"script"_s})
            QVERIFY(QFile::setPermissions(path(name), QFile::ReadOwner | QFile::ExeOwner));
        QCOMPARE(run({}, path(program), {}).kind, ProcessEnd::Kind::NotStarted);
    }

    void programIsNotLookedForOnTheSearchPath()
    {
        QCOMPARE(run({}, u"sh"_s, {u"-c"_s, u"exit 0"_s}).kind, ProcessEnd::Kind::NotStarted);
    }

    void missingWorkingDirectory()
    {
        const ProcessEnd end = run(path(u"missing"_s), u"/bin/sh"_s, {u"-c"_s, u":"_s});
        QCOMPARE(end.kind, ProcessEnd::Kind::NotStarted);
    }

    void argumentsThatAreTooLong()
    {
        const ProcessEnd end = run({}, u"/bin/true"_s, {QString(1 << 20, u'x')});
        QCOMPARE(end.kind, ProcessEnd::Kind::NotStarted);
    }

    void argumentsArriveAsTheyAre()
    {
        const ProcessEnd end =
                run({}, u"/bin/sh"_s,
                    {u"-c"_s, u"for a; do printf '%s|' \"$a\"; done >\"$0\""_s, path(u"log"_s),
                     u"a b"_s, u""_s, u"$x'\"\\"_s, u"ü\n"_s, u"*"_s});
        QVERIFY(end.isSuccess());
        QCOMPARE(TestFiles::read(path(u"log"_s)), "a b||$x'\"\\|ü\n|*|"_ba);
    }

    void nameOfTheProgramIsItsPath()
    {
        QVERIFY(shell("printf '%s' \"$0\" >\"$1\"", {path(u"log"_s)}).isSuccess());
        QVERIFY(TestFiles::writeProgram(path(u"tool"_s),
                                        "tr '\\0' '|' </proc/$$/cmdline >\"$1\"\n"));
        QVERIFY(run({}, path(u"tool"_s), {path(u"log"_s)}).isSuccess());
        QCOMPARE(TestFiles::read(path(u"log"_s)), "/bin/sh|" + QFile::encodeName(path(u"tool"_s))
                                                          + '|' + QFile::encodeName(path(u"log"_s))
                                                          + '|');
    }

    void workingDirectory()
    {
        QVERIFY(QDir().mkpath(path(u"dir"_s)));
        QVERIFY(run(path(u"dir"_s), u"/bin/sh"_s, {u"-c"_s, u"pwd -P >log"_s}).isSuccess());
        QCOMPARE(TestFiles::read(path(u"dir/log"_s)),
                 QFile::encodeName(QFileInfo(path(u"dir"_s)).canonicalFilePath()) + '\n');
        QVERIFY(shell("pwd -P >\"$1\"", {path(u"log"_s)}).isSuccess());
        QCOMPARE(TestFiles::read(path(u"log"_s)),
                 QFile::encodeName(QFileInfo(QDir::currentPath()).canonicalFilePath()) + '\n');
    }

    void environmentIsShared()
    {
        qputenv("ZTMAKE_TEST_VALUE", "set by the test");
        const ProcessEnd end = shell("printf %s \"$ZTMAKE_TEST_VALUE\" >\"$1\"", {path(u"log"_s)});
        qunsetenv("ZTMAKE_TEST_VALUE");
        QVERIFY(end.isSuccess());
        QCOMPARE(TestFiles::read(path(u"log"_s)), "set by the test"_ba);
    }

    void standardStreamsAreShared()
    {
        QVERIFY(TestFiles::write(path(u"in"_s), "the input"));
        const int status = TestProcess::inChild([this] {
            const int in = open(QFile::encodeName(path(u"in"_s)).constData(), O_RDONLY);
            const int out = creat(QFile::encodeName(path(u"out"_s)).constData(), 0666);
            const int err = creat(QFile::encodeName(path(u"err"_s)).constData(), 0666);
            return dup2(in, 0) == 0 && dup2(out, 1) == 1 && dup2(err, 2) == 2
                   && shell("cat; echo error >&2").isSuccess();
        });
        QCOMPARE(status, 0);
        QCOMPARE(TestFiles::read(path(u"out"_s)), "the input"_ba);
        QCOMPARE(TestFiles::read(path(u"err"_s)), "error\n"_ba);
    }

    void outputStreamsCanBeNamed()
    {
        const int out = creat(QFile::encodeName(path(u"out"_s)).constData(), 0666);
        const int err = creat(QFile::encodeName(path(u"err"_s)).constData(), 0666);
        ChildProcess process;
        const int error = process.start({}, u"/bin/sh"_s, {"-c", "echo output; echo error >&2"},
                                        {.output = out, .error = err});
        close(out);
        close(err);
        QCOMPARE(error, 0);
        QVERIFY(process.wait().isSuccess());
        QCOMPARE(TestFiles::read(path(u"out"_s)), "output\n"_ba);
        QCOMPARE(TestFiles::read(path(u"err"_s)), "error\n"_ba);
    }

    void endIsSeenWithoutWaiting()
    {
        ChildProcess process;
        QCOMPARE(process.start({}, u"/bin/sleep"_s, {"600"}), 0);
        QVERIFY(!process.hasEnded());
        QVERIFY(Interruption::Target::exist());
        QCOMPARE(kill(process.id(), SIGKILL), 0);
        QTRY_VERIFY(process.hasEnded());
        QCOMPARE(process.wait().kind, ProcessEnd::Kind::Crashed);
        QVERIFY(!Interruption::Target::exist()); // another one may get its number
    }

    void interruptionIsPassedOn()
    {
        const int status = TestProcess::inChild([] {
            Interruption::watch();
            // The shell dies of the signal that it has sent to this process alone.
            const ProcessEnd end =
                    run({}, u"/bin/sh"_s, {u"-c"_s, u"kill -TERM $PPID; exec sleep 600"_s});
            return end.kind == ProcessEnd::Kind::Crashed && Interruption::signal() == SIGTERM;
        });
        QCOMPARE(status, 0);
    }

    void secondInterruptionKills()
    {
        const int status = TestProcess::inChild([] {
            Interruption::watch();
            const ProcessEnd end = run({}, u"/bin/sh"_s,
                                       {u"-c"_s, u"trap 'kill -INT $PPID' TERM; "
                                                 "kill -TERM $PPID; while :; do :; done"_s});
            return end.kind == ProcessEnd::Kind::Crashed && Interruption::signal() == SIGTERM;
        });
        QCOMPARE(status, 0);
    }

    // Otherwise the program would be left to itself, for instance when it stops for its terminal.
    void signalWithoutAHandlerDoesNotEndTheWait()
    {
        const int status = TestProcess::inChild([] {
            Interruption::watch();
            std::signal(SIGUSR1, [](int) {});
            return run({}, u"/bin/sh"_s, {u"-c"_s, u"kill -USR1 $PPID; exit 5"_s}).status == 5;
        });
        QCOMPARE(status, 0);
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    static ProcessEnd shell(const QByteArray &script, const QStringList &arguments = {})
    {
        return run({}, u"/bin/sh"_s,
                   QStringList{u"-c"_s, QString::fromUtf8(script), u"sh"_s} + arguments);
    }
    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestChildProcess)
#include "tst_childprocess.moc"
