#include "engine/project.h"

#include "rows.h"
#include "testfiles.h"
#include "testprocess.h"

#include <QRegularExpression>

#include <csignal>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

class TestToolRunner : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.projectFile = path(u"box.ztp"_s);
        m_project = std::make_unique<RecordingProject>(m_spec);
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

    void nothingRunsWithHalfTheResponseFile()
    {
        const rlimit unlimited = TestProcess::limitFileSize(4);
        const bool ok = run(u"record"_s, numbers(17), 0);
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

    void revision_data()
    {
        Rows<QByteArray, QString, QStringList> row; // script, expected, messages
        const QStringList failed{u"Warning: svnversion failed to run."_s};
        const QStringList unversioned{u"Warning: Unversioned directory."_s};
        row("revision", "echo 1234M\n", u"#1234M"_s, {});
        row("white space", "printf ' 1   2\\n\\n3 '\n", u"#1 2 3"_s, {});
        row("status does not count", "echo 7\nexit 1\n", u"#7"_s, {});
        row("no output", "echo oops >&2\n", u"#?"_s, failed);
        row("unversioned", "echo 'Unversioned directory'\n", u"#?"_s, unversioned);
        row("unversioned in any case", "echo UNVERSIONED\n", u"#?"_s, unversioned);
        row("does not depend on the language", "echo \"$LC_ALL\"\n"_ba, u"#C.UTF-8"_s, {});
        row("no input", "read x || echo none\n", u"#none"_s, {});
        row("argument", "echo \"$# $(basename \"$1\")\"\n"_ba, u"#1 work dir"_s, {});
    }
    void revision()
    {
        const auto [script, expected, messages] = fetch<QByteArray, QString, QStringList>();
        QVERIFY(TestFiles::writeProgram(path(u"bin/svnversion"_s), script));
        m_spec.projectFile = path(u"work dir/box.ztp"_s);
        const QByteArray searchPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(path(u"bin"_s)) + ':' + searchPath);
        qputenv("LC_ALL", "de_DE.UTF-8");
        const QString revision = m_project->runSvnversion();
        qputenv("PATH", searchPath);
        qputenv("LC_ALL", "C.UTF-8");
        QCOMPARE(revision, expected);
        QCOMPARE(m_project->messages, messages);
    }

    void missingSvnversion()
    {
        const QByteArray searchPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(path(u"obj"_s)));
        m_spec.version = u"1.0"_s;
        m_spec.svnversion = {1};
        const QString version = m_project->generateVersion();
        qputenv("PATH", searchPath);
        QCOMPARE(version, u"1.0#?"_s);
        QCOMPARE(m_project->messages, QStringList{u"Warning: svnversion failed to run."_s});
    }

    void versionAloneUnlessTheRevisionIsWanted()
    {
        m_spec.version = u"1.0"_s;
        for (const int value : {-1, 0}) {
            m_spec.svnversion = {value};
            QCOMPARE(m_project->generateVersion(), u"1.0"_s);
        }
        QCOMPARE(m_project->messages, QStringList());
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
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
    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
    std::unique_ptr<RecordingProject> m_project;
};

QTEST_GUILESS_MAIN(TestToolRunner)
#include "tst_toolrunner.moc"
