#pragma once

#include <QString>

/// The note for an output outside the object directory, which must outlive that directory: a file
/// ".NAME.unfinished" beside the output, there while the output is being written. It says nothing;
/// that it is there means that the output may be half-written.
namespace OutsideNote {

/// Makes the note, and waits until it is on the disk.
/// @return false when none can be made, say because the folder does not exist yet
bool begin(const QString &output);

/// Waits until the output is on the disk, and removes the note.
/// @return false with the reason in @p error when the note stays
bool end(const QString &output, QString *error);

/// Removes an output that a killed build was writing, and its note.
/// @return false when the output cannot be removed
bool recover(const QString &output);

} // namespace OutsideNote
