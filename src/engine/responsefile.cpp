#include "engine/responsefile.h"

#include "files/writeall.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype minimumArguments = 17;
constexpr std::string_view namePrefix = "args.";
constexpr size_t nameLength = namePrefix.size() + 6;

QString escaped(const QString &argument)
{
    QString text = argument;
    return text.replace(u'\\', u"\\\\"_s).replace(u'\n', u"\\n"_s).replace(u'\r', u"\\r"_s);
}

/// Writes piece by piece: an image of a large project has hundreds of thousands of arguments.
/// @param lines  receives how many lines were written
/// @return false with errno set
bool writeLines(int descriptor, const QStringList &arguments, qsizetype *lines)
{
    QString piece(32'768, Qt::Uninitialized);
    qsizetype used = 0;
    const auto flush = [&] {
        const QStringView text = QStringView(piece).first(std::exchange(used, 0));
        *lines += std::count(text.begin(), text.end(), u'\n');
        return writeAll(descriptor, text.toLocal8Bit());
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

void ResponseFile::removeLeftIn(const QString &directory)
{
    DIR *stream = opendir(QFile::encodeName(directory).constData());
    if (!stream)
        return;
    while (const dirent *entry = readdir(stream)) {
        const std::string_view name(entry->d_name);
        const bool isResponseFile = name.size() == nameLength && name.starts_with(namePrefix);
        // A note is written under this name first.
        if (entry->d_type == DT_REG && (isResponseFile || name == ".unfinished.new"))
            unlinkat(dirfd(stream), entry->d_name, 0);
    }
    closedir(stream);
}

bool ResponseFile::write(const QStringList &arguments, QString *error)
{
    const QString message = u"Error writing %1: %2"_s;
    QByteArray path = QFile::encodeName(m_template);
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0) {
        *error = message.arg(m_template, qt_error_string(errno));
        return false;
    }
    m_path = path;
    qsizetype lines = 0;
    bool ok = writeLines(descriptor, arguments, &lines);
    int reason = errno;
    if (close(descriptor) != 0 && ok) {
        ok = false;
        reason = errno;
    }
    if (!ok) {
        *error = message.arg(QFile::decodeName(path), qt_error_string(reason));
        return false;
    }
    if (lines != arguments.size()) { // the program would read one argument as two
        *error = obstacleIn(arguments);
        return false;
    }
    return true;
}

QString ResponseFile::obstacleIn(const QStringList &arguments)
{
    const auto found = std::find_if(arguments.begin(), arguments.end(),
                                    [](const QString &text) { return text.contains(u'\n'); });
    return found == arguments.end() ? QString()
                                    : u"Argument with a line break: %1"_s.arg(escaped(*found));
}

ResponseFile::~ResponseFile()
{
    if (!m_path.isEmpty())
        unlink(m_path.constData());
}

QByteArray ResponseFile::argument() const
{
    // In bytes: the name of the working directory need not be text.
    if (m_path.startsWith('/'))
        return '@' + m_path;
    const std::unique_ptr<char, decltype(&std::free)> directory(getcwd(nullptr, 0), &std::free);
    return directory ? QByteArray("@") + directory.get() + '/' + m_path : '@' + m_path;
}
