#include "projecttest.h"
#include "rows.h"
#include "testprocess.h"

#include <QRegularExpression>

#include <csignal>

#include <sys/resource.h>

namespace {

class Listener final : public CommandListener
{
public:
    void message(const QString &text) override { messages.append(text); }
    void output(OutputStream /*stream*/, QByteArrayView text) override { bytes += text.size(); }
    void ended(const CommandResult &end) override { result = end; }

    QStringList messages;
    qsizetype bytes = 0;
    std::optional<CommandResult> result;
};

qsizetype openPipes()
{
    const QFileInfoList entries = QDir(u"/proc/self/fd"_s).entryInfoList(QDir::System);
    return std::count_if(entries.begin(), entries.end(), [](const QFileInfo &entry) {
        return entry.symLinkTarget().contains("pipe:"_L1);
    });
}

/// Leaves two descriptors, which are enough for one pipe.
void limitDescriptors()
{
    const int next = dup(0);
    close(next);
    const rlimit limit{static_cast<rlim_t>(next) + 2, static_cast<rlim_t>(next) + 2};
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

class TestToolRunner : public ProjectTest
{
    Q_OBJECT

private slots:
    void init()
    {
        makeProject();
        QVERIFY(QDir().mkpath(path(u"obj"_s)));
        // Writes its working directory and its arguments, one a line, and an argument file's text.
        QVERIFY(TestFiles::writeProgram(path(u"record"_s),
                                        "exec >'" + QFile::encodeName(path(u"log"_s))
                                                + "'\npwd\nfor a; do printf '%s\\n' \"$a\"; "
                                                  "case $a in @*) cat \"${a#@}\";; esac; done\n"));
        QVERIFY(TestFiles::writeProgram(path(u"fail"_s), "exit 2\n"));
        QVERIFY(TestFiles::writeProgram(path(u"crash"_s), "kill -9 $$\n"));
    }

    void argumentsAndWorkingDirectoryReachTheProgram()
    {
        QVERIFY(QDir().mkpath(path(u"dir"_s)));
        QVERIFY(run(u"record"_s, {u"a b"_s, u""_s, u"ü"_s}, 0, path(u"dir"_s)));
        QCOMPARE(log(), QFile::encodeName(path(u"dir"_s)) + "\na b\n\nü\n");
        QCOMPARE(m_project->messages, QStringList());
    }

    void emptyWorkingDirectoryIsTheCurrentOne()
    {
        QVERIFY(run(u"record"_s, {}, 0));
        QCOMPARE(log(), QFile::encodeName(QDir::currentPath()) + "\n");
    }

    void sixteenArgumentsStayOnTheCommandLine()
    {
        QVERIFY(run(u"record"_s, numbers(16), 0));
        QCOMPARE(log().split('\n').mid(1).join(' '), numbers(16).join(u' ').toUtf8() + ' ');
    }

    void seventeenArgumentsTravelInAResponseFile()
    {
        QVERIFY(run(u"record"_s, numbers(17), 0));
        const QList<QByteArray> lines = log().split('\n');
        QVERIFY(QString::fromUtf8(lines[1]).startsWith(u'@' + path(u"obj/args."_s)));
        QCOMPARE(lines[1].size(), QFile::encodeName(path(u"obj/args.XXXXXX"_s)).size() + 1);
        QVERIFY(!lines[1].contains("XXXXXX"));
        QCOMPARE(lines.mid(2).join(' '), numbers(17).join(u' ').toUtf8() + ' ');
        QCOMPARE(QDir(path(u"obj"_s)).entryList(QDir::Files), QStringList());
    }

    void longArgumentsArriveWhole()
    {
        QStringList arguments = numbers(20);
        arguments[3] = QString(100'000, u'x');
        arguments[4] = QString(20'000, u'\u00fc');
        arguments[5] = QString(20'000, u'y');
        QVERIFY(run(u"record"_s, arguments, 0));
        QCOMPARE(log().split('\n').mid(2).join(' '), arguments.join(u' ').toUtf8() + ' ');
    }

    void pathOfTheResponseFileIsAbsolute()
    {
        const QString before = QDir::currentPath();
        QDir::setCurrent(m_world->path());
        m_spec.projectFile = u"box.ztp"_s;
        const bool ok = run(u"record"_s, numbers(17), 0, u"obj"_s);
        QDir::setCurrent(before);
        QVERIFY(ok);
        QVERIFY(log().split('\n').at(1).startsWith("@/"));
    }

    void responseFileIsGoneAfterAFailure()
    {
        QVERIFY(!run(u"fail"_s, numbers(17), 0));
        QCOMPARE(QDir(path(u"obj"_s)).entryList(QDir::Files), QStringList());
    }

    void nothingRunsWithoutTheResponseFile()
    {
        m_spec.objectDirectory = u"missing"_s;
        QVERIFY(!run(u"record"_s, numbers(17), 1));
        QCOMPARE(m_project->errorText(), u"Error writing %1: No such file or directory"_s.arg(
                                                 path(u"missing/args.XXXXXX"_s)));
        QVERIFY(!QFile::exists(path(u"log"_s)));
        QCOMPARE(m_project->messages, QStringList());
    }

    void nothingRunsWithHalfTheResponseFile_data()
    {
        Rows<qsizetype> row; // length of each argument
        row("written at once", 1);
        row("written piece by piece", 3'000);
    }
    void nothingRunsWithHalfTheResponseFile()
    {
        const auto [length] = fetch<qsizetype>();
        const rlimit unlimited = TestProcess::limitFileSize(4);
        const bool ok = run(u"record"_s, QStringList(17, QString(length, u'x')), 0);
        setrlimit(RLIMIT_FSIZE, &unlimited);
        QVERIFY(!ok);
        QVERIFY2(QRegularExpression(u"^Error writing %1\\w{6}: File too large$"_s.arg(
                                            QRegularExpression::escape(path(u"obj/args."_s))))
                         .match(m_project->errorText())
                         .hasMatch(),
                 qPrintable(m_project->errorText()));
        QVERIFY(!QFile::exists(path(u"log"_s)));
        QCOMPARE(QDir(path(u"obj"_s)).entryList(QDir::Files), QStringList());
    }

    void echo_data()
    {
        Rows<int, QString, int, QStringList> row; // count, workDir, verbose, expected
        const QString twenty = numbers(20).join(u' ');
        row("level 0", 2, u""_s, 0, {});
        row("level -1", 2, u""_s, -1, {});
        row("level 1", 2, u""_s, 1, {u"shown 1 2"_s});
        row("level 2", 2, u""_s, 2, {u"shown 1 2"_s});
        row("no arguments", 0, u""_s, 1, {u"shown "_s});
        row("in a directory", 1, u"/"_s, 1, {u"(in /) shown 1"_s});
        row("20", 20, u""_s, 1, {u"shown "_s + twenty});
        row("21", 21, u""_s, 1, {u"shown "_s + twenty + u" ..."_s});
    }
    void echo()
    {
        const auto [count, workDir, verbose, expected] = fetch<int, QString, int, QStringList>();
        QVERIFY(run(u"record"_s, numbers(count), verbose, workDir));
        QCOMPARE(m_project->messages, expected);
    }

    void failures_data()
    {
        Rows<QString, QString> row; // program, expected
        row("missing", u"missing"_s, u"Command failed to run: "_s);
        row("directory", u"obj"_s, u"Command failed to run: "_s);
        row("crash", u"crash"_s, u"Command crashed"_s);
        row("status", u"fail"_s, u"Command exited with status 2"_s);
    }
    void failures()
    {
        auto [program, expected] = fetch<QString, QString>();
        if (expected.endsWith(u' '))
            expected += path(program);
        QVERIFY(!run(program, {}, 0));
        QCOMPARE(m_project->errorText(), expected);
    }

    void missingWorkingDirectory()
    {
        QVERIFY(!run(u"record"_s, {}, 0, path(u"missing"_s)));
        QCOMPARE(m_project->errorText(), u"Command failed to run: "_s + path(u"record"_s));
    }

    void programBesideOthersPrintsMuch()
    {
        QVERIFY(TestFiles::writeProgram(path(u"talk"_s),
                                        "echo >&2; exec 2>&-; yes | head -c 300000\n"));
        Listener listener;
        const qsizetype pipes = openPipes();
        start(u"talk"_s, {}, &listener);
        QVERIFY(openPipes() <= pipes + 2); // the other ends are the program's
        waitFor(listener);
        QVERIFY(listener.result->succeeded());
        QCOMPARE(listener.bytes, 300'001);
        QCOMPARE(openPipes(), pipes);
    }

    void programBesideOthersThatCannotBeRun_data()
    {
        using Outcome = CommandResult::Outcome;
        Rows<int, Outcome, QString> row; // number of arguments, outcome, reason
        row("missing program", 1, Outcome::NotStarted, {});
        row("missing object directory", 17, Outcome::NotPrepared,
            u"Error writing %1: No such file or directory"_s);
    }
    void programBesideOthersThatCannotBeRun()
    {
        const auto [count, outcome, reason] = fetch<int, CommandResult::Outcome, QString>();
        m_spec.objectDirectory = u"missing"_s;
        Listener listener;
        start(u"missing"_s, numbers(count), &listener);
        waitFor(listener);
        QCOMPARE(listener.result->outcome, outcome);
        QCOMPARE(listener.result->reason,
                 reason.isEmpty() ? reason : reason.arg(path(u"missing/args.XXXXXX"_s)));
        QCOMPARE(listener.messages, QStringList());
    }

    void programWaitsForTheDescriptorsOfAnother()
    {
        QVERIFY(TestFiles::writeProgram(path(u"first"_s), "read line <\"$0.go\"\n"));
        QVERIFY(QFile::link(u"/bin/true"_s, path(u"second"_s)));
        const QByteArray go = QFile::encodeName(path(u"first.go"_s));
        QVERIFY(mkfifo(go.constData(), 0600) == 0);
        QCOMPARE(TestProcess::inChild([&] {
                     const int fifo = open(go.constData(), O_RDWR | O_CLOEXEC);
                     Listener first;
                     Listener second;
                     start(u"first"_s, {}, &first);
                     limitDescriptors();
                     const qsizetype pipes = openPipes();
                     start(u"second"_s, {}, &second);
                     if (openPipes() != pipes || write(fifo, "\n", 1) != 1)
                         return false;
                     waitFor(first);
                     waitFor(second);
                     return first.result->isFinished && second.result->isFinished
                            && second.messages.isEmpty();
                 }),
                 0);
    }

    void programThatRunsAloneHasNoDescriptorsToWaitFor()
    {
        QCOMPARE(TestProcess::inChild([&] {
                     Listener listener;
                     limitDescriptors();
                     start(u"record"_s, {}, &listener);
                     waitFor(listener);
                     return listener.result->outcome == CommandResult::Outcome::NotStarted
                            && listener.messages
                                       == QStringList(u"Cannot start a process: "
                                                      "Too many open files"_s);
                 }),
                 0);
    }

    void toolsAreNamedWithoutTheirPath()
    {
        QVERIFY(!m_project->runToolIn(u"/"_s, u"no-such-tool"_s, {u"x"_s}, 1));
        QCOMPARE(m_project->messages, QStringList{u"(in /) no-such-tool x"_s});
        QCOMPARE(m_project->errorText(), u"Command failed to run: "_s
                                                 + QCoreApplication::applicationDirPath()
                                                 + u"/no-such-tool"_s);
        QVERIFY(!m_project->runTool(u"no-such-tool"_s, {u"x"_s}, 1));
        QCOMPARE(m_project->messages.last(), u"no-such-tool x"_s);
    }

private:
    QByteArray log() const { return TestFiles::read(path(u"log"_s)); }
    static QStringList numbers(int count)
    {
        QStringList list;
        for (int i = 1; i <= count; ++i)
            list << QString::number(i);
        return list;
    }
    bool run(const QString &program, const QStringList &arguments, int verbose,
             const QString &workDir = {})
    {
        return m_project->runCommand(workDir, u"shown"_s, path(program), arguments, verbose);
    }
    void start(const QString &program, const QStringList &arguments, Listener *listener)
    {
        m_project->commandRunner()->start({program, path(program), arguments}, listener);
    }
    void waitFor(const Listener &listener)
    {
        while (!listener.result)
            m_project->commandRunner()->wait(true);
    }
};

QTEST_GUILESS_MAIN(TestToolRunner)
#include "tst_toolrunner.moc"
