#include "engine/buildlock.h"

#include "engine/interruption.h"
#include "engine/lockowner.h"
#include "files/filestatus.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The claims of the builds that this process is part of, each as " process:claim".
constexpr char buildsVariable[] = "ZTMAKE_BUILDS";

constexpr timespec pollInterval{0, 50'000'000};
constexpr int silentPolls = 5; // a killed program may take as long to be gone

FileId idOf(int descriptor)
{
    struct stat data = {};
    fstat(descriptor, &data);
    return {data.st_dev, data.st_ino};
}

QByteArray textOf(const FileId &id)
{
    return QByteArray::number(quint64(id.device)) + ':' + QByteArray::number(quint64(id.inode));
}

/// @return whether a build that started this process, and still runs, has noted the claim
bool isOfOwnBuild(const QByteArray &claim)
{
    const QByteArrayList builds = qgetenv(buildsVariable).split(' ');
    return std::any_of(builds.begin(), builds.end(), [&claim](const QByteArray &build) {
        const qsizetype colon = build.indexOf(':');
        const pid_t process = build.left(colon).toInt();
        return process != getpid() && build.sliced(colon + 1) == claim && getpgid(process) != -1;
    });
}

/// What is to be locked.
struct Claim
{
    FileId id;
    QByteArray text;  ///< for the builds that this process starts
    QByteArray range; ///< as the system writes it
};

bool isClaimedByOwnBuild(const Claim &claim)
{
    return isOfOwnBuild(claim.text) || LockOwner::isThisProcess(claim.id, claim.range)
           || LockOwner::isOuterBuild(LockOwner::of(claim.id));
}

/// @param tryLock  returns false with errno set when another process has the lock
/// @param hasOwner  tells whether the build that made the claim still runs
template <typename TryLock, typename HasOwner>
BuildLock::Result acquireBy(TryLock tryLock, HasOwner hasOwner, const Claim &claim,
                            const std::function<void()> &onWait, bool *wasLeft)
{
    for (int polls = 0; !tryLock();) {
        if (errno != EWOULDBLOCK)
            return BuildLock::Result::NotHeld;
        if (polls == 0 && isClaimedByOwnBuild(claim))
            return BuildLock::Result::OwnBuild;
        *wasLeft = *wasLeft || !hasOwner();
        if (Interruption::signal() != 0)
            return BuildLock::Result::Interrupted;
        if (++polls == silentPolls)
            onWait();
        nanosleep(&pollInterval, nullptr); // a signal ends it early
    }
    return BuildLock::Result::Held;
}

void noteClaim(const QByteArray &claim)
{
    qputenv(buildsVariable,
            qgetenv(buildsVariable) + ' ' + QByteArray::number(getpid()) + ':' + claim);
}

/// @return where in the directory the lock of a name is: two names may share one, which only makes
/// a build wait
off_t offsetOf(const QByteArray &name)
{
    uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char byte : name)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    return static_cast<off_t>(hash >> 2U);
}

bool setOffsetLock(int descriptor, int command, struct flock *lock, short type, off_t offset)
{
    *lock = {};
    lock->l_type = type;
    lock->l_start = offset;
    lock->l_len = 1;
    return fcntl(descriptor, command, lock) == 0;
}

/// A directory can be locked for reading only, so this looks whether others have done so, too. Of
/// two that come at the same moment at most one goes on.
/// @return false with errno set
bool lockOffset(int descriptor, off_t offset)
{
    struct flock lock = {};
    if (setOffsetLock(descriptor, F_OFD_SETLK, &lock, F_RDLCK, offset)
        && setOffsetLock(descriptor, F_OFD_GETLK, &lock, F_WRLCK, offset)
        && lock.l_type != F_UNLCK) {
        setOffsetLock(descriptor, F_OFD_SETLK, &lock, F_UNLCK, offset);
        errno = EWOULDBLOCK;
        return false;
    }
    return lock.l_type == F_UNLCK;
}

