#include "files/changes.h"

#include "files/rehearsal.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace {

void separate(const QString &path, bool isSymbolicToo)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat data = {};
    if (Rehearsal::isOn() || lstat(name.constData(), &data) != 0)
        return;
    const bool isHard = S_ISREG(data.st_mode) && data.st_nlink > 1;
    const bool isSymbolic = S_ISLNK(data.st_mode) && FileStatus::of(path).isRegularFile();
    if (isHard || (isSymbolic && isSymbolicToo))
        unlink(name.constData());
}

} // namespace

bool Changes::makeDirectory(const QString &path)
{
    if (!Rehearsal::isOn())
        return QDir().mkpath(path);
    if (!FileStatus::of(nearestExisting(path)).isDirectory())
        return false;
    Rehearsal::makeDirectory(path);
    return true;
}

bool Changes::removeFile(const QString &path)
{
    if (!Rehearsal::isOn())
        return QFile::remove(path);
    const FileStatus status = FileStatus::of(path);
    if (!status.exists() || status.isDirectory())
        return false;
    Rehearsal::remove(path);
    return true;
}

void Changes::separateHardLinks(const QString &path)
{
    separate(path, false);
}

void Changes::separateLinks(const QString &path)
{
    separate(path, true);
}
