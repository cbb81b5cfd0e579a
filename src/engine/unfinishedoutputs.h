#pragma once

#include <QString>
#include <QStringList>

/// Remembers beyond the end of the process, however that comes, which outputs are being written: a
/// small file in the object directory names them while a step runs. Half-written outputs are young,
/// so without it the next build would take them for finished.
///
/// The file is opened at the first need and stays open, because a step costs least that way; its
/// lock tells a build that still runs from one that was killed. It is gone when a build has ended.
class UnfinishedOutputs
{
public:
    explicit UnfinishedOutputs(const QString &objectDirectory);
    ~UnfinishedOutputs();
    UnfinishedOutputs(const UnfinishedOutputs &) = delete;
    UnfinishedOutputs &operator=(const UnfinishedOutputs &) = delete;

    /// Deletes the outputs that a killed build was writing, unless another build still runs.
    /// @return false with the reason in @p error when one cannot be deleted, or the file not be
    /// read
    bool recover(QString *error);

    /// @return whether recover() found a file cut short, as after a power failure: any output may
    /// be unfinished. The file then stays as it is until a build has succeeded.
    bool isTorn() const { return m_isTorn; }

    /// Notes that @p outputs are about to be written. While another build runs in the object
    /// directory, nothing is noted.
    /// @return false with the reason in @p error
    bool begin(const QStringList &outputs, QString *error);

    /// Notes that they are finished, or gone.
    void end();

    /// Removes the file at the end of a build, unless the next build needs it.
    void close(bool buildSucceeded);

private:
    bool open(int flags);
    bool write(const QByteArray &text) const;
    QByteArray name(const QString &output) const;

    QString m_directory; ///< ends in "/"
    QString m_path;
    int m_descriptor = -1;
    bool m_hasOutputs = false; ///< the file names some
    bool m_isTorn = false;
};
