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

QString notePath(const QString &output)
{
    const QFileInfo info(output);
    return u"%1/.%2.unfinished"_s.arg(info.path(), info.fileName());
}

} // namespace

OutsideNote::OutsideNote(const QString &output) : m_output(output), m_path(notePath(output)) {}

BuildLock::Result OutsideNote::begin(const std::function<void()> &onWait)
{
    const QByteArray path = QFile::encodeName(m_path);
    BuildLock::Result result = BuildLock::Result::Missing;
    // Another build may take it away before the claim is had.
    while (result == BuildLock::Result::Missing) {
        struct stat data = {};
        if (lstat(path.constData(), &data) == 0 && !S_ISREG(data.st_mode))
            unlink(path.constData()); // whatever stands in its place is not opened
        const int note =
                ::open(path.constData(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (note < 0)
            return result;
        close(note);
        result = m_claim.acquireFile(m_path, onWait);
    }
    if (BuildLock::errorText(result, m_path).isEmpty()) {
        if (m_claim.descriptor() >= 0)
            DiskSync::file(m_claim.descriptor());
        DiskSync::directory(QFileInfo(m_output).path());
    }
    return result;
}

bool OutsideNote::end(QString *error)
{
    const int file =
            ::open(QFile::encodeName(m_output).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file >= 0) {
        DiskSync::file(file);
        close(file);
        DiskSync::directory(QFileInfo(m_output).path());
    }
    const bool isGone = unlink(QFile::encodeName(m_path).constData()) == 0 || errno == ENOENT
                        || errno == ENOTDIR;
    m_claim.release();
    if (!isGone)
        *error = u"Cannot delete %1"_s.arg(m_path);
    return isGone;
}

bool OutsideNote::recover(const std::function<void()> &onWait, QString *error)
{
    const QByteArray path = QFile::encodeName(m_path);
    struct stat data = {};
    if (lstat(path.constData(), &data) != 0)
        return true;
    BuildLock claim;
    if (!Rehearsal::isOn()) {
        const BuildLock::Result result = claim.acquireFile(m_path, onWait);
        if (result == BuildLock::Result::Missing)
            return true; // the other build has ended well
        *error = BuildLock::errorText(result, m_output);
        if (!error->isEmpty())
            return false;
    }
    if (!Changes::removeFile(m_output) && FileStatus::of(m_output).isRegularFile()) {
        *error = u"Cannot delete %1"_s.arg(m_output);
        return false;
    }
    if (!Rehearsal::isOn())
        unlink(path.constData());
    return true;
}
