#pragma once

#include "engine/buildlock.h"
#include "engine/command.h"
#include "engine/inputs.h"
#include "engine/jobqueue.h"
#include "engine/outputguard.h"
#include "engine/staleness.h"
#include "model/projectspec.h"

#include <memory>

/// The build engine: what the steps of an operation share, that is the project's description, the
/// error text, the message output, and the running of external programs.
///
/// Every fallible step returns false and leaves its reason in errorText(); the last failure stands.
/// Single-threaded.
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

    // The operations. They are defined in build/operations.cpp, on top of the steps; this folder
    // knows none of them.

    /// Runs one operation; every one needs a usable SDK directory.
    bool run(Operation operation);
    bool buildProject(bool rebuildAll);
    /// Drops the translations that are no longer used, and asks for new statistics.
    bool clearObsolete();
    /// Removes the project's firmware and installer files from the output directory.
    /// @return true, always
    bool cleanFirmwareFolder();

    const ProjectSpec &spec() const { return m_spec; }

    /// @return the reason of the last failure; empty when there was none
    const QString &errorText() const { return m_errorText; }

    /// The project file's modification time: compiled files older than it are built again.
    /// Null until set, and then without effect.
    const QDateTime &projectFileTime() const { return m_outputGuard.projectFileTime(); }
    void setProjectFileTime(const QDateTime &time) { m_outputGuard.setProjectFileTime(time); }
    /// Says what the project file was like before it was read, so that an edit since then is
    /// noticed.
    void setProjectFileStatus(const FileStatus &status)
    {
        m_outputGuard.setProjectFileStatus(status);
    }

    /// Prints one progress or warning line.
    virtual void msg(const QString &text) = 0;

    /// Prints the output of a tool to one of this process's streams. Here: as it is.
    /// @return 0, or the errno when something is lost
    virtual int showOutput(OutputStream stream, QByteArrayView text);

    /// Shows how far the jobs are. Here: not at all.
    /// @param line  empty: no job is running
    virtual void showProgress(const QString &line) { Q_UNUSED(line) }

    /// Called for every output before it is made.
    /// @param input  what it is made from; may be empty
    virtual void making(const QString & /*output*/, const QString & /*input*/, Staleness /*why*/) {}

    /// Records the reason of a failure.
    /// @return false, always, so that a step can return its result directly
    bool raiseError(const QString &text);

    /// @return false with the error text set when a signal has interrupted this process
    bool checkInterruption();

    /// Runs one external program to completion; its standard streams are this process's own.
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

    /// @return the command that runs the SDK program @p tool
    Command toolCommand(const QString &tool, const QStringList &arguments, int verbose) const;

    /// The jobs that may run at once.
    JobQueue &jobs() { return m_jobs; }

    /// Runs a command that writes @p outputs of @p chain, under the protection of OutputGuard. To
    /// be followed, sooner or later, by endOutputs().
    /// @return false with the error text set
    bool makeOutputs(OutputChain *chain, const QStringList &outputs, const Command &command);

    /// The same for outputs that no command writes: to be called before they are written.
    /// @return false with the error text set; then nothing may be written
    bool beginOutputs(OutputChain *chain, const QStringList &outputs);
    /// To be called when the command that writes those has ended.
    void outputsEnded(OutputChain *chain, const QStringList &outputs, const CommandResult &result);
    /// To be called when those could not be made.
    void failOutputs(OutputChain *chain, const QStringList &outputs);

    /// To be called at the end of every chain.
    /// @return false with the error text set when the next build would not know that it has ended
    bool endOutputs(const OutputChain &chain);

    /// @return whether an interrupted build was to make @p output anew, and did not
    bool isLeftOver(const FileStatus &output) const { return m_outputGuard.isLeftOver(output); }

    /// @return why a step is to make @p output from @p input, by the rules that hold for all
    /// @param rebuildAll  whether every output counts as out of date
    Staleness staleness(const FileStatus &input, const FileStatus &output, bool rebuildAll) const;

    /// @param output  what is about to be removed or written to
    /// @param input  what it is made from, besides the inputs that the project names
    /// @return false with the error text set when it is an input, under whatever name
    bool checkNoInput(const QString &path, const FileStatus &output, const FileStatus &input = {});

    /// Waits until no other operation uses the object directory, and claims it until the end of the
    /// operation.
    /// @param makeDirectory  called when it does not exist; none: it is left so
    /// @return false with the error text set when it cannot be had
    bool claimObjectDirectory(const std::function<bool()> &makeDirectory);

    /// Runs a command that writes @p image, which each build makes again whatever its time stamp.
    /// What an interrupted one left of it is removed.
    /// @return false with the error text set
    bool makeImage(const QString &image, const Command &command);
    /// The same in two steps, for a command that runs in a job.
    /// @return false with the error text set; then the image must not be written
    bool beginImage(const QString &image);
    void imageEnded(const QString &image, const CommandResult &result);

    /// Removes what a killed build left half-written, see OutputGuard::recover().
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

    CommandRunner *commandRunner() { return m_commandRunner.get(); }
    /// Replaces what runs the commands.
    void setCommandRunner(std::unique_ptr<CommandRunner> runner);

protected:
    /// Not virtual: the concrete object is never deleted through this class.
    ~Project() = default;

private:
    bool checkSdk();
    void sayWaiting();
    bool runOperation(Operation operation);
    /// @return whether the command succeeded; otherwise the error text is set
    bool report(const Command &command, const CommandResult &result);

    const ProjectSpec &m_spec;
    QString m_errorText;
    std::unique_ptr<CommandRunner> m_commandRunner;
    OutputGuard m_outputGuard;
    Inputs m_inputs;
    BuildLock m_lock;
    BuildLock m_nameLock;
    bool m_hasSaidWaiting = false;
    JobQueue m_jobs{this};
};
