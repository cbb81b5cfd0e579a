#pragma once

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

/// What came of a command.
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

/// What runs the commands of a project; tests put another in place of the ToolRunner.
class CommandRunner
{
public:
    virtual ~CommandRunner() = default;

    /// Runs @p command to its end.
    virtual CommandResult run(const Command &command) = 0;
};
