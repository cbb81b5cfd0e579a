#include "engine/lockowner.h"

#include "testfiles.h"
#include "testprocess.h"

#include <sys/file.h>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

class TestLockOwner : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        for (const QString &name : {u"a"_s, u"b"_s, u"free"_s})
            QVERIFY(TestFiles::write(m_world->filePath(name)));
    }

    void ownerIsFound()
    {
        const pid_t ownerOfA = TestProcess::waitingChild([&] { lock(u"a"_s); });
        const pid_t ownerOfB = TestProcess::waitingChild([&] { lock(u"b"_s); });
        const pid_t a = LockOwner::of(idOf(u"a"_s));
        const pid_t b = LockOwner::of(idOf(u"b"_s));
        TestProcess::endChild(ownerOfA);
        TestProcess::endChild(ownerOfB);
        QCOMPARE(a, ownerOfA);
        QCOMPARE(b, ownerOfB);
        QCOMPARE(LockOwner::of(idOf(u"free"_s)), LockOwner::unknown);
    }

    void lockIsThisProcesss()
    {
        const int file = lock(u"a"_s);
        const int other = open(encoded(u"b"_s).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(LockOwner::isThisProcess(idOf(u"a"_s), "0 EOF"));
        QVERIFY(!LockOwner::isThisProcess(idOf(u"a"_s), "0 0"));
        QVERIFY(!LockOwner::isThisProcess(idOf(u"b"_s), "0 EOF"));
        QVERIFY(!LockOwner::isThisProcess(idOf(u"free"_s), "0 EOF"));
        close(file);
        close(other);
    }

    void outerBuildIsAProcessAboveOfTheSameName()
    {
        const pid_t outer = getpid();
        const pid_t sibling = TestProcess::waitingChild([] {});
        const int child = TestProcess::inChild([&] {
            return LockOwner::isOuterBuild(outer) && !LockOwner::isOuterBuild(getpid())
                   && !LockOwner::isOuterBuild(sibling)
                   && !LockOwner::isOuterBuild(LockOwner::unknown)
                   && TestProcess::inChild([&] { return LockOwner::isOuterBuild(outer); }) == 0;
        });
        const int other = TestProcess::inChild([&] {
            prctl(PR_SET_NAME, "other");
            return !LockOwner::isOuterBuild(outer);
        });
        TestProcess::endChild(sibling);
        QCOMPARE(child, 0);
        QCOMPARE(other, 0);
    }

private:
    QByteArray encoded(const QString &name) const
    {
        return QFile::encodeName(m_world->filePath(name));
    }
    FileId idOf(const QString &name) const { return FileStatus::of(m_world->filePath(name)).id(); }
    int lock(const QString &name) const
    {
        const int file = open(encoded(name).constData(), O_RDONLY | O_CLOEXEC);
        flock(file, LOCK_EX);
        return file;
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestLockOwner)
#include "tst_lockowner.moc"
