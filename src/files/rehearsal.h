#pragma once

#include "files/directory.h"

#include <optional>

/// A rehearsal of an operation leaves the disk as it is: changes by this folder are only
/// remembered, and FileStatus and Directory show files as if they had been made. There is at most
/// one in a process, and never in a real build.
namespace Rehearsal {

/// Begins one, and forgets what an earlier one has remembered.
void begin();
void end();
bool isOn();

/// Remembers that the file is made now, and so is every folder on the way to it that is missing.
void make(const QString &path);
/// The same for a directory, unless it is there.
void makeDirectory(const QString &path);
void remove(const QString &path);

/// @return nothing when the rehearsal has not touched the file
std::optional<FileStatus> status(const QString &path);

/// Adds to a listing what was made in @p directory, and takes out of it what was removed.
void amend(const QString &directory, DirectoryListing *listing);

/// @return whether nothing but the rehearsal has made that directory
bool isNewDirectory(const QString &path);

} // namespace Rehearsal
