#include "tools/filestatus.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

FileStatus FileStatus::of(const QString &path)
{
    return of(AT_FDCWD, QFile::encodeName(path).constData());
}

FileStatus FileStatus::of(int directory, const char *name)
{
    FileStatus status;
    struct stat data;
    if (fstatat(directory, name, &data, 0) != 0)
        return status;
    if (S_ISDIR(data.st_mode))
        status.m_kind = Kind::Directory;
    else if (S_ISREG(data.st_mode))
        status.m_kind = Kind::RegularFile;
    else
        status.m_kind = Kind::Other;
    status.m_modified = {data.st_mtim.tv_sec, data.st_mtim.tv_nsec};
    return status;
}

bool FileStatus::isOutOfDate(const FileStatus &input) const
{
    return !exists() || (input.exists() && m_modified < input.m_modified);
}

bool needRebuild(const QString &source, const QString &target)
{
    return FileStatus::of(target).isOutOfDate(FileStatus::of(source));
}
