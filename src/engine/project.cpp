#include "engine/project.h"

#include "engine/interruption.h"
#include "engine/revision.h"
#include "engine/toolrunner.h"
#include "files/filestatus.h"

#include <QFile>

#include <utility>

using namespace Qt::StringLiterals;

Project::Project(const ProjectSpec &spec)
    : m_spec(spec), m_commandRunner(std::make_unique<ToolRunner>(
                            spec, [this](const QString &text) { msg(text); })),
      m_outputGuard(spec)
{
}

bool Project::raiseError(const QString &text)
{
    m_errorText = text;
    return false;
}

bool Project::checkSdk()
{
    m_spec.refreshSdkCache();
    const QString directory = m_spec.sdkCache;
    if (directory.isEmpty())
        return raiseError(u"Cannot find SDK directory."_s);
    const FileStatus status = FileStatus::of(directory);
    if (!status.exists())
        return raiseError(u"SDK %1 does not exist."_s.arg(directory));
    if (!status.isDirectory())
        return raiseError(u"SDK %1 is not a directory."_s.arg(directory));
    return true;
}

bool Project::checkInterruption()
{
    return Interruption::signal() == 0
           || raiseError(u"Interrupted by %1"_s.arg(Interruption::signalName()));
}

bool Project::report(const Command &command, const CommandResult &result)
{
    return result.succeeded() || raiseError(::errorText(command, result));
}

bool Project::runCommand(const QString &workDir, const QString &displayName, const QString &program,
                         const QStringList &arguments, int verbose)
{
    const Command command{displayName, program, arguments, workDir, verbose};
    return checkInterruption() && report(command, m_commandRunner->run(command));
}

bool Project::runToolIn(const QString &workDir, const QString &tool, const QStringList &arguments,
                        int verbose)
{
    return runCommand(workDir, tool, m_spec.toolPath(tool), arguments, verbose);
}

bool Project::runTool(const QString &tool, const QStringList &arguments, int verbose)
{
    return runToolIn({}, tool, arguments, verbose);
}

Command Project::toolCommand(const QString &tool, const QStringList &arguments, int verbose) const
{
    return {tool, m_spec.toolPath(tool), arguments, {}, verbose};
}

bool Project::makeOutputs(const OutputStep &step, const Command &command)
{
    if (!beginOutputs(step))
        return false;
    const CommandResult result = m_commandRunner->run(command);
    endOutputs(step, result.isFinished);
    return report(command, result);
}

bool Project::beginOutputs(const OutputStep &step)
{
    if (!checkInterruption())
        return false;
    QString error;
    return m_outputGuard.begin(step, &error) || raiseError(error);
}

void Project::endOutputs(const OutputStep &step, bool isFinished)
{
    m_outputGuard.end(step, isFinished);
}

bool Project::makeImage(const QString &image, const Command &command)
{
    if (!checkInterruption())
        return false;
    const CommandResult result = m_commandRunner->run(command);
    if (!result.isFinished && result.outcome == CommandResult::Outcome::Interrupted)
        QFile::remove(image);
    return report(command, result);
}

bool Project::recoverFromKill(bool *rebuildAll)
{
    QString error;
    return m_outputGuard.recover(rebuildAll, &error) || raiseError(error);
}

bool Project::prepareTemporaryFile(const QString &name, QString *previous)
{
    const QString path = m_spec.objectFilePath(name);
    const FileStatus status = FileStatus::of(path);
    if (status.exists()) {
        if (!status.isRegularFile())
            return raiseError(u"Refusing to overwrite non-file %1"_s.arg(path));
        // The placeholder is never filled; scripts match the text as it is.
        if (!QFile::remove(path))
            return raiseError(u"Cannot remove %s"_s);
    }
    if (path == *previous)
        return true;
    if (!previous->isEmpty())
        QFile::remove(*previous);
    *previous = path;
    return true;
}

QString Project::runSvnversion()
{
    QString revision = workingCopyRevision(m_spec.projectFilePath({}));
    if (Interruption::signal() != 0)
        return {};
    if (revision.isEmpty()) {
        revision = u"?"_s;
        msg(u"Warning: svnversion failed to run."_s);
    } else if (revision.toLower().contains("unversioned"_L1)) {
        revision = u"?"_s;
        msg(u"Warning: Unversioned directory."_s);
    }
    return u'#' + revision;
}

QString Project::generateVersion()
{
    return m_spec.svnversion.isOn() ? m_spec.version + runSvnversion() : m_spec.version;
}

void Project::setCommandRunner(std::unique_ptr<CommandRunner> runner)
{
    m_commandRunner = std::move(runner);
}
