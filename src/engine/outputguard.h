#pragma once

#include "engine/outsidenote.h"
#include "engine/unfinishednote.h"

#include <QDateTime>
#include <QSet>

#include <functional>
#include <map>
#include <vector>

struct ProjectSpec;

/// A chain of steps that begins with one input, and the outputs that it makes. Later builds judge
/// them by their time stamps.
struct OutputChain
{
    QString input = {};
    FileStatus inputStatus = {};       ///< from before the chain
    bool dependsOnProjectFile = false; ///< its time stamp counts like the one of an input
    bool removesAfterFailure = true;   ///< otherwise what a failed tool left stays, but is made
                                       ///< older than the input
    QStringList outputs = {};          ///< kept by the OutputGuard
};

/// Makes sure that no later build takes an output for up to date that is half-written, or whose
/// input was edited while it was made.
///
/// Outputs of a failed step are removed. A build that is killed leaves an UnfinishedNote for the
/// next one. Outputs of an input that has changed get a time stamp older than its own.
class OutputGuard
{
public:
    /// @param spec  says where the files are; it must outlive the guard
    /// @param onWait  called before the guard waits for another build
    OutputGuard(const ProjectSpec &spec, std::function<void()> onWait);
    ~OutputGuard();
    OutputGuard(const OutputGuard &) = delete;
    OutputGuard &operator=(const OutputGuard &) = delete;

    /// The project file's time stamp that outputs depend on; null until set, and then without
    /// effect.
    const QDateTime &projectFileTime() const { return m_projectFileTime; }
    void setProjectFileTime(const QDateTime &time) { m_projectFileTime = time; }

    /// Says what the project file was like before it was read; otherwise it is looked at when the
    /// first chain begins.
    void setProjectFileStatus(const FileStatus &status) { m_projectFile = status; }

    /// Removes what a killed build left half-written, and goes on with what an interrupted one was
    /// to build. To be called before the outputs of a build are judged.
    /// @param rebuildAll  whether this build is to make everything, which then is noted; set when
    /// it must, because any output may be torn
    /// @return false with the reason in @p error
    bool recover(bool *rebuildAll, QString *error);

    /// Says, before recover(), that somebody may have written who is not in a note.
    void distrustOutputs() { m_areOutputsDistrusted = true; }

    /// @return whether an interrupted build was to make @p output anew, and did not
    bool isLeftOver(const FileStatus &output) const;

    /// To be called before @p outputs are written. One that is a link is removed, so that nothing
    /// else changes.
    /// @return false with the reason in @p error; then nothing may be written
    bool begin(OutputChain *chain, const QStringList &outputs, QString *error);
    /// To be called when those outputs are complete. If the input was edited meanwhile, their times
    /// are set back, but only at the end of the chain, so that its later steps see them as new.
    void finish(const OutputChain &chain);
    /// To be called when those outputs could not be made.
    void fail(OutputChain *chain, const QStringList &outputs);
    /// To be called at the end of every chain.
    /// @return false with the reason in @p error when a note outside the object directory stays,
    /// which would get into the image
    bool end(const OutputChain &chain, QString *error);

    /// To be called at the end of an operation.
    void close(bool operationSucceeded);

    /// @return whether notes are left for what a failed tool may have left behind, which may still
    /// write
    bool isWaryOfOrphans() const { return !m_failed.empty(); }
    /// Undoes what they have written, and removes those notes; to be called when none is left.
    void forgetOrphans();

private:
    struct FailedOutput
    {
        QString path;
        bool isRemoved; ///< otherwise it is made older than the input
        FileTime inputTime;
    };

    UnfinishedNote &note();
    bool removeUnfinished(const QStringList &outputs, bool *isTorn, QString *error) const;
    bool noteOutputs(const QStringList &outputs, QString *error);
    bool writeNote(QString *error);
    bool forget(const QString &output, QString *error);
    static bool undo(const FailedOutput &output);
    std::optional<FileTime> oldestEdit(const OutputChain &chain) const;
    QString nameInNote(const QString &output) const;
    bool isOutside(const QString &output) const;

    const ProjectSpec &m_spec;
    std::function<void()> m_onWait;
    QDateTime m_projectFileTime;
    std::optional<FileStatus> m_projectFile;
    std::optional<UnfinishedNote> m_note;
    bool m_areOutputsDistrusted = false;
    bool m_isNoteLeft = false;                     ///< by an earlier build, and still there
    bool m_isRestInherited = false;                ///< an earlier build was to make everything
    QStringList m_unfinished;                      ///< as seen from the object directory
    std::vector<FailedOutput> m_failed;            ///< may be written to again
    bool m_isNoteOfOrphans = false;                ///< there is nothing else in it
    QSet<QString> m_directories;                   ///< that outputs were written to
    std::map<QString, OutsideNote> m_outsideNotes; ///< by their outputs
};
