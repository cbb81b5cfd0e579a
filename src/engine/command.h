#pragma once

#include <QByteArrayView>
#include <QStringList>

/// A program to run, and how.
struct Command
{
    QString displayName; ///< what the echo and messages call it
    QString program;
    QStringList arguments;
    QString workDir = {}; ///< the program's working directory; empty: this process's own
    int verbose = 0;      ///< the command is echoed at level 1 and above
};

enum class OutputStream { Output, Error };

/// How a command ended.
struct CommandResult
{
    enum class Outcome {
        Succeeded,
        NotPrepared, ///< its arguments could not be handed over; `reason` says why
        NotStarted,
        Crashed,
        Failed,      ///< it exited with `status`, other than 0
        Interrupted, ///< by a signal to this process, whatever the program made of it
    };

    Outcome outcome = Outcome::NotStarted;
    int status = 0;
    QString reason = {};
    bool isFinished = false; ///< the program did all its work, even if it was interrupted

    bool succeeded() const { return outcome == Outcome::Succeeded; }
};

/// @return the message for a command that did not succeed
QString errorText(const Command &command, const CommandResult &result);

/// @return the line that shows a command as it is run, with its first 20 arguments
QString echoLine(const Command &command);

/// Hears of a command that runs beside others.
class CommandListener
{
public:
    virtual ~CommandListener() = default;

    /// The echo of the command, or another line about it.
    virtual void message(const QString &text) = 0;
    /// What the command printed, piece by piece.
    virtual void output(OutputStream stream, QByteArrayView text) = 0;
    /// Called last.
    virtual void ended(const CommandResult &result) = 0;
};

/// What runs the commands of a project; tests put another in place of the ToolRunner.
class CommandRunner
{
public:
    virtual ~CommandRunner() = default;

    /// Runs @p command to its end; it prints to this process's own streams.
    virtual CommandResult run(const Command &command) = 0;

    /// Runs @p command beside others; wait() must be called until it has ended. A runner that does
    /// not override this runs commands one after the other.
    virtual void start(const Command &command, CommandListener *listener);

    /// Tells the listeners what their commands have done.
    /// @param blocks  waits until there is something to tell
    virtual void wait(bool /*blocks*/) {}
};
