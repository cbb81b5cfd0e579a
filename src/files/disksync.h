#pragma once

#include <QString>

/// Waits until what was written is on the disk. ZTMAKE_SYNC=0 in the environment turns the waiting
/// off, for trees that are thrown away after a power failure.
namespace DiskSync {

/// @return false with errno set when the disk failed; true on file systems that know no syncing
bool file(int descriptor);

/// Waits for the entries of a directory; a failure is ignored.
void directory(const QString &path);

/// Waits for all that was written to the file systems that hold @p directories, once for each; a
/// failure is ignored.
void fileSystemsOf(const QStringList &directories);

} // namespace DiskSync
