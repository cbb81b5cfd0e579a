#pragma once

#include "engine/unfinishedoutputs.h"
#include "files/filestatus.h"

#include <QDateTime>

struct ProjectSpec;

/// Outputs that later builds judge by their time stamps, and what they are made from.
struct OutputStep
{
    QStringList outputs;
    QString input;
    FileStatus inputStatus;            ///< from before the step
    bool dependsOnProjectFile = false; ///< its time stamp counts like the one of an input
    bool removesAfterFailure = true;   ///< otherwise what a failed tool left stays, but is made
                                       ///< older than its input
};

/// Sees to it that no later build mistakes half an output, or one of an input that was edited while
/// it was made, for current.
///
/// Outputs of a failed step are removed. A process that is killed leaves a note for the next build
/// (UnfinishedOutputs). Outputs of an input that has changed get a time stamp older than its own.
class OutputGuard
{
public:
    /// @param spec  says where the files are; it must outlive the guard
    explicit OutputGuard(const ProjectSpec &spec);

    /// The project file's time stamp that outputs depend on; null until set, and then without
    /// effect.
    const QDateTime &projectFileTime() const { return m_projectFileTime; }
    void setProjectFileTime(const QDateTime &time) { m_projectFileTime = time; }

    /// Deletes what a killed build left half-written.
    /// @param rebuildAll  set when any output may be half-written; otherwise left alone
    /// @return false with the reason in @p error
    bool recover(bool *rebuildAll, QString *error);

    /// To be called before the outputs of @p step are written.
    /// @return false with the reason in @p error; then nothing may be written
    bool begin(const OutputStep &step, QString *error);

    /// To be called when the step has ended.
    /// @param isFinished  whether the outputs are whole
    void end(const OutputStep &step, bool isFinished);

    /// To be called at the end of an operation.
    void close(bool operationSucceeded);

private:
    /// @return false when an output stays that the next build would take for current
    bool outdateAfterEdit(const OutputStep &step) const;
    UnfinishedOutputs &unfinishedOutputs();

    const ProjectSpec &m_spec;
    QDateTime m_projectFileTime;
    std::optional<UnfinishedOutputs> m_unfinishedOutputs;
};
