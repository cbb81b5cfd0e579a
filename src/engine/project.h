#pragma once

#include "engine/unfinishedoutputs.h"
#include "model/projectspec.h"
#include "tools/filestatus.h"

#include <QDateTime>

#include <functional>
#include <optional>

/// Outputs that later builds judge by their time stamps, and what they are made from.
struct OutputStep
{
    QStringList outputs;
    QString input;
    FileStatus inputStatus;            ///< from before the step
    bool dependsOnProjectFile = false; ///< its time stamp counts like the one of an input
    bool removesAfterFailure = true; ///< otherwise what a failed tool left stays, but is not taken
                                     ///< for current
};

/// The build engine: runs one operation on a project and the external programs it needs.
///
/// Every fallible step returns false and leaves its reason in errorText(); the last failure stands.
/// Single-threaded; one external program runs at a time and is waited for.
class Project
{
public:
    enum class Operation {
        Build = 0,               ///< build what is out of date
        BuildAll = 1,            ///< build everything
        ClearObsolete = 2,       ///< drop obsolete entries from the translation sources
        CleanFirmwareFolder = 3, ///< remove the project's firmware files from the output directory
    };

    /// @param spec  kept by reference: it must outlive the project. Its SDK cache is refreshed.
    explicit Project(const ProjectSpec &spec);
    Project(const Project &) = delete;
    Project &operator=(const Project &) = delete;

    /// Runs one operation; every one needs a usable SDK directory.
    bool run(Operation operation);

    const ProjectSpec &spec() const { return m_spec; }

    /// @return the reason of the last failure; empty when there was none
    const QString &errorText() const { return m_errorText; }

    /// The project file's modification time: compiled files older than it are built again.
    /// Null until set, and then without effect.
    const QDateTime &projectFileTime() const { return m_projectFileTime; }
    void setProjectFileTime(const QDateTime &time) { m_projectFileTime = time; }

    /// Puts out one progress or warning line.
    virtual void msg(const QString &text) = 0;

    /// Records the reason of a failure.
    /// @return false, always, so that a step can return its result directly
    bool raiseError(const QString &text);

    /// Runs one external program to completion; the only place that starts a program whose output
    /// is shown. Its standard streams are this program's own.
    ///
    /// Seventeen or more arguments travel in a response file in the object directory, which is gone
    /// when the call returns.
    /// @param workDir  the program's working directory; empty: this process's own
    /// @param verbose  1 and above echoes the command through msg()
    /// @return false with the error text set when it did not start, crashed, or left a status other
    /// than 0, or when the response file could not be written in full (nothing is run then)
    bool runCommand(const QString &workDir, const QString &displayName, const QString &program,
                    const QStringList &arguments, int verbose);
    /// Runs the SDK program @p tool in @p workDir, see runCommand().
    bool runToolIn(const QString &workDir, const QString &tool, const QStringList &arguments,
                   int verbose);
    /// Runs the SDK program @p tool, see runCommand().
    bool runTool(const QString &tool, const QStringList &arguments, int verbose);

    /// Makes the outputs of a step by calling @p make, so that no later build takes half an output,
    /// or one of an input that was edited meanwhile, for current: the only way to such outputs.
    ///
    /// Outputs are removed when @p make fails. A process that is killed leaves a note for the next
    /// build (UnfinishedOutputs). Outputs of an input that has changed get a time stamp older than
    /// its own.
    /// @return false with the error text set when @p make fails, or the note cannot be written
    bool makeOutputs(const OutputStep &step, const std::function<bool()> &make);

    /// Runs the SDK program @p tool, see runCommand(), which writes @p image: whatever its time
    /// stamp, it is made again by each build. What an interrupted tool left of it is removed.
    bool makeImage(const QString &tool, const QStringList &arguments, const QString &image,
                   int verbose);

    /// @return false with the error text set when a signal has interrupted the program
    bool checkInterruption();

    /// Deletes what a killed build left half-written.
    /// @param rebuildAll  set when any output may be half-written
    /// @return false with the error text set
    bool recoverFromKill(bool *rebuildAll);

    /// Frees an output path in the object directory: deletes the file there, and the one of the
    /// previous call, so that at most one stale temporary file survives.
    /// @param previous  pass the same variable each time; receives the path
    /// @return false with the error text set when the path is not free for a file
    bool prepareTemporaryFile(const QString &name, QString *previous);

    /// Asks svnversion for the revision of the project directory; at most 30 seconds.
    /// @return "#" and the revision; "#?" after a warning through msg() when there is none
    QString runSvnversion();

    /// @return the version written into the firmware; asks svnversion when the project wants it
    QString generateVersion();

protected:
    /// Not virtual: the concrete object is never deleted through this class.
    ~Project() = default;

private:
    bool checkSdk();
    bool buildProject(bool rebuildAll);
    bool clearObsolete();
    bool cleanFirmwareFolder();
    bool runOperation(Operation operation);
    bool raiseInterruption(const QString &displayName);
    /// @return false when an output stays that the next build would take for current
    bool outdateAfterEdit(const OutputStep &step) const;
    /// @return likewise
    static bool outdateAfterFailure(const OutputStep &step);
    UnfinishedOutputs &unfinishedOutputs();

    const ProjectSpec &m_spec;
    QString m_errorText;
    QDateTime m_projectFileTime;
    std::optional<UnfinishedOutputs> m_unfinishedOutputs;
    bool m_toolSucceeded = false; ///< the last one, also when an interruption makes the step fail
};
