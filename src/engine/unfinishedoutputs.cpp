#include "engine/unfinishedoutputs.h"

#include "files/filestatus.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The file holds the outputs' names, each ended by a NUL, and then this. While no step runs, it
// begins with it. What is left of a longer text may follow.
constexpr char endMark = '\n';

/// @return false when the text is cut short or no such text at all
bool readNames(QByteArrayView text, QStringList *names)
{
    while (!text.isEmpty()) {
        if (text.front() == endMark)
            return true;
        const qsizetype end = text.indexOf('\0');
        if (end <= 0)
            return false;
        names->append(QFile::decodeName(text.first(end).toByteArray()));
        text = text.sliced(end + 1);
    }
    return false;
}

} // namespace

UnfinishedOutputs::UnfinishedOutputs(const QString &objectDirectory)
    : m_directory(Tools::ensureDirectorySeparator(objectDirectory)),
      m_path(m_directory + u".unfinished"_s)
{
}

UnfinishedOutputs::~UnfinishedOutputs()
{
    close(false);
}

bool UnfinishedOutputs::open(int flags)
{
    if (m_descriptor >= 0)
        return true;
    const QByteArray path = QFile::encodeName(m_path);
    for (;;) {
        m_descriptor = ::open(path.constData(), flags | O_RDWR | O_CLOEXEC, 0666);
        if (m_descriptor < 0)
            return false;
        // A file system without locks cannot tell a build that runs; it is left to the user there.
        const bool isLocked = flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        struct stat data = {};
        if (!isLocked && (fstat(m_descriptor, &data) != 0 || data.st_nlink > 0))
            return true;
        // Locked, or removed by a build that ended since the file was opened.
        ::close(m_descriptor);
        m_descriptor = -1;
        if (isLocked) {
            errno = EWOULDBLOCK;
            return false;
        }
    }
}

bool UnfinishedOutputs::write(const QByteArray &text) const
{
    const ssize_t count =
            pwrite(m_descriptor, text.constData(), static_cast<size_t>(text.size()), 0);
    if (count >= 0 && count < text.size())
        errno = ENOSPC;
    return count == text.size();
}

QByteArray UnfinishedOutputs::name(const QString &output) const
{
    // As seen from the object directory, so that a project may be moved in between.
    if (output.startsWith(m_directory))
        return QFile::encodeName(output.sliced(m_directory.size()));
    return QFile::encodeName(
            QDir(m_directory).relativeFilePath(QFileInfo(output).absoluteFilePath()));
}

bool UnfinishedOutputs::recover(QString *error)
{
    if (!open(0)) {
        if (errno == ENOENT || errno == EWOULDBLOCK)
            return true;
        // Going on would overwrite what it says.
        *error = u"Error reading %1: %2"_s.arg(m_path, qt_error_string(errno));
        return false;
    }
    QFile file;
    QStringList names;
    m_isTorn = !file.open(m_descriptor, QIODevice::ReadOnly) || !readNames(file.readAll(), &names);
    if (m_isTorn)
        return true;
    for (const QString &name : std::as_const(names)) {
        // Without "..", as name() has made it: the object directory may be a symbolic link.
        const QString output = QDir::cleanPath(m_directory + name);
        if (!QFile::remove(output) && FileStatus::of(output).isRegularFile()) {
            m_hasOutputs = true;
            *error = u"Cannot delete %1"_s.arg(output);
            return false;
        }
    }
    return true;
}

bool UnfinishedOutputs::begin(const QStringList &outputs, QString *error)
{
    if (m_isTorn)
        return true;
    if (open(O_CREAT)) {
        QByteArray text;
        for (const QString &output : outputs)
            text += name(output) + '\0';
        m_hasOutputs = write(text + endMark);
        if (m_hasOutputs)
            return true;
    } else if (errno == EWOULDBLOCK) {
        return true;
    }
    *error = u"Error writing %1: %2"_s.arg(m_path, qt_error_string(errno));
    return false;
}

void UnfinishedOutputs::end()
{
    if (!m_hasOutputs)
        return;
    m_hasOutputs = false;
    if (!write(QByteArray(1, endMark)))
        close(false);
}

void UnfinishedOutputs::close(bool buildSucceeded)
{
    if (m_descriptor < 0)
        return;
    if (m_isTorn ? buildSucceeded : !m_hasOutputs)
        unlink(QFile::encodeName(m_path).constData());
    ::close(m_descriptor);
    m_descriptor = -1;
}
