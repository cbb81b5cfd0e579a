#pragma once

#include <QString>

/// Changes to the disk that a rehearsal only remembers.
namespace Changes {

/// Makes a directory with all that are missing on the way to it.
bool makeDirectory(const QString &path);

/// @return false when the file stays, or is not there
bool removeFile(const QString &path);

/// Takes away a file that has other hard links, too: writing to it in place would change what those
/// names stand for. A file that cannot be removed is left alone.
void separateHardLinks(const QString &path);

/// The same, also for a symbolic link to a file.
void separateLinks(const QString &path);

} // namespace Changes
