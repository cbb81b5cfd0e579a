#include "files/disksync.h"

#include <QFile>
#include <QStringList>

#include <cerrno>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isWanted()
{
    return qgetenv("ZTMAKE_SYNC") != "0";
}

int openDirectory(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

} // namespace

bool DiskSync::file(int descriptor)
{
    return !isWanted() || fdatasync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS
           || errno == EROFS || errno == ENOTSUP;
}

void DiskSync::directory(const QString &path)
{
    const int directory = isWanted() ? openDirectory(path) : -1;
    if (directory >= 0) {
        fsync(directory);
        close(directory);
    }
}

void DiskSync::fileSystemsOf(const QStringList &directories)
{
    if (!isWanted())
        return;
    std::set<dev_t> synced;
    for (const QString &path : directories) {
        const int directory = openDirectory(path);
        struct stat data = {};
        if (directory < 0)
            continue;
        fstat(directory, &data);
        if (synced.insert(data.st_dev).second)
            syncfs(directory);
        close(directory);
    }
}
