#pragma once

#include "files/filestatus.h"

#include <QString>

#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>

/// What a directory holds, in the order in which the file system returns it.
struct DirectoryListing
{
    struct Entry
    {
        std::string name; ///< in the file system's encoding
        bool isLuaFile;   ///< a regular file; otherwise a status has to tell what it is
    };

    std::vector<Entry> entries;
    int undecodableFiles = 0; ///< Lua files whose paths are not valid UTF-8
    int error = 0;            ///< the errno that cut the listing short; 0: it is complete
};

/// A directory whose files are looked up by their bare names, so that the file system need not
/// resolve the whole path each time.
///
/// It is opened when it is first needed and holds one file descriptor until it is closed. One that
/// does not exist has no files.
class Directory
{
public:
    /// @param path  empty: the working directory, in which names may be whole paths
    explicit Directory(const QString &path);
    ~Directory();
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    const QString &path() const { return m_path; }
    QString filePath(const std::string &name) const;

    /// @return false with errno set when it cannot be opened
    bool ensureOpen();
    /// Opens the directory if it is not open yet.
    FileStatus status(const std::string &name);

    /// Gives the file descriptor back; the directory is opened again when it is next needed.
    void close();

    /// Reads the directory once and names its Lua files ("*.lua" in any case) and sub-directories.
    ///
    /// Hidden entries are left out, and so are names that are not valid UTF-8. An entry whose kind
    /// the directory itself does not tell (a symbolic link) is listed whatever its name.
    DirectoryListing luaFilesAndDirectories();

private:
    DirectoryListing listOnDisk();

    static constexpr int closed = -1; // what open(2) returns on failure, too

    QString m_path;
    QString m_prefix; ///< the path, ready for a name to be appended
    int m_descriptor = closed;
    DIR *m_stream = nullptr; ///< owns the descriptor, unless it is null
};

/// @return @p prefix followed by @p name, which is in the file system's encoding
QString joinPath(const QString &prefix, const std::string &name);

/// @return whether the name ends in ".lua", in any case
bool isLuaFile(std::string_view name);

/// Tools::replaceExtension() for names in the file system's encoding.
std::string withExtension(std::string_view name, std::string_view extension);