/// Locks a file that is open twice: the whole of it in @p inherited, for this process and the
/// programs that it starts, and a byte of it in @p own, for this process alone. Who meets only the
/// former lock knows that its owner has ended, so the latter is taken first.
/// @return false with errno set
bool lockWhole(int inherited, int own)
{
    struct flock lock = {};
    setOffsetLock(own, F_OFD_SETLK, &lock, F_RDLCK, 0);
    if (flock(inherited, LOCK_EX | LOCK_NB) == 0)
        return true;
    const int error = errno;
    setOffsetLock(own, F_OFD_SETLK, &lock, F_UNLCK, 0);
    errno = error;
    return false;
}

bool isWholeOwned(int own)
{
    struct flock lock = {};
    return setOffsetLock(own, F_OFD_GETLK, &lock, F_WRLCK, 0) && lock.l_type != F_UNLCK;
}

} // namespace

BuildLock::Result BuildLock::acquire(const QString &directory, const std::function<void()> &onWait)
{
    return acquireWhole(directory, O_DIRECTORY, onWait);
}

BuildLock::Result BuildLock::acquireFile(const QString &path, const std::function<void()> &onWait)
{
    return acquireWhole(path, O_NOFOLLOW | O_NONBLOCK, onWait);
}

BuildLock::Result BuildLock::acquireWhole(const QString &path, int flags,
                                          const std::function<void()> &onWait)
{
    if (!open(path, flags))
        return errno == ENOENT ? Result::Missing : Result::NotHeld;
    m_ownDescriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | flags | O_CLOEXEC);
    const FileId id = idOf(m_descriptor);
    const Result result = acquireBy([this] { return lockWhole(m_descriptor, m_ownDescriptor); },
                                    [this] { return isWholeOwned(m_ownDescriptor); },
                                    {id, textOf(id), "0 EOF"}, onWait, &m_wasLeft);
    if (result != Result::Held)
        return result;
    // One that was removed, and perhaps made again, meanwhile: the claim is on the wrong one.
    if (FileStatus::of(path).id() != id)
        return Result::Missing;
    noteClaim(textOf(id));
    return Result::Held;
}

BuildLock::Result BuildLock::acquireName(const QString &directory, const QString &name,
                                         const std::function<void()> &onWait)
{
    if (!open(directory.isEmpty() ? u"."_s : directory, O_DIRECTORY))
        return Result::NotHeld;
    const off_t offset = offsetOf(QFile::encodeName(name));
    const QByteArray place = QByteArray::number(qint64(offset));
    const FileId id = idOf(m_descriptor);
    const Claim claim{id, textOf(id) + ':' + place, place + ' ' + place};
    // What a build had under this name is gone, whether it goes on itself or not.
    const Result result = acquireBy([&] { return lockOffset(m_descriptor, offset); },
                                    [] { return false; }, claim, onWait, &m_wasLeft);
    if (result == Result::Held)
        noteClaim(claim.text);
    return result;
}

QString BuildLock::errorText(Result result, const QString &path)
{
    switch (result) {
    case Result::Interrupted:
        return Interruption::text();
    case Result::OwnBuild:
        return u"The build that started this one is still using %1"_s.arg(path);
    case Result::Held:
    case Result::NotHeld:
    case Result::Missing:
        break;
    }
    return {};
}

bool BuildLock::open(const QString &path, int flags)
{
    close();
    m_descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | flags);
    return m_descriptor >= 0;
}

void BuildLock::release()
{
    close();
    m_wasLeft = false;
}

void BuildLock::close()
{
    for (int *descriptor : {&m_descriptor, &m_ownDescriptor}) { // in this order; see lockWhole()
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
}

bool BuildLock::tryAcquire(const QString &directory)
{
    return !open(directory, O_DIRECTORY | O_CLOEXEC) || flock(m_descriptor, LOCK_EX | LOCK_NB) == 0
           || errno != EWOULDBLOCK;
}
