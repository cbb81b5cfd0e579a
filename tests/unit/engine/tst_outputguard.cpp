#include "engine/interruption.h"
#include "engine/project.h"

#include "testfiles.h"
#include "testprocess.h"

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class TestOutputGuard : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.projectFile = path(u"box.ztp"_s);
        m_project = std::make_unique<RecordingProject>(m_spec);
        QVERIFY(TestFiles::write(path(u"box.ztp"_s)));
        QVERIFY(TestFiles::setModified(path(u"box.ztp"_s), {5, 600'000}));
        QVERIFY(TestFiles::write(input()));
        QVERIFY(TestFiles::setModified(input(), {1'000, 700}));
        QVERIFY(QDir().mkpath(path(u"obj/sub"_s)));
    }

    void outputsAreNotedWhileTheyAreMade()
    {
        QByteArray noted;
        QVERIFY(make(step({u"obj/a"_s, u"obj/b"_s}), [&] {
            noted = TestFiles::read(marker());
            return true;
        }));
        QVERIFY(noted.endsWith(" - -\na\0b\0\n"_ba));
        QVERIFY(TestFiles::read(marker()).contains(" - -\n\n"));
        m_project.reset();
        QVERIFY(!QFile::exists(marker()));
    }

    void finishedOutputKeepsItsTime()
    {
        QVERIFY(make(step({u"obj/a"_s}), [&] { return write(u"obj/a"_s, 2'000); }));
        QCOMPARE(time(u"obj/a"_s), 2'000);
        QCOMPARE(m_project->errorText(), QString());
        QCOMPARE(m_project->messages, QStringList());
    }

    void nothingIsMadeThatCannotBeNoted()
    {
        QVERIFY(TestFiles::write(path(u"obj/a"_s), "old"));
        QVERIFY(QDir().mkpath(marker()));
        bool called = false;
        QVERIFY(!make(step({u"obj/a"_s}), [&] {
            called = true;
            return true;
        }));
        QVERIFY(!called);
        QCOMPARE(m_project->errorText(), u"Error writing %1: Is a directory"_s.arg(marker()));
        QCOMPARE(TestFiles::read(path(u"obj/a"_s)), "old"_ba);
    }

    void outputsOfAFailureAreRemoved()
    {
        QVERIFY(!make(step({u"obj/a"_s, u"obj/b"_s, u"obj/missing"_s}), [&] {
            return write(u"obj/a"_s, 2'000) && write(u"obj/b"_s, 2'000) && write(u"obj/c"_s, 2'000)
                   && m_project->raiseError(u"its own reason"_s);
        }));
        QCOMPARE(m_project->errorText(), u"its own reason"_s);
        QCOMPARE(objects(), (QStringList{u"c"_s, u"sub"_s}));
        QVERIFY(TestFiles::read(marker()).contains(" - -\n\n"));
    }

    void outputsOfAFailingToolAreRemoved()
    {
        QVERIFY(TestFiles::writeProgram(path(u"tool"_s), "echo half >\"$1\"; exit 3\n"));
        QVERIFY(!runTool(step({u"obj/a"_s})));
        QCOMPARE(m_project->errorText(), u"Command exited with status 3"_s);
        QCOMPARE(objects(), QStringList{u"sub"_s});
    }

    void outputThatStaysAfterAFailureIsNotTakenForCurrent()
    {
        OutputChain output = step({u"obj/a"_s});
        output.removesAfterFailure = false;
        QVERIFY(!make(output,
                      [&] { return write(u"obj/a"_s, 2'000) && m_project->raiseError({}); }));
        QVERIFY(QFile::exists(path(u"obj/a"_s)));
        QVERIFY(needRebuild(input(), path(u"obj/a"_s)));
    }

    void outputThatCannotBeDeletedStaysNoted()
    {
        const QString directory = path(u"obj/sub"_s);
        QVERIFY(TestFiles::write(path(u"obj/sub/a"_s), "half"));
        for (const QString &open : {m_world->path(), path(u"obj"_s)})
            QVERIFY(chmod(QFile::encodeName(open).constData(), 0777) == 0);
        QVERIFY(chmod(QFile::encodeName(directory).constData(), 0555) == 0);
        bool ok = true;
        {
            const OrdinaryUser user;
            ok = make(step({u"obj/sub/a"_s}), [] { return false; });
            m_project.reset();
        }
        QVERIFY(!ok);
        QVERIFY(TestFiles::read(marker()).endsWith(" - -\nsub/a\0\n"_ba));
    }

    void directoryInPlaceOfAnOutputIsLeftAlone()
    {
        QVERIFY(!make(step({u"obj/sub"_s}), [] { return false; }));
        QVERIFY(QFileInfo(path(u"obj/sub"_s)).isDir());
        QVERIFY(TestFiles::read(marker()).contains(" - -\n\n"));
    }

    void inputThatChangesMeanwhile_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("now");
        QTest::newRow("edited") << qint64(1'000) << qint64(1'500);
        QTest::newRow("edited, younger than the output") << qint64(1'000) << qint64(3'000);
        QTest::newRow("put back to an older one") << qint64(1'000) << qint64(900);
        QTest::newRow("before 1970") << qint64(-1'000) << qint64(-900);
        QTest::newRow("at the beginning of 1970") << qint64(0) << qint64(1);
        QTest::newRow("in the future") << qint64(1'000) << qint64(4'000'000'000);
    }

    void inputThatChangesMeanwhile()
    {
        QFETCH(qint64, before);
        QFETCH(qint64, now);
        QVERIFY(TestFiles::setModified(input(), {before, 700}));
        QVERIFY(make(step({u"obj/a"_s, u"obj/b"_s, u"obj/missing"_s}), [&] {
            return write(u"obj/a"_s, 2'000) && write(u"obj/b"_s, 2'000)
                   && TestFiles::setModified(input(), {now, 700});
        }));
        QVERIFY(time(u"obj/a"_s) < std::min(before, now));
        QVERIFY(time(u"obj/b"_s) < std::min(before, now));
        QCOMPARE(objects(), (QStringList{u"a"_s, u"b"_s, u"sub"_s}));
        QCOMPARE(m_project->messages, QStringList());
    }

    void oneNanosecondIsAChange()
    {
        QVERIFY(make(step({u"obj/a"_s}), [&] {
            return write(u"obj/a"_s, 2'000) && TestFiles::setModified(input(), {1'000, 701});
        }));
        QVERIFY(needRebuild(input(), path(u"obj/a"_s)));
    }

    void inputThatVanishesMeanwhile()
    {
        QVERIFY(make(step({u"obj/a"_s}),
                     [&] { return write(u"obj/a"_s, 2'000) && QFile::remove(input()); }));
        QCOMPARE(time(u"obj/a"_s), 2'000);
    }

    void projectFileThatChangesMeanwhile_data()
    {
        QTest::addColumn<bool>("depends");
        QTest::addColumn<qint64>("edited"); // microseconds; it had 5,000,600
        QTest::addColumn<bool>("outdated");
        QTest::newRow("edited") << true << qint64(6'000'600) << true;
        QTest::newRow("a millisecond") << true << qint64(5'001'600) << true;
        QTest::newRow("put back to an older one") << true << qint64(4'000'600) << true;
        QTest::newRow("within the millisecond") << true << qint64(5'000'900) << true;
        QTest::newRow("unchanged") << true << qint64(5'000'600) << false;
        QTest::newRow("no matter to this output") << false << qint64(6'000'600) << false;
    }

    void projectFileThatChangesMeanwhile()
    {
        QFETCH(bool, depends);
        QFETCH(qint64, edited);
        m_project->setProjectFileTime(QDateTime::fromMSecsSinceEpoch(5'000));
        OutputChain output = step({u"obj/a"_s});
        output.dependsOnProjectFile = depends;
        QVERIFY(make(output, [&] {
            return write(u"obj/a"_s, 2'000)
                   && TestFiles::setModified(m_spec.projectFile,
                                             {edited / 1'000'000, edited % 1'000'000 * 1'000});
        }));
        QTEST(time(u"obj/a"_s) < 4, "outdated");
    }

    void projectFileWithoutATimeIsNotLookedAt()
    {
        OutputChain output = step({u"obj/a"_s});
        output.dependsOnProjectFile = true;
        QVERIFY(make(output, [&] { return write(u"obj/a"_s, 2'000); }));
        QCOMPARE(time(u"obj/a"_s), 2'000);
    }

    // A file of somebody else's may be written, but not dated.
    void outputThatCannotBeDatedIsDeleted_data()
    {
        QTest::addColumn<bool>("failed");
        QTest::newRow("edited input") << false;
        QTest::newRow("failed tool") << true;
    }

    void outputThatCannotBeDatedIsDeleted()
    {
        QFETCH(bool, failed);
        if (geteuid() != 0)
            QSKIP("Only root can give a file away.");
        QVERIFY(openDirectories());
        QVERIFY(write(u"obj/a"_s, 2'000));
        makeAsOrdinaryUser(failed);
        QVERIFY(!QFile::exists(path(u"obj/a"_s)));
        QVERIFY(!QFile::exists(marker()));
    }

    void outputThatCannotBeDatedOrDeletedStaysNoted_data()
    {
        outputThatCannotBeDatedIsDeleted_data();
    }

    void outputThatCannotBeDatedOrDeletedStaysNoted()
    {
        QFETCH(bool, failed);
        if (geteuid() != 0)
            QSKIP("Only root can give a file away.");
        QVERIFY(openDirectories());
        // In such a directory everybody can delete his own files alone.
        QVERIFY(chmod(QFile::encodeName(path(u"obj"_s)).constData(), 01777) == 0);
        QVERIFY(write(u"obj/a"_s, 2'000));
        makeAsOrdinaryUser(failed);
        QVERIFY(QFile::exists(path(u"obj/a"_s)));
        QVERIFY(TestFiles::read(marker()).endsWith(" - -\na\0\n"_ba));
    }

    void interruptedToolThatFailed_data()
    {
        QTest::addColumn<bool>("removesAfterFailure");
        QTest::newRow("is removed after any failure") << true;
        QTest::newRow("stays after other failures") << false;
    }

    void interruptedToolThatFailed()
    {
        QFETCH(bool, removesAfterFailure);
        QVERIFY(TestFiles::writeProgram(path(u"tool"_s),
                                        "echo half >\"$1\"; kill -TERM $PPID; exec sleep 60\n"));
        OutputChain output = step({u"obj/a"_s});
        output.removesAfterFailure = removesAfterFailure;
        QCOMPARE(TestProcess::inChild([&] {
                     Interruption::watch();
                     return !runTool(output)
                            && m_project->errorText()
                                       == u"Interrupted by SIGTERM while tool was running"_s;
                 }),
                 0);
        QVERIFY(!QFile::exists(path(u"obj/a"_s)));
    }

    void interruptedToolThatSucceeds()
    {
        QVERIFY(TestFiles::writeProgram(path(u"tool"_s),
                                        "trap 'echo whole >\"$1\"; exit 0' TERM; kill -TERM $PPID\n"
                                        "while :; do sleep 1; done\n"));
        QCOMPARE(TestProcess::inChild([&] {
                     Interruption::watch();
                     return !runTool(step({u"obj/a"_s}));
                 }),
                 0);
        QCOMPARE(TestFiles::read(path(u"obj/a"_s)), "whole\n"_ba);
    }

    void nothingIsMadeAfterAnInterruption()
    {
        QVERIFY(write(u"obj/a"_s, 2'000));
        QCOMPARE(TestProcess::inChild([&] {
                     Interruption::watch();
                     raise(SIGHUP);
                     bool called = false;
                     return !make(step({u"obj/a"_s}), [&] { return called = true; }) && !called
                            && m_project->errorText() == u"Interrupted by SIGHUP"_s;
                 }),
                 0);
        QCOMPARE(objects(), (QStringList{u"a"_s, u"sub"_s}));
    }

    void recoveryDeletesWhatAKilledBuildLeft()
    {
        QVERIFY(write(u"obj/a"_s, 2'000));
        QVERIFY(writeNote("a\0\n"_ba));
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(!rebuildAll);
        QCOMPARE(objects(), QStringList{u"sub"_s});
    }

    void recoveryFromATornFileBuildsAll()
    {
        QVERIFY(TestFiles::write(marker(), "a"));
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(rebuildAll);
    }

    void recoveryWithNothingToDoLeavesNothing()
    {
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(!rebuildAll);
        QVERIFY(!QFile::exists(marker()));
    }

    // Not even a crafted note can make the build remove what is not its own.
    void recoveryRemovesNothingElsewhere_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("above") << "../input"_ba;
        QTest::newRow("above, in the middle") << "sub/../../input"_ba;
        QTest::newRow("absolute") << QFile::encodeName(input());
        QTest::newRow("behind a link") << "link/input"_ba;
    }
    void recoveryRemovesNothingElsewhere()
    {
        QFETCH(QByteArray, name);
        QVERIFY(QFile::link(m_world->path(), path(u"obj/link"_s)));
        QVERIFY(writeNote((name.startsWith('/') ? QFile::encodeName(input()) : name) + "\0\n"_ba));
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(rebuildAll);
        QVERIFY(QFile::exists(input()));
    }

    void restOfABuildOfEverythingIsLeftToTheNext()
    {
        QVERIFY(write(u"obj/old"_s, 2'000));
        TestProcess::inChild([&] {
            bool rebuildAll = true;
            return m_project->recoverFromKill(&rebuildAll) && raise(SIGKILL) == 0;
        });
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(!rebuildAll);
        QVERIFY(m_project->isLeftOver(FileStatus::of(path(u"obj/old"_s))));
        QVERIFY(TestFiles::write(path(u"obj/new"_s)));
        QVERIFY(!m_project->isLeftOver(FileStatus::of(path(u"obj/new"_s))));
    }

    void outputOutsideHasItsOwnNote()
    {
        QVERIFY(QDir().mkpath(path(u"made"_s)));
        bool isNoted = false;
        QVERIFY(make(step({u"made/h"_s}), [&] {
            isNoted = QFile::exists(path(u"made/.h.unfinished"_s));
            return write(u"made/h"_s, 2'000);
        }));
        QVERIFY(isNoted);
        QVERIFY(!QFile::exists(path(u"made/.h.unfinished"_s)));
        QVERIFY(!QFile::exists(marker()));
    }

    void outputOutsideIsRemovedAfterAKill()
    {
        m_spec.mtd16 = {1};
        m_spec.mtd16Header.value = path(u"made/h"_s);
        m_spec.mtd16Lua.value = path(u"made/l"_s);
        for (const QString &name : {u"made/h"_s, u"made/l"_s, u"made/.h.unfinished"_s})
            QVERIFY(TestFiles::write(path(name)));
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QCOMPARE(QDir(path(u"made"_s)).entryList(QDir::Files | QDir::Hidden), QStringList{u"l"_s});
    }

    void recoveryThatFailsGivesItsReason()
    {
        QVERIFY(QDir().mkpath(marker()));
        bool rebuildAll = false;
        QVERIFY(!m_project->recoverFromKill(&rebuildAll));
        QCOMPARE(m_project->errorText(), u"Error reading %1: Is a directory"_s.arg(marker()));
    }

    void imageOfAFailedToolStays()
    {
        installTool("echo half >\"$1\"; exit 3\n");
        QVERIFY(!makeImage());
        QVERIFY(QFile::exists(path(u"obj/image"_s)));
    }

    void imageOfAnInterruptedToolIsRemoved()
    {
        installTool("echo half >\"$1\"; kill -INT $PPID; exec sleep 60\n");
        QCOMPARE(TestProcess::inChild([&] {
                     Interruption::watch();
                     return !makeImage();
                 }),
                 0);
        QVERIFY(!QFile::exists(path(u"obj/image"_s)));
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    QString input() const { return path(u"input"_s); }
    QString marker() const { return path(u"obj/.unfinished"_s); }
    bool writeNote(const QByteArray &list) const
    {
        return TestFiles::write(
                marker(), "ztmake-unfinished-2 "
                                  + TestFiles::read(u"/proc/sys/kernel/random/boot_id"_s).trimmed()
                                  + " - -\n" + list);
    }
    QString toolPath() const { return path(u"tool"_s); }
    qint64 time(const QString &name) const { return FileStatus::of(path(name)).modified().seconds; }
    QStringList objects() const
    {
        return QDir(path(u"obj"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    }
    bool write(const QString &name, qint64 seconds) const
    {
        return TestFiles::write(path(name), "x")
               && TestFiles::setModified(path(name), {seconds, 0});
    }
    void installTool(const QByteArray &script) const
    {
        QVERIFY(TestFiles::writeProgram(toolPath(), script));
    }
    /// Makes outputs by doing @p work, which returns whether they are whole.
    bool make(OutputChain chain, const std::function<bool()> &work)
    {
        const QStringList outputs = std::exchange(chain.outputs, {});
        if (!m_project->beginOutputs(&chain, outputs))
            return false;
        const bool isFinished = work();
        if (!isFinished)
            m_project->failOutputs(&chain, outputs);
        m_project->endOutputs(&chain);
        return isFinished;
    }
    bool runTool(OutputChain chain)
    {
        const QStringList outputs = std::exchange(chain.outputs, {});
        const bool ok = m_project->makeOutputs(&chain, outputs, {u"tool"_s, toolPath(), outputs});
        m_project->endOutputs(&chain);
        return ok;
    }
    bool makeImage()
    {
        const QString image = path(u"obj/image"_s);
        return m_project->makeImage(image, {u"tool"_s, toolPath(), {image}});
    }
    bool openDirectories() const
    {
        return chmod(QFile::encodeName(m_world->path()).constData(), 0777) == 0
               && chmod(QFile::encodeName(path(u"obj"_s)).constData(), 0777) == 0;
    }

    OutputChain step(const QStringList &outputs) const
    {
        QStringList paths;
        for (const QString &output : outputs)
            paths << path(output);
        return {.input = input(), .inputStatus = FileStatus::of(input()), .outputs = paths};
    }

    void makeAsOrdinaryUser(bool failed)
    {
        OutputChain output = step({u"obj/a"_s});
        output.removesAfterFailure = false;
        const auto work = [&] { return !failed && TestFiles::setModified(input(), {1'500, 0}); };
        const QByteArray name = QFile::encodeName(input());
        QVERIFY(chown(name.constData(), OrdinaryUser::number, OrdinaryUser::number) == 0);
        const OrdinaryUser user;
        QCOMPARE(make(output, work), !failed);
        m_project.reset();
    }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
    std::unique_ptr<RecordingProject> m_project;
};

QTEST_GUILESS_MAIN(TestOutputGuard)
#include "tst_outputguard.moc"
