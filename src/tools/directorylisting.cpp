#include "tools/directorylisting.h"

#include <QFile>

#include <dirent.h>

#include <memory>

using namespace Qt::StringLiterals;

bool isLuaFile(const QString &path)
{
    return path.endsWith(".lua"_L1, Qt::CaseInsensitive);
}

QStringList luaFilesAndDirectories(const QString &directory)
{
    QStringList names;
    const std::unique_ptr<DIR, int (*)(DIR *)> stream(
            opendir(QFile::encodeName(directory).constData()), closedir);
    if (!stream)
        return names;
    while (const dirent *entry = readdir(stream.get())) {
        const QByteArrayView bytes(entry->d_name);
        if (bytes.startsWith('.') || !bytes.isValidUtf8())
            continue;
        const QString name = QString::fromUtf8(bytes);
        const bool mayBeDirectory =
                entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
        if (mayBeDirectory || (entry->d_type == DT_REG && isLuaFile(name)))
            names.append(name);
    }
    return names;
}
