#include "tools/directory.h"

#include "tools/tools.h"

#include <QFile>

#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

bool isLuaFile(QByteArrayView name)
{
    const QByteArrayView suffix(".lua");
    return name.size() >= suffix.size()
           && qstrnicmp(name.last(suffix.size()).data(), suffix.size(), suffix.data(),
                        suffix.size())
                      == 0;
}

Directory::Directory(const QString &path)
    : m_path(path), m_prefix(Tools::ensureDirectorySeparator(path))
{
}

Directory::~Directory()
{
    close();
}

bool Directory::open(int mode) const
{
    if (m_descriptor == closed) {
        m_descriptor = m_path.isEmpty() ? AT_FDCWD
                                        : ::open(QFile::encodeName(m_path).constData(),
                                                 mode | O_DIRECTORY | O_CLOEXEC);
    }
    return m_descriptor != closed;
}

void Directory::close()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = closed;
}

QString Directory::filePath(const QByteArray &name) const
{
    return Tools::joinPath(m_prefix, name);
}

bool Directory::exists() const
{
    return open(O_PATH);
}

FileStatus Directory::status(const QByteArray &name) const
{
    return open(O_PATH) ? FileStatus::of(m_descriptor, name) : FileStatus();
}

QList<DirectoryEntry> Directory::luaFilesAndDirectories()
{
    QList<DirectoryEntry> entries;
    close(); // it may have been opened for queries only
    if (!open(O_RDONLY))
        return entries;
    // The stream owns its descriptor; this one stays for the queries that follow.
    const std::unique_ptr<DIR, int (*)(DIR *)> stream(
            fdopendir(fcntl(m_descriptor, F_DUPFD_CLOEXEC, 0)), closedir);
    if (!stream)
        return entries;
    while (const dirent *entry = readdir(stream.get())) {
        const QByteArrayView name(entry->d_name);
        if (name.startsWith('.') || !name.isValidUtf8())
            continue;
        const bool mayBeDirectory =
                entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
        if (mayBeDirectory || (entry->d_type == DT_REG && isLuaFile(name)))
            entries.append({name.toByteArray(), entry->d_type == DT_DIR});
    }
    return entries;
}
