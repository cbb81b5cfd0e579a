#include "engine/unfinishednote.h"

#include "files/disksync.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The first line: this word, the boot, and the seconds and nanoseconds since when everything is to
// be built, or "-". Then each output's name, ended by a NUL, and the end mark; what is left of a
// longer list may follow.
constexpr char formatWord[] = "ztmake-unfinished-2";
constexpr char endMark = '\n';
constexpr off_t maximumSize = 1 << 20;

QByteArray bootId()
{
    static const QByteArray id = [] {
        QFile file(u"/proc/sys/kernel/random/boot_id"_s);
        return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
    }();
    return id;
}

/// @return false when the text is cut short or no list at all
bool parseNames(QByteArrayView text, QStringList *names)
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

/// Renames a file, also over an empty directory.
/// @return false with errno set
bool replace(const QByteArray &file, const QByteArray &path)
{
    const auto move = [&] { return rename(file.constData(), path.constData()) == 0; };
    return move() || (errno == EISDIR && rmdir(path.constData()) == 0 && move());
}

/// @return false with errno set
bool writeAt(int descriptor, off_t offset, const QByteArray &text)
{
    errno = ENOSPC; // for a write that is cut short
    return pwrite(descriptor, text.constData(), static_cast<size_t>(text.size()), offset)
           == text.size();
}

bool isOwnSmallFile(int descriptor)
{
    struct stat data = {};
    fstat(descriptor, &data);
    return S_ISREG(data.st_mode) && data.st_uid == geteuid() && data.st_nlink == 1
           && data.st_size <= maximumSize;
}

} // namespace

UnfinishedNote::UnfinishedNote(const QString &objectDirectory)
    : m_directory(objectDirectory),
      m_path(Tools::ensureDirectorySeparator(m_directory) + u".unfinished"_s)
{
}

UnfinishedNote::~UnfinishedNote()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

std::optional<UnfinishedNote::State> UnfinishedNote::read(QString *error)
{
    const int descriptor = ::open(QFile::encodeName(m_path).constData(),
                                  O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return State::Absent;
        if (errno == ELOOP || errno == EACCES || errno == ENXIO || errno == EISDIR)
            return State::Torn;
        *error = u"Error reading %1: %2"_s.arg(m_path, qt_error_string(errno));
        return {};
    }
    QFile file;
    const bool isWhole = file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)
                         && isOwnSmallFile(descriptor) && parse(file.read(maximumSize));
    if (isWhole)
        return State::Whole;
    m_outputs.clear();
    m_allSince.reset();
    return State::Torn;
}

bool UnfinishedNote::parse(const QByteArray &text)
{
    const qsizetype lineEnd = text.indexOf('\n');
    const QByteArrayList words = text.left(lineEnd).split(' ');
    if (words.size() != 4 || words[0] != formatWord || words[1] != bootId())
        return false;
    if (words[2] != "-")
        m_allSince = FileTime{words[2].toLongLong(), words[3].toLongLong()};
    return parseNames(QByteArrayView(text).sliced(lineEnd + 1), &m_outputs);
}

QByteArray UnfinishedNote::header() const
{
    QByteArrayList words{formatWord, bootId(), "-", "-"};
    if (m_allSince) {
        words[2] = QByteArray::number(m_allSince->seconds);
        words[3] = QByteArray::number(m_allSince->nanoseconds);
    }
    return words.join(' ') + '\n';
}

bool UnfinishedNote::create(const QByteArray &list)
{
    // Under another name first: whatever stands in its place is replaced, never written to.
    QDir().mkpath(m_directory);
    const QByteArray temporary = QFile::encodeName(m_path + u".new"_s);
    unlink(temporary.constData());
    m_descriptor =
            ::open(temporary.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (m_descriptor < 0)
        return false;
    const QByteArray head = header();
    m_headerSize = head.size();
    if (!writeAt(m_descriptor, 0, head + list) || !DiskSync::file(m_descriptor)
        || !replace(temporary, QFile::encodeName(m_path))) {
        const int reason = errno;
        unlink(temporary.constData());
        close(m_descriptor);
        m_descriptor = -1;
        errno = reason;
        return false;
    }
    DiskSync::directory(m_directory);
    return true;
}

bool UnfinishedNote::write(const QStringList &outputs, QString *error)
{
    QByteArray list;
    for (const QString &output : outputs)
        list += QFile::encodeName(output) + '\0';
    list += endMark;
    if (m_descriptor >= 0 ? writeAt(m_descriptor, m_headerSize, list) : create(list))
        return true;
    *error = u"Error writing %1: %2"_s.arg(m_path, qt_error_string(errno));
    return false;
}

void UnfinishedNote::remove()
{
    unlink(QFile::encodeName(m_path).constData());
    if (m_descriptor >= 0)
        close(m_descriptor);
    m_descriptor = -1;
}
