#include "engine/buildlock.h"

#include "engine/interruption.h"
#include "files/filestatus.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The builds that this process is part of, each as " process:device:inode".
constexpr char buildsVariable[] = "ZTMAKE_BUILDS";

constexpr timespec pollInterval{0, 50'000'000};
constexpr int silentPolls = 5; // a killed program may take as long to be gone

QByteArray claimText(pid_t process, const FileId &directory)
{
    return ' ' + QByteArray::number(process) + ':' + QByteArray::number(quint64(directory.device))
           + ':' + QByteArray::number(quint64(directory.inode));
}

/// @return whether a build that started this process, and still runs, has claimed @p directory
bool isClaimedByOwnBuild(const FileId &directory)
{
    const QByteArrayList builds = qgetenv(buildsVariable).split(' ');
    for (const QByteArray &build : builds) {
        const pid_t process = build.left(build.indexOf(':')).toInt();
        if (process > 0 && ' ' + build == claimText(process, directory)
            && (kill(process, 0) == 0 || errno == EPERM))
            return true;
    }
    return false;
}

FileId idOf(int descriptor)
{
    struct stat data = {};
    fstat(descriptor, &data);
    return {data.st_dev, data.st_ino};
}

} // namespace

BuildLock::Result BuildLock::acquire(const QString &directory, const std::function<void()> &onWait)
{
    release();
    const QByteArray path = QFile::encodeName(directory.isEmpty() ? u"."_s : directory);
    m_descriptor = ::open(path.constData(), O_RDONLY | O_DIRECTORY); // inherited
    if (m_descriptor < 0)
        return errno == ENOENT ? Result::NoDirectory : Result::NotHeld;
    const FileId id = idOf(m_descriptor);
    int polls = 0;
    while (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            return Result::NotHeld;
        if (isClaimedByOwnBuild(id))
            return Result::OwnBuild;
        if (Interruption::signal() != 0)
            return Result::Interrupted;
        if (++polls == silentPolls)
            onWait();
        nanosleep(&pollInterval, nullptr); // a signal ends it early
    }
    // One that was removed, and perhaps made again, meanwhile: the claim is on the wrong one.
    const FileStatus now = FileStatus::of(QFile::decodeName(path));
    if (!now.exists() || now.id() != id) {
        release();
        return Result::NoDirectory;
    }
    qputenv(buildsVariable, qgetenv(buildsVariable) + claimText(getpid(), id));
    return Result::Held;
}

void BuildLock::release()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
}

bool BuildLock::tryAcquire(const QString &directory)
{
    release();
    const QByteArray path = QFile::encodeName(directory.isEmpty() ? u"."_s : directory);
    m_descriptor = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return m_descriptor < 0 || flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}
