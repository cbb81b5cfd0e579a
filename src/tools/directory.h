#pragma once

#include "tools/filestatus.h"

#include <QByteArrayView>
#include <QString>

#include <string>
#include <vector>

#include <dirent.h>

/// A name in the file system's encoding, in two parts, so that the names of a source's outputs need
/// no text of their own. It refers to the text that it was made from.
struct FileName
{
    QByteArrayView stem;
    QByteArrayView extension; ///< with its dot; empty when there is none

    /// Cuts @p name at its last dot, which may stand in a directory part: deliberate, see
    /// Tools::replaceExtension().
    static FileName of(QByteArrayView name);
};

/// What a directory holds, in the order in which the file system returns it.
struct DirectoryListing
{
    struct Entry
    {
        qsizetype begin; ///< of the name, in `names`
        qsizetype size;
        bool isLuaFile; ///< a regular file; otherwise a status has to tell what it is
    };

    std::vector<Entry> entries;
    std::string names; ///< all in one, in the file system's encoding
    int error = 0;     ///< why it is not complete; 0: it is

    QByteArrayView name(const Entry &entry) const
    {
        return QByteArrayView(names).sliced(entry.begin, entry.size);
    }
};

/// A directory whose files are asked for by their bare names, which spares the file system the way
/// through the path.
///
/// It is opened at the first need and holds one file descriptor until it is closed. One that does
/// not exist has no files.
class Directory
{
public:
    /// @param path  empty: the working directory, in which names may be whole paths
    explicit Directory(const QString &path);
    ~Directory();
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    const QString &path() const { return m_path; }
    QString filePath(const FileName &name) const;

    /// @return false with errno set when it cannot be opened
    bool exists() const;
    FileStatus status(const FileName &name) const;

    /// Gives the file descriptor back; the next need opens the directory again.
    void close();

    /// Reads the directory once and names its Lua files ("*.lua" in any case) and sub-directories.
    ///
    /// Hidden entries are left out, and so are names that are not valid UTF-8. An entry whose kind
    /// the directory itself does not tell (a symbolic link) is listed whatever its name.
    DirectoryListing luaFilesAndDirectories();

private:
    static constexpr int closed = -1; // what open(2) returns on failure, too

    QString m_path;
    QString m_prefix; ///< the path, ready for a name to be put behind it
    mutable int m_descriptor = closed;
    DIR *m_stream = nullptr; ///< owns the descriptor, unless it is null
};

/// @return whether the name ends in ".lua", in any case
bool isLuaFile(QByteArrayView name);
