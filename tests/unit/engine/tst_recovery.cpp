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
        installTool("");
        QCOMPARE(TestProcess::inChild([&] {
                     Interruption::watch();
                     raise(SIGHUP);
                     bool called = false;
                     return !make(step({u"obj/a"_s}), [&] { return called = true; }) && !called
                            && !m_project->runTool(u"tool"_s, {}, 0) && !makeImage()
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
        m_project.reset();
        QVERIFY(!QFile::exists(marker()));
    }

    void recoveryFromATornFileBuildsAll()
    {
        QVERIFY(TestFiles::write(marker(), "a"));
        bool rebuildAll = false;
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(rebuildAll);
        m_project.reset();
        QVERIFY(QFile::exists(marker()));
    }

    void operationThatStopsHalfWayIsRecoveredFromByTheNext()
    {
        OutputGuard guard(m_spec, [] {});
        OutputChain chain = step({});
        QString error;
        QVERIFY(guard.begin(&chain, {path(u"obj/a"_s)}, &error));
        guard.close(false);
        QVERIFY(QFile::exists(marker()));
        bool rebuildAll = false;
        QVERIFY(guard.recover(&rebuildAll, &error));
        guard.close(true);
        QVERIFY(!QFile::exists(marker()));
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
        QFile::Permissions rights;
        QVERIFY(make(step({u"made/h"_s}), [&] {
            rights = QFile::permissions(path(u"made/.h.unfinished"_s));
            return write(u"made/h"_s, 2'000);
        }));
        QVERIFY(rights & QFile::ReadOwner && !(rights & QFile::ExeOther));
        QVERIFY(!QFile::exists(path(u"made/.h.unfinished"_s)));
        QVERIFY(!QFile::exists(marker()));
    }

    void noteOfAnOutputOutsideThatChangesMeanwhile_data()
    {
        Rows<QString, bool> row; // command, whether the note stays
        row("removed", u"rm .h.unfinished"_s, false);
        row("its folder is a file", u"rm -r ../made; touch ../made"_s, false);
        row("a folder in its place", u"rm .h.unfinished; mkdir .h.unfinished"_s, true);
    }
    void noteOfAnOutputOutsideThatChangesMeanwhile()
    {
        const auto [command, stays] = fetch<QString, bool>();
        QVERIFY(QDir().mkpath(path(u"made"_s)));
        QVERIFY(make(step({u"made/h"_s}), [&, command = command] {
            QProcess shell;
            shell.setWorkingDirectory(path(u"made"_s));
            shell.start(u"sh"_s, {u"-c"_s, command});
            return shell.waitForFinished();
        }));
        QCOMPARE(m_project->errorText(),
                 stays ? u"Cannot delete "_s + path(u"made/.h.unfinished"_s) : QString());
    }

    // Both would wait for each other.
    void noteOfAnOutputOutsideThatTheOuterBuildHas()
    {
        m_spec.mtd16 = {1};
        m_spec.mtd16Lua.value = path(u"made/l"_s);
        QVERIFY(TestFiles::write(path(u"made/.l.unfinished"_s)));
        BuildLock claim;
        QCOMPARE(claim.acquireFile(path(u"made/.l.unfinished"_s), {}), BuildLock::Result::Held);
        const QString error =
                u"The build that started this one is still using "_s + path(u"made/l"_s);
        bool rebuildAll = false;
        QVERIFY(!m_project->recoverFromKill(&rebuildAll));
        QCOMPARE(m_project->errorText(), error);
        m_project->raiseError({});
        QVERIFY(!make(step({u"made/h"_s, u"made/l"_s}), [] { return true; }));
        QCOMPARE(m_project->errorText(), error);
        QVERIFY(!QFile::exists(path(u"made/.h.unfinished"_s)));
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
        const QDir made(path(u"made"_s));
        QCOMPARE(made.entryList(QDir::Files | QDir::Hidden), QStringList{u"l"_s});
        // Nor need there be an output yet.
        QVERIFY(QFile::rename(path(u"made/l"_s), path(u"made/.l.unfinished"_s)));
        QVERIFY(m_project->recoverFromKill(&rebuildAll));
        QVERIFY(made.isEmpty(QDir::Files | QDir::Hidden));
    }

    void recoveryThatCannotDeleteTheOutput_data()
    {
        Rows<QString> row; // folder
        row("in the object directory", u"obj/sub"_s);
        row("outside", u"made"_s);
    }
    void recoveryThatCannotDeleteTheOutput()
    {
        const auto [folder] = fetch<QString>();
        m_spec.mtd16 = {1};
        m_spec.mtd16Header.value = path(u"made/h"_s);
        const QString output = path(folder + u"/h"_s);
        QVERIFY(TestFiles::write(path(u"made/.h.unfinished"_s)));
        QVERIFY(TestFiles::write(output));
        QVERIFY(chmod(QFile::encodeName(m_world->path()).constData(), 0777) == 0);
        QVERIFY(chmod(QFile::encodeName(path(u"obj"_s)).constData(), 0777) == 0);
        QVERIFY(chmod(QFile::encodeName(path(folder)).constData(), 0555) == 0);
        const OrdinaryUser user;
        OutputGuard guard(m_spec, [] {});
        QString error;
        bool rebuildAll = false;
        QVERIFY(writeNote("\n"_ba)); // of an operation before this one
        guard.recover(&rebuildAll, &error);
        guard.close(true);
        QVERIFY(writeNote("sub/h\0\n"_ba));
        QVERIFY(!guard.recover(&rebuildAll, &error));
        QCOMPARE(error, u"Cannot delete "_s + output);
        guard.close(false);
        QVERIFY(QFile::exists(marker()));
        chmod(QFile::encodeName(path(folder)).constData(), 0755); // to be deleted
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
