#include "engine/command.h"

#include "engine/interruption.h"

#include <QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maximumEchoedArguments = 20;

} // namespace

QString errorText(const Command &command, const CommandResult &result)
{
    switch (result.outcome) {
    case CommandResult::Outcome::Succeeded:
        break;
    case CommandResult::Outcome::NotPrepared:
        return result.reason;
    case CommandResult::Outcome::NotStarted:
        return u"Command failed to run: "_s + QDir::toNativeSeparators(command.program);
    case CommandResult::Outcome::Crashed:
        return u"Command crashed"_s;
    case CommandResult::Outcome::Failed:
        return u"Command exited with status %1"_s.arg(result.status);
    case CommandResult::Outcome::Interrupted:
        return u"Interrupted by %1 while %2 was running"_s.arg(Interruption::signalName(),
                                                               command.displayName);
    }
    return {};
}

QString echoLine(const Command &command)
{
    QString line;
    if (!command.workDir.isEmpty())
        line = u"(in %1) "_s.arg(command.workDir);
    const QStringList &arguments = command.arguments;
    line += command.displayName + u' '
            + arguments.first(std::min(arguments.size(), maximumEchoedArguments)).join(u' ');
    if (arguments.size() > maximumEchoedArguments)
        line += u" ..."_s;
    return line;
}

void CommandRunner::start(const Command &command, CommandListener *listener)
{
    listener->ended(run(command));
}
