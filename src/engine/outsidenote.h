#pragma once

#include "engine/buildlock.h"

/// The note for an output outside the object directory, which must outlive that directory: a file
/// ".NAME.unfinished" beside the output, there while the output is being written. It says nothing;
/// that it is there means that the output may be half-written.
///
/// It is claimed while a program may write, so that builds with other object directories wait.
class OutsideNote
{
public:
    explicit OutsideNote(const QString &output);

    /// Makes the note, and waits until it is on the disk.
    /// @return Missing when none can be made, say because the folder does not exist yet; otherwise
    /// how the claim on it went
    BuildLock::Result begin(const std::function<void()> &onWait);

    /// Waits until the output is on the disk, and removes the note.
    /// @return false with the reason in @p error when the note stays
    bool end(QString *error);

    /// Waits for whoever may still write, and removes what a killed build left: the output and its
    /// note.
    /// @return false with the reason in @p error
    bool recover(const std::function<void()> &onWait, QString *error);

private:
    QString m_output;
    QString m_path; ///< of the note
    BuildLock m_claim;
};
