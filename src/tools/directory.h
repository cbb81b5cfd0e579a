#pragma once

#include "tools/filestatus.h"

#include <QByteArray>
#include <QList>
#include <QString>

/// One name in a directory, in the file system's encoding.
struct DirectoryEntry
{
    QByteArray name;
    bool isDirectory = false; ///< certainly; otherwise its status tells
};

/// A directory whose files are asked for by their bare names, which spares the file system the way
/// through the path.
///
/// It is opened at the first need and holds one file descriptor until it is closed. One that
/// cannot be opened has no files.
class Directory
{
public:
    /// @param path  empty: the working directory, in which names may be whole paths
    explicit Directory(const QString &path);
    ~Directory();
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    const QString &path() const { return m_path; }
    QString filePath(const QByteArray &name) const;

    bool exists() const;
    FileStatus status(const QByteArray &name) const;

    /// Gives the file descriptor back; the next need opens the directory again.
    void close();

    /// Reads the directory once and names its Lua files ("*.lua" in any case) and sub-directories,
    /// in the order in which the file system returns them.
    ///
    /// Hidden entries are left out, and so are names that are not valid UTF-8. An entry whose kind
    /// the directory itself does not tell (a symbolic link) is listed, for the caller to look at.
    QList<DirectoryEntry> luaFilesAndDirectories();

private:
    static constexpr int closed = -1; // what open(2) returns on failure, too

    bool open(int mode) const;

    QString m_path;
    QString m_prefix; ///< the path, ready for a name to be put behind it
    mutable int m_descriptor = closed;
};

/// @return whether the name ends in ".lua", in any case
bool isLuaFile(QByteArrayView name);
