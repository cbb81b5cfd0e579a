#pragma once

#include "engine/buildlock.h"
#include "files/filestatus.h"

#include <QStringList>

/// The note for an output outside the object directory, which must outlive that directory: an empty
/// file ".NAME.unfinished" beside the output, there while the output is being written. That it is
/// there means that the output may be half-written. Where the folder is missing or cannot be
/// written to, it is in the project directory, with the whole path for its name.
///
/// It is claimed while a program may write, so that builds with other object directories wait. A
/// file of that name that is not empty is somebody else's, and left alone.
class OutsideNote
{
public:
    OutsideNote(const QString &output, const QString &projectDirectory);

    /// Makes the note, and waits until it is on the disk.
    /// @return Missing when none can be made; otherwise how the claim on it went
    BuildLock::Result begin(const std::function<void()> &onWait);

    /// Waits until the output is on the disk, and removes the note.
    /// @return false with the reason in @p error when the note stays
    bool end(QString *error);

    /// Waits for whoever may still write, and removes what a killed build left: the output and its
    /// note.
    /// @return false with the reason in @p error
    bool recover(const std::function<void()> &onWait, QString *error);

    /// @return whether the note that was made for another output is the one for this, too: both
    /// paths lead to one file
    bool isSameAs(const OutsideNote &made) const;

private:
    BuildLock::Result beginAt(const QString &path, const std::function<void()> &onWait);
    bool recoverAt(const QString &path, const std::function<void()> &onWait, QString *error);

    QString m_output;
    QStringList m_paths; ///< where the note can be
    QString m_path;      ///< where it is
    FileStatus m_note;
    BuildLock m_claim;
};
