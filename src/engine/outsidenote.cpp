#include "engine/outsidenote.h"

#include "files/changes.h"
#include "files/disksync.h"
#include "files/rehearsal.h"
#include "tools/tools.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

enum class Found { Nothing, Note, Other };

/// @return what is where a note can be
Found findAt(const QByteArray &path)
{
    struct stat data = {};
    if (lstat(path.constData(), &data) != 0)
        return Found::Nothing;
    return S_ISREG(data.st_mode) && data.st_size == 0 ? Found::Note : Found::Other;
}

} // namespace

OutsideNote::OutsideNote(const QString &output, const QString &projectDirectory) : m_output(output)
{
    const QFileInfo info(output);
    const QString name = u".%1.unfinished"_s;
    m_paths << info.path() + u'/' + name.arg(info.fileName());
    m_paths << Tools::ensureDirectorySeparator(projectDirectory)
                       + name.arg(QString(output).replace(u'/', u'%'));
}

BuildLock::Result OutsideNote::begin(const std::function<void()> &onWait)
{
    for (const QString &path : std::as_const(m_paths)) {
        const BuildLock::Result result = beginAt(path, onWait);
        if (result != BuildLock::Result::Missing)
            return result;
    }
    return BuildLock::Result::Missing;
}

BuildLock::Result OutsideNote::beginAt(const QString &path, const std::function<void()> &onWait)
{
    const QByteArray name = QFile::encodeName(path);
    BuildLock::Result result = BuildLock::Result::Missing;
    // Another build may take it away before the claim is had.
    while (result == BuildLock::Result::Missing) {
        if (findAt(name) == Found::Other)
            return result;
        const int note =
                ::open(name.constData(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (note < 0)
            return result;
        close(note);
        result = m_claim.acquireFile(path, onWait);
    }
    if (!BuildLock::errorText(result, path).isEmpty())
        return result;
    m_path = path;
    m_note = FileStatus::of(path);
    DiskSync::file(m_claim.descriptor());
    DiskSync::directory(QFileInfo(path).path());
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
    if (!isGone)
        *error = u"Cannot delete %1"_s.arg(m_path);
    return isGone;
}

bool OutsideNote::recover(const std::function<void()> &onWait, QString *error)
{
    return std::all_of(m_paths.cbegin(), m_paths.cend(),
                       [&](const QString &path) { return recoverAt(path, onWait, error); });
}

bool OutsideNote::recoverAt(const QString &path, const std::function<void()> &onWait,
                            QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    if (findAt(name) != Found::Note)
        return true;
    BuildLock claim;
    if (!Rehearsal::isOn()) {
        const BuildLock::Result result = claim.acquireFile(path, onWait);
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
        unlink(name.constData());
    return true;
}

bool OutsideNote::isSameAs(const OutsideNote &made) const
{
    return std::any_of(m_paths.cbegin(), m_paths.cend(), [&made](const QString &path) {
        return FileStatus::of(path).isSameFileAs(made.m_note);
    });
}
