#include "engine/toolrunner.h"

#include "engine/childprocess.h"
#include "engine/outputpipes.h"
#include "model/projectspec.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int blindInterval = 10; // milliseconds, where the kernel has no descriptors of processes

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

/// @return whether a program could not be started because of what others use meanwhile
bool isShortage(int error)
{
    return error == EAGAIN || error == ENOMEM || error == EMFILE || error == ENFILE;
}

/// The message of a failed start is about the program; this one is about the machine.
QString shortageText(int error)
{
    return u"Cannot start a process: %1"_s.arg(qt_error_string(error));
}

} // namespace

/// A program that runs beside others.
struct RunningTool
{
    RunningTool(Command toolCommand, const QString &responseFileTemplate,
                CommandListener *toolListener)
        : command(std::move(toolCommand)), listener(toolListener),
          responseFile(responseFileTemplate)
    {
    }
    ~RunningTool()
    {
        if (descriptor >= 0)
            close(descriptor);
    }
    RunningTool(const RunningTool &) = delete;
    RunningTool &operator=(const RunningTool &) = delete;

    Command command;
    CommandListener *listener;
    ResponseFile responseFile;
    QByteArrayList arguments = {};
    ChildProcess process = {};
    OutputPipes pipes = {};
    bool isRunning = false;
    int descriptor = -1; ///< readable when the process has ended
    std::optional<CommandResult> result = {};
};

ToolRunner::ToolRunner(const ProjectSpec &spec, std::function<void(const QString &)> message)
    : m_spec(spec), m_message(std::move(message))
{
}

ToolRunner::~ToolRunner() = default;

QString ToolRunner::responseFileTemplate() const
{
    return m_spec.objectFilePath(u"args.XXXXXX"_s);
}

/// @return false with the reason in @p error when the arguments cannot be handed over
bool ToolRunner::prepare(const Command &command, ResponseFile *file, QByteArrayList *arguments,
                         QString *error) const
{
    if (ResponseFile::isNeededFor(command.arguments)) {
        if (!file->write(command.arguments, error))
            return false;
        *arguments = {file->argument()};
        return true;
    }
    for (const QString &argument : command.arguments)
        arguments->append(argument.toLocal8Bit());
    return true;
}

CommandResult ToolRunner::run(const Command &command)
{
    ResponseFile responseFile(responseFileTemplate());
    QByteArrayList arguments;
    CommandResult notPrepared{.outcome = CommandResult::Outcome::NotPrepared};
    if (!prepare(command, &responseFile, &arguments, &notPrepared.reason))
        return notPrepared;
    if (command.verbose >= 1)
        m_message(echoLine(command));
    const ProcessEnd end = runProcess(command.workDir, command.program, arguments);
    if (end.error == EAGAIN || end.error == ENOMEM)
        m_message(shortageText(end.error));
    return resultOf(end);
}

void ToolRunner::start(const Command &command, CommandListener *listener)
{
    RunningTool &tool = m_tools.emplace_back(command, responseFileTemplate(), listener);
    CommandResult notPrepared{.outcome = CommandResult::Outcome::NotPrepared};
    if (!prepare(command, &tool.responseFile, &tool.arguments, &notPrepared.reason)) {
        tool.result = notPrepared;
        return;
    }
    if (command.verbose >= 1)
        listener->message(echoLine(command));
    launch(&tool);
}

void ToolRunner::launch(RunningTool *tool)
{
    int error = tool->pipes.open();
    if (error == 0) {
        error = tool->process.start(tool->command.workDir, tool->command.program, tool->arguments,
                                    tool->pipes.writeEnds());
    }
    tool->pipes.closeWriteEnds();
    if (error == 0) {
        tool->isRunning = true;
        tool->descriptor = static_cast<int>(syscall(SYS_pidfd_open, tool->process.id(), 0));
        return;
    }
    tool->pipes.close();
    const bool isAlone = std::none_of(m_tools.begin(), m_tools.end(),
                                      [](const RunningTool &other) { return other.isRunning; });
    if (isShortage(error) && !isAlone)
        return; // it waits until another one has ended
    if (isShortage(error))
        tool->listener->message(shortageText(error));
    tool->result.emplace();
}

void ToolRunner::wait(bool blocks)
{
    poll(blocks);
    std::vector<std::pair<CommandListener *, CommandResult>> ended;
    for (const RunningTool &tool : m_tools) {
        if (tool.result)
            ended.emplace_back(tool.listener, *tool.result);
    }
    if (ended.empty())
        return;
    // What they had open is there for those that wait.
    m_tools.remove_if([](const RunningTool &tool) { return tool.result.has_value(); });
    for (RunningTool &tool : m_tools) {
        if (!tool.isRunning)
            launch(&tool);
    }
    for (const auto &[listener, result] : ended)
        listener->ended(result); // which may start the next command
}

/// Reads what the programs print, and sees which ones have ended.
void ToolRunner::poll(bool blocks)
{
    m_descriptors.clear();
    int timeout = blocks ? -1 : 0;
    for (const RunningTool &tool : m_tools) {
        if (tool.result)
            timeout = 0;
        if (!tool.isRunning)
            continue;
        m_descriptors.push_back({tool.descriptor, POLLIN, {}});
        tool.pipes.appendTo(&m_descriptors);
        if (tool.descriptor < 0 && timeout != 0)
            timeout = blindInterval;
    }
    ::poll(m_descriptors.data(), m_descriptors.size(), timeout); // a signal ends it, too
    auto descriptor = m_descriptors.cbegin();
    for (RunningTool &tool : m_tools) {
        if (!tool.isRunning)
            continue;
        const bool hasEnded =
                tool.descriptor < 0 ? tool.process.hasEnded() : descriptor->revents != 0;
        const auto end = ++descriptor + tool.pipes.count();
        const bool hasPrinted =
                std::any_of(descriptor, end, [](const pollfd &one) { return one.revents != 0; });
        descriptor = end;
        if (hasEnded || hasPrinted)
            tool.pipes.read(tool.listener);
        if (hasEnded)
            tool.result = resultOf(tool.process.wait());
    }
}
