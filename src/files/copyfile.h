#pragma once

#include <QString>

/// Copies a file as QFile::copy() does, permissions included, but does not wait until the copy is
/// on the disk. It appears under its name only when it is whole; until then it is
/// temporaryCopyOf().
/// @return false when it cannot be read or written, or @p target exists already
bool copyFile(const QString &source, const QString &target);

/// @return the name under which copyFile() writes, in the folder of @p target
QString temporaryCopyOf(const QString &target);
