#include "engine/interruption.h"

#include "engine/guardtest.h"
#include "rows.h"
#include "testprocess.h"

#include <csignal>

class TestRecovery : public GuardTest
{
    Q_OBJECT

private slots:
    void init() { makeWorld(); }

    void interruptedToolThatFailed_data()
    {
        Rows<bool> row; // removesAfterFailure
        row("is removed after any failure", true);
        row("stays after other failures", false);
    }

    void interruptedToolThatFailed()
    {
        const auto [removesAfterFailure] = fetch<bool>();
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
        Rows<QByteArray> row; // name
        row("above", "../input");
        row("above, in the middle", "sub/../../input");
        row("absolute", "/"); // of the input
        row("behind a link", "link/input");
    }
    void recoveryRemovesNothingElsewhere()
    {
        const auto [name] = fetch<QByteArray>();
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

    // There its note is in the project directory, with the path for its name.
    void outputOutsideWhereNoNoteCanBe_data()
    {
        Rows<bool> row; // whether something is in the place of the note
        row("no folder", false);
        row("somebody else's file", true);
    }
    void outputOutsideWhereNoNoteCanBe()
    {
        const auto [isTaken] = fetch<bool>();
        const QString taken = path(u"made/.h.unfinished"_s);
        QVERIFY(!isTaken || TestFiles::write(taken, "mine"));
        const QString note = path(u".%1.unfinished"_s.arg(path(u"made/h"_s).replace(u'/', u'%')));
        QVERIFY(make(step({u"made/h"_s}), [&] {
            return QFile::exists(note) && QDir().mkpath(path(u"made"_s))
                   && write(u"made/h"_s, 2'000);
        }));
        QVERIFY(!QFile::exists(note));
        QVERIFY(TestFiles::write(note));
        m_spec.mtd16 = {1};
        m_spec.mtd16Header.value = path(u"made/h"_s);
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(!QFile::exists(note) && !QFile::exists(path(u"made/h"_s)));
        QCOMPARE(QFile::exists(taken), isTaken);
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
        m_spec.objectDirectory = QString(300, u'o');
        bool rebuildAll = false;
        QVERIFY(!m_project->recoverFromKill(&rebuildAll));
        QCOMPARE(m_project->errorText(), u"Error reading %1: File name too long"_s.arg(
                                                 m_spec.objectFilePath(u".unfinished"_s)));
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
    bool writeNote(const QByteArray &list) const
    {
        return TestFiles::write(
                marker(), "ztmake-unfinished-2 "
                                  + TestFiles::read(u"/proc/sys/kernel/random/boot_id"_s).trimmed()
                                  + " - -\n" + list);
    }
    void installTool(const QByteArray &script) const
    {
        QVERIFY(TestFiles::writeProgram(toolPath(), script));
    }
    bool makeImage()
    {
        const QString image = path(u"obj/image"_s);
        return m_project->makeImage(image, {u"tool"_s, toolPath(), {image}});
    }
};

QTEST_GUILESS_MAIN(TestRecovery)
#include "tst_recovery.moc"
