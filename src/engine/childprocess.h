#pragma once

#include "engine/interruption.h"

#include <QByteArrayList>
#include <QString>

#include <optional>

/// How a program ended.
struct ProcessEnd
{
    enum class Kind { NotStarted, Crashed, Exited };

    Kind kind = Kind::NotStarted;
    int status = 0; ///< only of one that exited
    int error = 0;  ///< the errno, only of one that was not started

    bool isSuccess() const { return kind == Kind::Exited && status == 0; }
};

/// The descriptors that become a program's standard output and standard error; -1: this process's
/// own.
struct OutputStreams
{
    int output = -1;
    int error = -1;
};

/// A program that this process starts and waits for. It shares the environment, the standard input
/// and, unless others are named, the output streams. An interruption is passed on to it,
/// see Interruption.
///
/// wait() must be called before this object is destroyed.
class ChildProcess
{
public:
    /// @param workDir  the program's working directory; empty: this process's own
    /// @param arguments  in the encoding of the program's locale
    /// @return 0, or the errno of the failure; then there is nothing to wait for
    int start(const QString &workDir, const QString &program, const QByteArrayList &arguments,
              const OutputStreams &streams = {});

    /// @return whether wait() would return at once
    bool hasEnded() const;

    /// Waits for its end.
    ProcessEnd wait();

    pid_t id() const { return m_process; }

private:
    pid_t m_process = -1;
    std::optional<Interruption::Target> m_target;
};

/// Starts a program and waits for its end.
ProcessEnd runProcess(const QString &workDir, const QString &program,
                      const QByteArrayList &arguments);
