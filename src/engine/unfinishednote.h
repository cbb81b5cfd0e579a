#pragma once

#include "files/filestatus.h"

#include <QString>
#include <QStringList>

#include <optional>

/// A small file in the object directory, ".unfinished", that tells the next build what this one did
/// not finish, however it ends: the outputs that are being written, and whether everything was to
/// be built. Half-written outputs are young, so without it they would be taken for current.
///
/// It is on the disk before the first output is, and stays open, because a step costs least that
/// way. It holds the boot it was written in: after a power failure any output may be torn.
class UnfinishedNote
{
public:
    /// What an earlier build left.
    enum class State {
        Absent,
        Whole,
        Torn, ///< cut short, of another boot, or not made by this program: any output may be torn
    };

    explicit UnfinishedNote(const QString &objectDirectory);
    ~UnfinishedNote();
    UnfinishedNote(const UnfinishedNote &) = delete;
    UnfinishedNote &operator=(const UnfinishedNote &) = delete;

    /// Reads what an earlier build left. Links are not followed, and nothing but a small regular
    /// file of the user's own is read.
    /// @return nothing with the reason in @p error when it cannot be read
    std::optional<State> read(QString *error);

    /// @return the outputs named by a whole note, as seen from the object directory
    const QStringList &outputs() const { return m_outputs; }

    /// The moment since when everything is to be built: outputs older than it are out of date.
    /// Read from a whole note, and written into the next one.
    const std::optional<FileTime> &allSince() const { return m_allSince; }
    void setAllSince(const FileTime &time) { m_allSince = time; }

    /// Writes @p outputs, given as seen from the object directory, in place of those noted before.
    /// The first call of a build makes a new file and waits until it is on the disk.
    /// @return false with the reason in @p error
    bool write(const QStringList &outputs, QString *error);

    /// @return whether this build has written the note
    bool isWritten() const { return m_descriptor >= 0; }

    /// Removes the note.
    void remove();

private:
    bool create(const QByteArray &list);
    QByteArray header() const;
    bool parse(const QByteArray &text);

    QString m_directory;
    QString m_path;
    QStringList m_outputs;
    std::optional<FileTime> m_allSince;
    qsizetype m_headerSize = 0;
    int m_descriptor = -1;
};
