#include "engine/outsidenote.h"

#include "files/changes.h"
#include "files/disksync.h"
#include "files/filestatus.h"
#include "files/rehearsal.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray notePath(const QString &output)
{
    const QFileInfo info(output);
    return QFile::encodeName(u"%1/.%2.unfinished"_s.arg(info.path(), info.fileName()));
}

} // namespace

bool OutsideNote::begin(const QString &output)
{
    // A new file: whatever stands in its place is not written to.
    const QByteArray path = notePath(output);
    unlink(path.constData());
    const int note =
            ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (note < 0)
        return false;
    DiskSync::file(note);
    close(note);
    DiskSync::directory(QFileInfo(output).path());
    return true;
}

bool OutsideNote::end(const QString &output, QString *error)
{
    const int file =
            ::open(QFile::encodeName(output).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file >= 0) {
        DiskSync::file(file);
        close(file);
        DiskSync::directory(QFileInfo(output).path());
    }
    const QByteArray note = notePath(output);
    if (unlink(note.constData()) == 0 || errno == ENOENT || errno == ENOTDIR)
        return true;
    *error = u"Cannot delete %1"_s.arg(QFile::decodeName(note));
    return false;
}

bool OutsideNote::recover(const QString &output)
{
    const QByteArray path = notePath(output);
    struct stat data = {};
    if (lstat(path.constData(), &data) != 0)
        return true;
    if (!Changes::removeFile(output) && FileStatus::of(output).isRegularFile())
        return false;
    if (!Rehearsal::isOn())
        unlink(path.constData());
    return true;
}
