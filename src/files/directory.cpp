#include "files/directory.h"

#include "files/rehearsal.h"

#include <QFile>
#include <QStringBuilder>

#include <cerrno>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

bool isLuaFile(std::string_view name)
{
    constexpr std::string_view suffix(".lua");
    return name.ends_with(suffix)
           || (name.size() >= suffix.size()
               && qstrnicmp(name.substr(name.size() - suffix.size()).data(), suffix.data(),
                            suffix.size())
                          == 0);
}

namespace {

/// @return how many Lua files an entry of a directory is or has below it; links are not followed
int countLuaFiles(int directory, const dirent &entry)
{
    if (entry.d_name[0] == '.')
        return 0;
    if (entry.d_type != DT_DIR)
        return isLuaFile(entry.d_name) ? 1 : 0;
    const int below = openat(directory, entry.d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *stream = below < 0 ? nullptr : fdopendir(below);
    if (!stream)
        return 0;
    int count = 0;
    while (const dirent *child = readdir(stream))
        count += countLuaFiles(below, *child);
    closedir(stream);
    return count;
}

} // namespace

std::string withExtension(std::string_view name, std::string_view extension)
{
    const std::string_view stem = name.substr(0, name.rfind('.'));
    std::string result;
    result.reserve(stem.size() + 1 + extension.size());
    result.append(stem);
    result += '.';
    result.append(extension);
    return result;
}

QString joinPath(const QString &prefix, const std::string &name)
{
    // Plain ASCII, which nearly all names are, needs no decoder and only one allocation.
    const QLatin1StringView text(name.data(), static_cast<qsizetype>(name.size()));
    return QtPrivate::isAscii(text) ? prefix % text : prefix + QString::fromStdString(name);
}

Directory::Directory(const QString &path)
    : m_path(path), m_prefix(path.isEmpty() || path.endsWith(u'/') ? path : path + u'/')
{
}

Directory::~Directory()
{
    close();
}

bool Directory::ensureOpen()
{
    if (m_descriptor == closed) {
        m_descriptor = m_path.isEmpty() ? AT_FDCWD
                                        : ::open(QFile::encodeName(m_path).constData(),
                                                 O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    return m_descriptor != closed;
}

void Directory::close()
{
    if (m_stream)
        closedir(std::exchange(m_stream, nullptr));
    else if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = closed;
}

QString Directory::filePath(const std::string &name) const
{
    return joinPath(m_prefix, name);
}

FileStatus Directory::status(const std::string &name)
{
    if (Rehearsal::isOn())
        return FileStatus::of(filePath(name));
    return ensureOpen() ? FileStatus::of(m_descriptor, name.c_str())
                        : FileStatus::afterError(errno);
}

DirectoryListing Directory::luaFilesAndDirectories()
{
    DirectoryListing listing = listOnDisk();
    if (Rehearsal::isOn()) {
        if (listing.error == ENOENT && Rehearsal::isNewDirectory(m_path))
            listing.error = 0;
        Rehearsal::amend(m_path, &listing);
    }
    return listing;
}

DirectoryListing Directory::listOnDisk()
{
    DirectoryListing listing;
    close(); // it may have been opened for queries only
    m_stream = opendir(QFile::encodeName(m_path).constData());
    if (!m_stream) {
        listing.error = errno;
        return listing;
    }
    m_descriptor = dirfd(m_stream);
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(m_stream);
        if (!entry) {
            listing.error = errno;
            return listing;
        }
        const std::string_view name(entry->d_name);
        const bool isLua = entry->d_type == DT_REG && isLuaFile(name);
        const bool mayBeDirectory =
                entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
        if (!(isLua || mayBeDirectory) || name.starts_with('.'))
            continue;
        if (!QByteArrayView(name).isValidUtf8()) {
            listing.undecodableFiles += countLuaFiles(m_descriptor, *entry);
            continue;
        }
        listing.entries.push_back({std::string(name), isLua});
    }
}
