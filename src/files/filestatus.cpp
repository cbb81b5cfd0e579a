#include "files/filestatus.h"

#include "files/rehearsal.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

FileStatus FileStatus::of(const QString &path)
{
    if (Rehearsal::isOn()) {
        if (const std::optional<FileStatus> planned = Rehearsal::status(path))
            return *planned;
    }
    return of(AT_FDCWD, QFile::encodeName(path).constData());
}

FileStatus FileStatus::of(int directory, const char *name)
{
    struct stat data;
    if (fstatat(directory, name, &data, 0) != 0)
        return afterError(errno);
    FileStatus status;
    if (S_ISDIR(data.st_mode))
        status.m_kind = Kind::Directory;
    else if (S_ISREG(data.st_mode))
        status.m_kind = Kind::RegularFile;
    else
        status.m_kind = Kind::Other;
    status.m_hasOtherNames = data.st_nlink > 1;
    status.m_modified = {data.st_mtim.tv_sec, data.st_mtim.tv_nsec};
    status.m_id = {data.st_dev, data.st_ino};
    return status;
}

FileStatus FileStatus::afterError(int error)
{
    FileStatus status;
    const bool isMissing = error == ENOENT || error == ENOTDIR || error == ELOOP
                           || error == ENAMETOOLONG || error == EACCES;
    status.m_kind = isMissing ? Kind::Missing : Kind::Unknown;
    return status;
}

FileStatus FileStatus::madeFile(const FileId &id, const FileTime &time)
{
    FileStatus status;
    status.m_kind = Kind::RegularFile;
    status.m_modified = time;
    status.m_id = id;
    return status;
}

FileStatus FileStatus::madeDirectory(const FileId &id, const FileTime &time)
{
    FileStatus status = madeFile(id, time);
    status.m_kind = Kind::Directory;
    return status;
}

bool FileStatus::isOutOfDate(const FileStatus &input) const
{
    return !exists() || input.isUnknown() || (input.exists() && m_modified < input.m_modified);
}

QString nearestExisting(const QString &path)
{
    QString nearest = path;
    while (!FileStatus::of(nearest).exists() && nearest != "/"_L1 && nearest != "."_L1)
        nearest = QFileInfo(nearest).path();
    return nearest;
}

bool needRebuild(const QString &source, const QString &target)
{
    return FileStatus::of(target).isOutOfDate(FileStatus::of(source));
}
