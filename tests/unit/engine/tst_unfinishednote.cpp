#include "engine/unfinishedoutputs.h"

#include "testfiles.h"
#include "testprocess.h"

#include <csignal>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class TestUnfinishedOutputs : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        QVERIFY(QFile::setPermissions(m_world->path(), QFile::Permissions(0x7777)));
        QVERIFY(QDir().mkpath(path(u"obj/root"_s)));
        QVERIFY(QFile::setPermissions(path(u"obj"_s), QFile::Permissions(0x7777)));
        QVERIFY(QFile::setPermissions(path(u"obj/root"_s), QFile::Permissions(0x7777)));
    }

    void nothingIsWrittenBeforeTheFirstStep()
    {
        UnfinishedOutputs outputs(path(u"obj"_s));
        QString error;
        QVERIFY(outputs.recover(&error));
        QVERIFY(!outputs.isTorn());
        outputs.end();
        QVERIFY(!QFile::exists(marker()));
        outputs.close(true);
        QCOMPARE(error, QString());
        QVERIFY(!QFile::exists(marker()));
    }

    void fileNamesTheOutputsWhileAStepRuns()
    {
        UnfinishedOutputs outputs(path(u"obj"_s));
        QVERIFY(begin(outputs, {u"obj/root/a.lui"_s, u"obj/root/b c\n.lui"_s}));
        QCOMPARE(content(), "root/a.lui\0root/b c\n.lui\0\n"_ba);
        outputs.end();
        QVERIFY(content().startsWith('\n'));
        QVERIFY(QFile::exists(marker()));
        outputs.close(true);
        QVERIFY(!QFile::exists(marker()));
    }

    void fileIsGoneWhenABuildHasEnded_data()
    {
        QTest::addColumn<bool>("succeeded");
        QTest::newRow("succeeded") << true;
        QTest::newRow("failed") << false;
    }

    void fileIsGoneWhenABuildHasEnded()
    {
        QFETCH(bool, succeeded);
        UnfinishedOutputs outputs(path(u"obj/"_s));
        QVERIFY(begin(outputs, {u"obj/root/a.lui"_s}));
        outputs.end();
        outputs.close(succeeded);
        QCOMPARE(entries(), QStringList{u"root"_s});
    }

    void fileIsGoneWithTheObject()
    {
        {
            UnfinishedOutputs outputs(path(u"obj"_s));
            QVERIFY(begin(outputs, {u"obj/root/a.lui"_s}));
            outputs.end();
        }
        QVERIFY(!QFile::exists(marker()));
    }

    // Such as those that could not be deleted after their tool had failed.
    void fileStaysForOutputsThatNeverEnded()
    {
        {
            UnfinishedOutputs outputs(path(u"obj"_s));
            QVERIFY(begin(outputs, {u"obj/root/a.lui"_s}));
            outputs.close(true);
        }
        QCOMPARE(content(), "root/a.lui\0\n"_ba);
    }

    void outputsOfAKilledProcessAreDeleted()
    {
        QVERIFY(TestFiles::write(path(u"obj/root/a.lui"_s), "half"));
        QVERIFY(TestFiles::write(path(u"obj/root/b.lui"_s), "whole"));
        QVERIFY(TestFiles::write(path(u"obj/root/c.lui"_s), "half"));
        killWhileWriting({u"obj/root/a.lui"_s, u"obj/root/c.lui"_s, u"obj/root/missing"_s});
        QString error;
        UnfinishedOutputs next(path(u"obj"_s));
        QVERIFY2(next.recover(&error), qPrintable(error));
        QVERIFY(!next.isTorn());
        QCOMPARE(entries(u"obj/root"_s), QStringList{u"b.lui"_s});
        next.close(true);
        QVERIFY(!QFile::exists(marker()));
    }

    void leftoversOfALongerTextNameNothing()
    {
        for (const char *name : {"a", "b", "longer"})
            QVERIFY(TestFiles::write(path(u"obj/root/"_s + QLatin1StringView(name)), "x"));
        const pid_t child = fork();
        if (child == 0) {
            UnfinishedOutputs outputs(path(u"obj"_s));
            begin(outputs, {u"obj/root/longer"_s, u"obj/root/b"_s});
            outputs.end();
            begin(outputs, {u"obj/root/a"_s});
            raise(SIGKILL);
        }
        QVERIFY(isKilled(child));
        QVERIFY(content().size() > qsizetype(sizeof "root/a\n"));
        QVERIFY(recover(u"obj"_s));
        QCOMPARE(entries(u"obj/root"_s), (QStringList{u"b"_s, u"longer"_s}));
    }

    void processKilledBetweenStepsLeavesNothingToDelete()
    {
        QVERIFY(TestFiles::write(path(u"obj/root/a"_s), "x"));
        const pid_t child = fork();
        if (child == 0) {
            UnfinishedOutputs outputs(path(u"obj"_s));
            begin(outputs, {u"obj/root/a"_s});
            outputs.end();
            raise(SIGKILL);
        }
        QVERIFY(isKilled(child));
        QVERIFY(QFile::exists(marker()));
        UnfinishedOutputs next(path(u"obj"_s));
        QString error;
        QVERIFY(next.recover(&error));
        QVERIFY(!next.isTorn());
        QVERIFY(QFile::exists(path(u"obj/root/a"_s)));
        next.close(false);
        QVERIFY(!QFile::exists(marker()));
    }

    void tornFile_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("cut inside the first name") << "root/a"_ba;
        QTest::newRow("cut inside the second name") << "root/a\0root/"_ba;
        QTest::newRow("no end mark") << "root/a\0root/b\0"_ba;
        QTest::newRow("begins with NUL") << "\0root/a\0\n"_ba;
        QTest::newRow("an empty name") << "root/a\0\0\n"_ba;
        QTest::newRow("zeros alone") << QByteArray(4096, '\0');
        QTest::newRow("garbage") << QByteArray(4096, '\xe5');
        QTest::newRow("end mark within a name") << "root/a\n"_ba;
    }

    void tornFile()
    {
        QFETCH(QByteArray, text);
        QVERIFY(TestFiles::write(path(u"obj/root/a"_s), "x"));
        QVERIFY(TestFiles::write(marker(), text));
        for (const bool succeeded : {false, true}) {
            UnfinishedOutputs outputs(path(u"obj"_s));
            QString error;
            QVERIFY(outputs.recover(&error));
            QVERIFY(outputs.isTorn());
            QVERIFY(QFile::exists(path(u"obj/root/a"_s)));
            QVERIFY(begin(outputs, {u"obj/root/b"_s}));
            QCOMPARE(content(), text);
            outputs.end();
            QCOMPARE(content(), text);
            outputs.close(succeeded);
            QCOMPARE(QFile::exists(marker()), !succeeded);
        }
    }

    void outputsOutsideTheObjectDirectory()
    {
        const QStringList names{u"include/mtd16.lh"_s, u"objects/x"_s, u"root/usr/lib/mtd16.lua"_s};
        for (const QString &name : names)
            QVERIFY(TestFiles::write(path(name), "half"));
        killWhileWriting(names);
        QVERIFY(recover(u"obj"_s));
        for (const QString &name : names)
            QVERIFY2(!QFile::exists(path(name)), qPrintable(name));
    }

    void relativePathsAreTakenFromTheWorkingDirectory()
    {
        QVERIFY(TestFiles::write(path(u"include/mtd16.lh"_s), "half"));
        QVERIFY(TestFiles::write(path(u"obj/root/a.lui"_s), "half"));
        const QString before = QDir::currentPath();
        QVERIFY(QDir().mkpath(path(u"work"_s)));
        QDir::setCurrent(path(u"work"_s));
        {
            UnfinishedOutputs outputs(u"../obj"_s);
            QString error;
            QVERIFY(outputs.begin({u"../include/mtd16.lh"_s, u"../obj/root/a.lui"_s}, &error));
        }
        UnfinishedOutputs next(u"../obj"_s);
        QString error;
        const bool ok = next.recover(&error);
        QDir::setCurrent(before);
        QVERIFY2(ok, qPrintable(error));
        QVERIFY(!QFile::exists(path(u"include/mtd16.lh"_s)));
        QVERIFY(!QFile::exists(path(u"obj/root/a.lui"_s)));
    }

    void objectDirectoryBehindALink()
    {
        QVERIFY(QDir().mkpath(path(u"disk/objects"_s)));
        QVERIFY(QFile::link(path(u"disk/objects"_s), path(u"link"_s)));
        QVERIFY(TestFiles::write(path(u"include/mtd16.lh"_s), "half"));
        QVERIFY(TestFiles::write(path(u"disk/include/mtd16.lh"_s), "somebody else's"));
        {
            UnfinishedOutputs outputs(path(u"link"_s));
            QVERIFY(begin(outputs, {u"include/mtd16.lh"_s}));
        }
        QVERIFY(recover(u"link"_s));
        QVERIFY(QFile::exists(path(u"disk/include/mtd16.lh"_s)));
        QVERIFY(!QFile::exists(path(u"include/mtd16.lh"_s)));
    }

    void projectThatIsMovedInBetween()
    {
        QVERIFY(TestFiles::write(path(u"old/obj/root/a.lui"_s), "half"));
        QVERIFY(TestFiles::write(path(u"old/include/mtd16.lh"_s), "half"));
        {
            UnfinishedOutputs outputs(path(u"old/obj"_s));
            QVERIFY(begin(outputs, {u"old/obj/root/a.lui"_s, u"old/include/mtd16.lh"_s}));
        }
        QVERIFY(QFile::rename(path(u"old"_s), path(u"new"_s)));
        QVERIFY(recover(u"new/obj"_s));
        QVERIFY(!QFile::exists(path(u"new/obj/root/a.lui"_s)));
        QVERIFY(!QFile::exists(path(u"new/include/mtd16.lh"_s)));
    }

    void directoryInPlaceOfAnOutput()
    {
        QVERIFY(QDir().mkpath(path(u"obj/root/a.lui"_s)));
        QVERIFY(TestFiles::write(path(u"obj/root/b.lui"_s), "half"));
        killWhileWriting({u"obj/root/a.lui"_s, u"obj/root/b.lui"_s});
        QVERIFY(recover(u"obj"_s));
        QVERIFY(QFileInfo(path(u"obj/root/a.lui"_s)).isDir());
        QVERIFY(!QFile::exists(path(u"obj/root/b.lui"_s)));
        QVERIFY(!QFile::exists(marker()));
    }

    void outputThatCannotBeDeleted()
    {
        QVERIFY(TestFiles::write(path(u"obj/root/a.lui"_s), "half"));
        killWhileWriting({u"obj/root/a.lui"_s});
        QVERIFY(chmod(QFile::encodeName(marker()).constData(), 0666) == 0);
        QVERIFY(chmod(QFile::encodeName(path(u"obj/root"_s)).constData(), 0555) == 0);
        QString error;
        bool ok = true;
        {
            const OrdinaryUser user;
            UnfinishedOutputs outputs(path(u"obj"_s));
            ok = outputs.recover(&error);
            outputs.close(false);
        }
        QVERIFY(!ok);
        QCOMPARE(error, u"Cannot delete %1"_s.arg(path(u"obj/root/a.lui"_s)));
        QCOMPARE(content(), "root/a.lui\0\n"_ba);
        QVERIFY(chmod(QFile::encodeName(path(u"obj/root"_s)).constData(), 0777) == 0);
        QVERIFY(recover(u"obj"_s));
        QVERIFY(!QFile::exists(path(u"obj/root/a.lui"_s)));
    }

    // Going on would overwrite what it says.
    void fileThatCannotBeOpenedEndsTheBuild()
    {
        killWhileWriting({u"obj/root/a.lui"_s});
        QVERIFY(chmod(QFile::encodeName(marker()).constData(), 0) == 0);
        QString error;
        bool ok = true;
        {
            const OrdinaryUser user;
            UnfinishedOutputs outputs(path(u"obj"_s));
            ok = outputs.recover(&error);
            outputs.close(false);
        }
        QVERIFY(!ok);
        QCOMPARE(error, u"Error reading %1: Permission denied"_s.arg(marker()));
        QVERIFY(QFile::exists(marker()));
    }

    void directoryInPlaceOfTheFile()
    {
        QVERIFY(QDir().mkpath(marker()));
        UnfinishedOutputs outputs(path(u"obj"_s));
        QString error;
        QVERIFY(!outputs.recover(&error));
        QCOMPARE(error, u"Error reading %1: Is a directory"_s.arg(marker()));
        QVERIFY(!outputs.begin({path(u"obj/root/a"_s)}, &error));
        QCOMPARE(error, u"Error writing %1: Is a directory"_s.arg(marker()));
    }

    void missingObjectDirectory()
    {
        UnfinishedOutputs outputs(path(u"missing"_s));
        QString error;
        QVERIFY(outputs.recover(&error));
        QVERIFY(!outputs.begin({path(u"missing/a"_s)}, &error));
        QCOMPARE(error, u"Error writing %1: No such file or directory"_s.arg(
                                path(u"missing/.unfinished"_s)));
    }

    void nothingIsDeletedOrNotedWhileAnotherBuildRuns()
    {
        QVERIFY(TestFiles::write(path(u"obj/root/a"_s), "half"));
        UnfinishedOutputs running(path(u"obj"_s));
        QVERIFY(begin(running, {u"obj/root/a"_s}));

        UnfinishedOutputs other(path(u"obj"_s));
        QString error;
        QVERIFY(other.recover(&error));
        QVERIFY(!other.isTorn());
        QVERIFY(QFile::exists(path(u"obj/root/a"_s)));
        QVERIFY(begin(other, {u"obj/root/b"_s}));
        QCOMPARE(content(), "root/a\0\n"_ba);
        other.end();
        QCOMPARE(content(), "root/a\0\n"_ba);
        other.close(true);
        QVERIFY(QFile::exists(marker()));

        running.end();
        running.close(true);
        QVERIFY(!QFile::exists(marker()));
    }

    void notesAreTakenAgainWhenTheOtherBuildHasEnded()
    {
        auto running = std::make_unique<UnfinishedOutputs>(path(u"obj"_s));
        QVERIFY(begin(*running, {u"obj/root/a"_s}));
        UnfinishedOutputs other(path(u"obj"_s));
        QVERIFY(begin(other, {u"obj/root/b"_s}));
        other.end();
        running->end();
        running.reset();
        QVERIFY(begin(other, {u"obj/root/c"_s}));
        QCOMPARE(content(), "root/c\0\n"_ba);
    }

    // Such as at a limit on the size of files, or on a full disk.
    void fileThatCannotBeWritten()
    {
        UnfinishedOutputs outputs(path(u"obj"_s));
        QString error;
        const rlimit unlimited = TestProcess::limitFileSize(4);
        const bool ok = outputs.begin({path(u"obj/root/a"_s)}, &error);
        setrlimit(RLIMIT_FSIZE, &unlimited);
        QVERIFY(!ok);
        QVERIFY2(error.startsWith(u"Error writing %1: "_s.arg(marker())), qPrintable(error));
        outputs.close(false);
        QVERIFY(!QFile::exists(marker())); // no tool has begun
    }

    void endThatCannotBeWritten()
    {
        UnfinishedOutputs outputs(path(u"obj"_s));
        QVERIFY(begin(outputs, {u"obj/root/a"_s}));
        const rlimit unlimited = TestProcess::limitFileSize(0);
        outputs.end();
        setrlimit(RLIMIT_FSIZE, &unlimited);
        QVERIFY(!QFile::exists(marker()));
        QVERIFY(begin(outputs, {u"obj/root/b"_s}));
        QCOMPARE(content(), "root/b\0\n"_ba);
        outputs.end();
        outputs.close(true);
        QVERIFY(!QFile::exists(marker()));
    }

    void descriptorIsNotInherited()
    {
        UnfinishedOutputs outputs(path(u"obj"_s));
        QVERIFY(begin(outputs, {u"obj/root/a"_s}));
        int found = 0;
        for (int descriptor = 3; descriptor < 256; ++descriptor) {
            struct stat open = {};
            struct stat file = {};
            if (fstat(descriptor, &open) != 0
                || stat(QFile::encodeName(marker()).constData(), &file) != 0
                || open.st_ino != file.st_ino || open.st_dev != file.st_dev)
                continue;
            ++found;
            QVERIFY(fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
        }
        QCOMPARE(found, 1);
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    QString marker() const { return path(u"obj/.unfinished"_s); }
    QByteArray content() const { return TestFiles::read(marker()); }
    QStringList entries(const QString &directory = u"obj"_s) const
    {
        return QDir(path(directory))
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    bool begin(UnfinishedOutputs &outputs, const QStringList &names) const
    {
        QStringList paths;
        for (const QString &name : names)
            paths << path(name);
        QString error;
        return outputs.begin(paths, &error) && error.isEmpty();
    }

    bool recover(const QString &directory) const
    {
        UnfinishedOutputs outputs(path(directory));
        QString error;
        return outputs.recover(&error) && !outputs.isTorn() && error.isEmpty();
    }

    static bool isKilled(pid_t child)
    {
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFSIGNALED(status)
               && WTERMSIG(status) == SIGKILL;
    }

    void killWhileWriting(const QStringList &names) const
    {
        const pid_t child = fork();
        if (child == 0) {
            UnfinishedOutputs outputs(path(u"obj"_s));
            begin(outputs, names);
            raise(SIGKILL);
        }
        QVERIFY(isKilled(child));
        QVERIFY(QFile::exists(marker()));
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestUnfinishedOutputs)
#include "tst_unfinishedoutputs.moc"
