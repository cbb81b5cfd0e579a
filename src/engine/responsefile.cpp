#include "engine/responsefile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype minimumArguments = 17;

/// QFile reports a write that was cut short (a full disk) without its reason, hence by hand.
/// @return false with errno set
bool writeAll(int descriptor, QByteArrayView text)
{
    while (!text.isEmpty()) {
        const ssize_t count = ::write(descriptor, text.data(), static_cast<size_t>(text.size()));
        if (count < 0 && errno != EINTR)
            return false;
        text = text.sliced(std::max<ssize_t>(count, 0));
    }
    return true;
}

/// Writes piece by piece: an image of a large project has hundreds of thousands of arguments.
/// @return false with errno set
bool writeLines(int descriptor, const QStringList &arguments)
{
    QString piece(32'768, Qt::Uninitialized);
    qsizetype used = 0;
    const auto flush = [&] {
        return writeAll(descriptor, QStringView(piece).first(std::exchange(used, 0)).toLocal8Bit());
    };
    for (const QString &argument : arguments) {
        const qsizetype needed = argument.size() + 1;
        if (used + needed > piece.size() && !flush())
            return false;
        if (needed > piece.size())
            piece.resize(needed);
        *std::copy(argument.begin(), argument.end(), piece.begin() + used) = u'\n';
        used += needed;
    }
    return flush();
}

} // namespace

bool ResponseFile::isNeededFor(const QStringList &arguments)
{
    return arguments.size() >= minimumArguments;
}

bool ResponseFile::write(const QStringList &arguments, QString *error)
{
    const QString message = u"Error writing %1: %2"_s;
    if (!m_file.open()) {
        // It has no name of its own yet.
        *error = message.arg(m_file.fileTemplate(), m_file.errorString());
        return false;
    }
    if (!writeLines(m_file.handle(), arguments)) {
        *error = message.arg(m_file.fileName(), qt_error_string(errno));
        return false;
    }
    const QString name = m_file.fileName();
    m_file.close();
    if (m_file.error() != QFileDevice::NoError) {
        *error = message.arg(name, m_file.errorString());
        return false;
    }
    return true;
}

QString ResponseFile::argument() const
{
    return u'@' + QDir::toNativeSeparators(QFileInfo(m_file.fileName()).absoluteFilePath());
}
