#include "engine/toolrunner.h"

#include "engine/childprocess.h"
#include "engine/interruption.h"
#include "engine/responsefile.h"
#include "model/projectspec.h"

#include <cerrno>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

CommandResult resultOf(const ProcessEnd &end)
{
    using Outcome = CommandResult::Outcome;
    CommandResult result;
    result.status = end.status;
    result.isFinished = end.isSuccess();
    if (Interruption::signal() != 0)
        result.outcome = Outcome::Interrupted;
    else if (result.isFinished)
        result.outcome = Outcome::Succeeded;
    else if (end.kind == ProcessEnd::Kind::Exited)
        result.outcome = Outcome::Failed;
    else if (end.kind == ProcessEnd::Kind::Crashed)
        result.outcome = Outcome::Crashed;
    return result;
}

} // namespace

ToolRunner::ToolRunner(const ProjectSpec &spec, std::function<void(const QString &)> message)
    : m_spec(spec), m_message(std::move(message))
{
}

CommandResult ToolRunner::run(const Command &command)
{
    ResponseFile responseFile(m_spec.objectFilePath(u"args.XXXXXX"_s));
    QByteArrayList arguments;
    if (ResponseFile::isNeededFor(command.arguments)) {
        CommandResult result{.outcome = CommandResult::Outcome::NotPrepared};
        if (!responseFile.write(command.arguments, &result.reason))
            return result;
        arguments = {responseFile.argument()};
    } else {
        for (const QString &argument : command.arguments)
            arguments.append(argument.toLocal8Bit());
    }
    if (command.verbose >= 1)
        m_message(echoLine(command));
    const ProcessEnd end = runProcess(command.workDir, command.program, arguments);
    // The message for it is about the program; this is about the machine.
    if (end.error == EAGAIN || end.error == ENOMEM)
        m_message(u"Cannot start a process: %1"_s.arg(qt_error_string(end.error)));
    return resultOf(end);
}
