#pragma once

#include <QByteArrayList>
#include <QString>

/// How a program ended.
struct ProcessEnd
{
    enum class Kind { NotStarted, Crashed, Exited };

    Kind kind = Kind::NotStarted;
    int status = 0; ///< only of one that exited
    int error = 0;  ///< the errno, only of one that was not started

    bool isSuccess() const { return kind == Kind::Exited && status == 0; }
};

/// Runs @p program, which shares this process's standard streams and environment, and waits for its
/// end. An interruption meanwhile is passed on to it, see Interruption.
/// @param workDir  the program's working directory; empty: this process's own
/// @param arguments  in the encoding of the program's locale
ProcessEnd runProcess(const QString &workDir, const QString &program,
                      const QByteArrayList &arguments);
