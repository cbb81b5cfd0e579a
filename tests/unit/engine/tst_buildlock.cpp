#include "engine/buildlock.h"

#include "engine/interruption.h"
#include "rows.h"
#include "testfiles.h"
#include "testprocess.h"

#include <cerrno>

#include <sys/file.h>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace {

using Result = BuildLock::Result;

constexpr char builds[] = "ZTMAKE_BUILDS";

/// What is claimed, and what a program that is started then has of the build that claimed it.
struct Started
{
    bool isName;
    QByteArray environment;
    bool hasDescriptors;
    bool hasName;
    Result result; ///< of its own claim
};

/// From now on this process gives up instead of waiting.
void interrupt()
{
    Interruption::watch();
    raise(SIGTERM);
}

} // namespace

class TestBuildLock : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_world->path()).mkdir(u"obj"_s));
        QVERIFY(QDir(m_world->path()).mkdir(u"other"_s));
        qunsetenv(builds);
    }
    void cleanup() { qunsetenv(builds); }

    // It would wait for the end of this one, too.
    void outerBuildIsNotWaitedFor_data()
    {
        const Rows<Started> row;
        const Result known = Result::OwnBuild;
        const Result waits = Result::Interrupted;
        row("environment", {false, " outer:claim", false, false, known});
        row("environment, name", {true, " outer:claim", false, false, known});
        row("descriptors", {false, "", true, false, known});
        row("descriptors, name", {true, "", true, false, known});
        row("name of the program", {false, "", false, true, known});
        row("nothing", {false, "", false, false, waits});
        row("nothing, name", {true, "", false, false, waits});
        row("one of several builds", {false, " outer:1:1 outer:claim 1:1:1", false, false, known});
        row("claim on something else", {false, " outer:1:1", false, false, waits});
        row("earlier claim of its own", {false, " inner:claim", false, false, waits});
        row("build that has ended", {false, " ended:claim", false, false, waits});
    }
    void outerBuildIsNotWaitedFor()
    {
        const Started started = std::get<0>(fetch<Started>());
        BuildLock outer;
        QCOMPARE(claim(&outer, started.isName), Result::Held);
        const QByteArray noted = qgetenv(builds);
        const pid_t ended = TestProcess::waitingChild([] {});
        TestProcess::endChild(ended);
        QByteArray environment = started.environment;
        environment.replace("claim", noted.sliced(noted.indexOf(':') + 1))
                .replace("outer", QByteArray::number(getpid()))
                .replace("ended", QByteArray::number(ended));
        const int status = TestProcess::inChild([&] {
            qputenv(builds, environment.replace("inner", QByteArray::number(getpid())));
            if (!started.hasDescriptors)
                close(outer.descriptor());
            if (!started.hasName)
                prctl(PR_SET_NAME, "other");
            interrupt();
            BuildLock inner;
            return claim(&inner, started.isName) == started.result;
        });
        QCOMPARE(status, 0);
    }

    // Nothing tells whether who has claimed a name still runs.
    void whatAKilledBuildHasLeftIsTold_data()
    {
        const Rows<bool, bool, bool> row; // by name, whether its owner runs, whether that is told
        row("build", false, true, false);
        row("left by a build", false, false, true);
        row("build, by name", true, true, true);
    }
    void whatAKilledBuildHasLeftIsTold()
    {
        const auto [isName, ownerRuns, isTold] = fetch<bool, bool, bool>();
        BuildLock other;
        const pid_t owner = TestProcess::waitingChild([&, isName = isName, ownerRuns = ownerRuns] {
            if (ownerRuns)
                claim(&other, isName);
            else
                lockAlone();
        });
        BuildLock lock;
        int waits = 0;
        const auto onWait = [&] {
            ++waits;
            TestProcess::endChild(owner);
        };
        QCOMPARE(claim(&lock, isName, onWait), Result::Held);
        QCOMPARE(waits, 1);
        QCOMPARE(lock.wasLeft(), isTold);
        lock.release();
        QVERIFY(!lock.wasLeft());
    }

    // With the last descriptor; the other one is missing.
    void waitsWithoutKnowingTheOwner()
    {
        const pid_t owner = TestProcess::waitingChild([&] { lockAlone(); });
        const int status = TestProcess::inChild([&] {
            const int next = dup(STDIN_FILENO);
            close(next);
            const rlimit few{static_cast<rlim_t>(next) + 1, static_cast<rlim_t>(next) + 1};
            interrupt();
            BuildLock lock;
            return setrlimit(RLIMIT_NOFILE, &few) == 0 && claim(&lock, false) == Result::Interrupted
                   && lock.wasLeft();
        });
        TestProcess::endChild(owner);
        QCOMPARE(status, 0);
    }

    // Otherwise two that wait would keep each other from going on, or take each other for owners.
    void claimThatFailsLeavesNoLock()
    {
        BuildLock first;
        BuildLock second;
        QCOMPARE(claim(&first, true), Result::Held);
        QCOMPARE(claim(&second, true), Result::OwnBuild);
        first.release();
        QCOMPARE(claim(&first, true), Result::Held);

        const int left = lockAlone();
        QCOMPARE(claim(&second, false), Result::OwnBuild);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        QCOMPARE(fcntl(left, F_OFD_GETLK, &lock), 0);
        close(left);
        QCOMPARE(lock.l_type, F_UNLCK);
    }

    void nextClaimEndsTheOneBefore()
    {
        BuildLock first;
        BuildLock second;
        QCOMPARE(claim(&first, false), Result::Held);
        QCOMPARE(first.acquire(path(u"other"_s), failToWait), Result::Held);
        QCOMPARE(claim(&second, false), Result::Held);
    }

    void releaseClosesOnce()
    {
        BuildLock lock;
        QCOMPARE(claim(&lock, false), Result::Held);
        const int descriptor = lock.descriptor();
        lock.release();
        const int file = dup(STDIN_FILENO);
        QCOMPARE(file, descriptor);
        lock.release();
        QCOMPARE(close(file), 0);
    }

    void onlyWhatIsThereCanBeClaimed()
    {
        BuildLock lock;
        QCOMPARE(lock.acquire(path(u"missing"_s), failToWait), Result::Missing);
        QVERIFY(TestFiles::write(path(u"file"_s)));
        QCOMPARE(lock.acquire(path(u"file"_s), failToWait), Result::NotHeld);
        QCOMPARE(lock.acquireName({}, u"name"_s, failToWait), Result::Held); // where it runs
    }

    void directoryThatNobodyElseHas()
    {
        BuildLock lock;
        BuildLock other;
        QVERIFY(lock.tryAcquire(path(u"missing"_s)));
        errno = EWOULDBLOCK; // of an earlier call
        QVERIFY(lock.tryAcquire(path(u"obj"_s)));
        QVERIFY(!other.tryAcquire(path(u"obj"_s)));
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    static void failToWait() { qFatal("Nobody ends this waiting"); }
    Result claim(BuildLock *lock, bool isName,
                 const std::function<void()> &onWait = failToWait) const
    {
        return isName ? lock->acquireName(m_world->path(), u"obj"_s, onWait)
                      : lock->acquire(path(u"obj"_s), onWait);
    }
    /// Locks the directory like a program that a build has started.
    int lockAlone() const
    {
        const int file = open(QFile::encodeName(path(u"obj"_s)).constData(), O_RDONLY | O_CLOEXEC);
        flock(file, LOCK_EX);
        return file;
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestBuildLock)
#include "tst_buildlock.moc"
