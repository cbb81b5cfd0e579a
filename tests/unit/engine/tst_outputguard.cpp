#include "engine/guardtest.h"
#include "rows.h"

class TestOutputGuard : public GuardTest
{
    Q_OBJECT

private slots:
    void init() { makeWorld(); }

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
        QVERIFY(QDir().mkpath(marker() + u"/sub"_s));
        bool called = false;
        QVERIFY(!make(step({u"obj/a"_s}), [&] {
            called = true;
            return true;
        }));
        QVERIFY(!called);
        QVERIFY(!runTool(step({u"obj/a"_s})));
        QCOMPARE(m_project->errorText(), u"Error writing %1: Directory not empty"_s.arg(marker()));
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
        // What the tool has left behind may write to them yet.
        QVERIFY(TestFiles::read(marker()).endsWith(" - -\na\0b\0missing\0\n"_ba));
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
    }

    void inputThatChangesMeanwhile_data()
    {
        Rows<qint64, qint64> row; // before, now
        row("edited", 1'000, 1'500);
        row("edited, younger than the output", 1'000, 3'000);
        row("put back to an older one", 1'000, 900);
        row("before 1970", -1'000, -900);
        row("at the beginning of 1970", 0, 1);
        row("in the future", 1'000, 4'000'000'000);
    }

    void inputThatChangesMeanwhile()
    {
        const auto [before, now] = fetch<qint64, qint64>();
        QVERIFY(TestFiles::setModified(input(), {before, 700}));
        QVERIFY(make(step({u"obj/a"_s, u"obj/b"_s, u"obj/missing"_s}), [&, now = now] {
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

    // Not every file system keeps an older time than this one.
    void inputOfTheOldestTime()
    {
        QVERIFY(TestFiles::setModified(input(), {INT_MIN + 1, 0}));
        QVERIFY(make(step({u"obj/a"_s}), [&] {
            return write(u"obj/a"_s, 2'000) && TestFiles::setModified(input(), {INT_MIN, 0});
        }));
        QVERIFY(needRebuild(input(), path(u"obj/a"_s)));
    }

    void finishedOutputStaysNotedWhenItsInputIsEdited()
    {
        for (const bool isEdited : {false, true}) {
            OutputChain chain = step({});
            QVERIFY(m_project->beginOutputs(&chain, {path(u"obj/a"_s)}));
            QVERIFY(!isEdited || TestFiles::setModified(input(), {1'500, 0}));
            m_project->outputsEnded(&chain, {path(u"obj/a"_s)}, {.isFinished = true});
            QVERIFY(m_project->beginOutputs(&chain, {path(u"obj/b"_s)}));
            QVERIFY(TestFiles::read(marker()).endsWith(isEdited ? "\na\0b\0\n"_ba : "\nb\0\n"_ba));
            m_project->endOutputs(chain);
        }
    }

    void projectFileThatChangesMeanwhile_data()
    {
        Rows<bool, qint64, bool> row; // depends, edited (microseconds; it had 5,000,600), outdated
        row("edited", true, 6'000'600, true);
        row("a millisecond", true, 5'001'600, true);
        row("put back to an older one", true, 4'000'600, true);
        row("within the millisecond", true, 5'000'900, true);
        row("unchanged", true, 5'000'600, false);
        row("no matter to this output", false, 6'000'600, false);
    }

    void projectFileThatChangesMeanwhile()
    {
        const auto [depends, edited, outdated] = fetch<bool, qint64, bool>();
        m_project->setProjectFileTime(QDateTime::fromMSecsSinceEpoch(5'000));
        OutputChain output = step({u"obj/a"_s});
        output.dependsOnProjectFile = depends;
        QVERIFY(make(output, [&, edited = edited] {
            return write(u"obj/a"_s, 2'000)
                   && TestFiles::setModified(m_spec.projectFile,
                                             {edited / 1'000'000, edited % 1'000'000 * 1'000});
        }));
        QCOMPARE(time(u"obj/a"_s) < 4, outdated);
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
        Rows<bool> row; // failed
        row("edited input", false);
        row("failed tool", true);
    }

    void outputThatCannotBeDatedIsDeleted()
    {
        const auto [failed] = fetch<bool>();
        if (geteuid() != 0)
            QSKIP("Only root can give a file away.");
        QVERIFY(openDirectories());
        QVERIFY(write(u"obj/a"_s, 2'000));
        makeAsOrdinaryUser(failed);
        QVERIFY(!QFile::exists(path(u"obj/a"_s)));
        QCOMPARE(QFile::exists(marker()), failed);
    }

    void outputThatCannotBeDatedOrDeletedStaysNoted_data()
    {
        outputThatCannotBeDatedIsDeleted_data();
    }

    void outputThatCannotBeDatedOrDeletedStaysNoted()
    {
        const auto [failed] = fetch<bool>();
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

    void outputThatIsWrittenAfterAFailureIsUndone_data()
    {
        Rows<bool> row; // can be undone
        row("own file", true);
        row("somebody else's", false);
    }

    void outputThatIsWrittenAfterAFailureIsUndone()
    {
        const auto [isOwn] = fetch<bool>();
        if (geteuid() != 0)
            QSKIP("Only root can give a file away.");
        QVERIFY(openDirectories());
        QVERIFY(chmod(QFile::encodeName(path(u"obj"_s)).constData(), 01777) == 0);
        OutputGuard guard(m_spec, [] {});
        {
            const OrdinaryUser user;
            OutputChain chain = step({});
            QString error;
            QVERIFY(guard.begin(&chain, {path(u"obj/a"_s)}, &error));
            guard.fail(&chain, {path(u"obj/a"_s)});
            guard.close(false);
            QVERIFY(!isOwn || write(u"obj/a"_s, 2'000));
        }
        QVERIFY(isOwn || write(u"obj/a"_s, 2'000));
        QVERIFY(QFile::exists(marker()));
        const OrdinaryUser user;
        guard.forgetOrphans();
        QCOMPARE(QFile::exists(path(u"obj/a"_s)), !isOwn);
        QCOMPARE(QFile::exists(marker()), !isOwn);
    }

private:
    bool openDirectories() const
    {
        return chmod(QFile::encodeName(m_world->path()).constData(), 0777) == 0
               && chmod(QFile::encodeName(path(u"obj"_s)).constData(), 0777) == 0;
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
};

QTEST_GUILESS_MAIN(TestOutputGuard)
#include "tst_outputguard.moc"
