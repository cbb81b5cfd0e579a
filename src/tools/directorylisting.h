#pragma once

#include <QStringList>

/// @return whether the file name ends in ".lua", in any case
bool isLuaFile(const QString &path);

/// Reads a directory once and names its Lua files and sub-directories, in the order in which the
/// file system returns them.
///
/// Hidden entries are left out, and so are names that are not valid UTF-8. An entry whose kind the
/// directory itself does not tell (a symbolic link) is listed, for the caller to look at.
/// @return empty when the directory cannot be read
QStringList luaFilesAndDirectories(const QString &directory);
