#include "tools/directory.h"

#include "tools/tools.h"

#include <QFile>
#include <QVarLengthArray>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

bool isLuaFile(QByteArrayView name)
{
    const QByteArrayView suffix(".lua");
    return name.endsWith(suffix)
           || (name.size() >= suffix.size()
               && qstrnicmp(name.last(suffix.size()).data(), suffix.size(), suffix.data(),
                            suffix.size())
                          == 0);
}

FileName FileName::of(QByteArrayView name)
{
    const qsizetype dot = name.lastIndexOf('.');
    return dot < 0 ? FileName{name, {}} : FileName{name.first(dot), name.sliced(dot)};
}

Directory::Directory(const QString &path)
    : m_path(path), m_prefix(Tools::ensureDirectorySeparator(path))
{
}

Directory::~Directory()
{
    close();
}

bool Directory::exists() const
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

QString Directory::filePath(const FileName &name) const
{
    return Tools::joinPath(m_prefix, name.stem, name.extension);
}

FileStatus Directory::status(const FileName &name) const
{
    if (!exists())
        return FileStatus::afterError(errno);
    QVarLengthArray<char, NAME_MAX + 1> text(name.stem.size() + name.extension.size() + 1);
    char *end = std::copy(name.stem.begin(), name.stem.end(), text.data());
    end = std::copy(name.extension.begin(), name.extension.end(), end);
    *end = '\0';
    return FileStatus::of(m_descriptor, text.constData());
}

DirectoryListing Directory::luaFilesAndDirectories()
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
        const QByteArrayView name(entry->d_name);
        const bool isLua = entry->d_type == DT_REG && isLuaFile(name);
        const bool mayBeDirectory =
                entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
        if (!(isLua || mayBeDirectory) || name.startsWith('.') || !name.isValidUtf8())
            continue;
        listing.entries.push_back(
                {static_cast<qsizetype>(listing.names.size()), name.size(), isLua});
        listing.names.append(entry->d_name);
    }
}
