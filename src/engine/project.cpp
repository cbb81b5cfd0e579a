#include "engine/project.h"

#include "engine/interruption.h"
#include "engine/outputpipes.h"
#include "engine/responsefile.h"
#include "engine/revision.h"
#include "engine/toolrunner.h"
#include "files/changes.h"
#include "files/filestatus.h"
#include "files/rehearsal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

using namespace Qt::StringLiterals;

Project::Project(const ProjectSpec &spec)
    : m_spec(spec), m_commandRunner(std::make_unique<ToolRunner>(
                            spec, [this](const QString &text) { msg(text); })),
      m_outputGuard(spec, [this] { sayWaiting(); }), m_inputs(spec)
{
}

bool Project::raiseError(const QString &text)
{
    m_errorText = text;
    return false;
}

int Project::showOutput(OutputStream stream, QByteArrayView text)
{
    return writeOutput(stream, text);
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
    return Interruption::signal() == 0 || raiseError(Interruption::text());
}

bool Project::report(const Command &command, const CommandResult &result)
{
    return result.succeeded() || raiseError(::errorText(command, result));
}

bool Project::runCommand(const QString &workDir, const QString &displayName, const QString &program,
                         const QStringList &arguments, int verbose)
{
    const Command command{displayName, program, arguments, workDir, verbose};
    if (!checkInterruption())
        return false;
    const CommandResult result = m_commandRunner->run(command);
    m_inputs.forget(); // such commands write translation sources
    return report(command, result);
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

bool Project::makeOutputs(OutputChain *chain, const QStringList &outputs, const Command &command)
{
    if (!beginOutputs(chain, outputs))
        return false;
    const CommandResult result = m_commandRunner->run(command);
    outputsEnded(chain, outputs, result);
    return report(command, result);
}

void Project::outputsEnded(OutputChain *chain, const QStringList &outputs,
                           const CommandResult &result)
{
    if (result.isFinished)
        m_outputGuard.finish(*chain);
    else
        failOutputs(chain, outputs);
}

bool Project::beginOutputs(OutputChain *chain, const QStringList &outputs)
{
    if (!checkInterruption())
        return false;
    QString error;
    return m_outputGuard.begin(chain, outputs, &error) || raiseError(error);
}

void Project::failOutputs(OutputChain *chain, const QStringList &outputs)
{
    m_outputGuard.fail(chain, outputs);
}

bool Project::endOutputs(const OutputChain &chain)
{
    QString error;
    return m_outputGuard.end(chain, &error) || raiseError(error);
}

Staleness Project::staleness(const FileStatus &input, const FileStatus &output,
                             bool rebuildAll) const
{
    if (rebuildAll)
        return Staleness::Forced;
    if (!output.exists())
        return Staleness::Missing;
    if (isLeftOver(output))
        return Staleness::LeftOver;
    return output.isOutOfDate(input) ? Staleness::OlderThanInput : Staleness::Current;
}

bool Project::checkNoInput(const QString &path, const FileStatus &output, const FileStatus &input)
{
    return !output.isRegularFile()
           || (!output.isSameFileAs(input) && !m_inputs.contains(path, output))
           || raiseError(u"Cannot write %1"_s.arg(path));
}

void Project::sayWaiting()
{
    if (!std::exchange(m_hasSaidWaiting, true))
        msg(u"Waiting for another build"_s);
}

bool Project::claimObjectDirectory(const std::function<bool()> &makeDirectory)
{
    if (Rehearsal::isOn())
        return !makeDirectory || makeDirectory();
    const QString directory = m_spec.objectFilePath({});
    const auto onWait = [this] { sayWaiting(); };
    BuildLock::Result result = m_lock.acquire(directory, onWait);
    while (result == BuildLock::Result::Missing && makeDirectory) {
        if (!makeDirectory())
            return false;
        result = m_lock.acquire(directory, onWait);
    }
    // Whoever still writes below one that was removed meanwhile has kept the claim on its name.
    QString error = BuildLock::errorText(result, directory);
    if (error.isEmpty()) {
        const QString name = QDir::cleanPath(QFileInfo(directory).absoluteFilePath());
        error = BuildLock::errorText(
                m_nameLock.acquireName(m_spec.projectFilePath({}), name, onWait), directory);
    }
    if (!error.isEmpty())
        return raiseError(error);
    if (m_lock.wasLeft() || m_nameLock.wasLeft())
        m_outputGuard.distrustOutputs();
    if (result == BuildLock::Result::Held)
        ResponseFile::removeLeftIn(directory);
    return result != BuildLock::Result::NotHeld || !makeDirectory || makeDirectory();
}

bool Project::makeImage(const QString &image, const Command &command)
{
    if (!beginImage(image))
        return false;
    const CommandResult result = m_commandRunner->run(command);
    imageEnded(image, result);
    return report(command, result);
}

bool Project::beginImage(const QString &image)
{
    if (!checkInterruption() || !checkNoInput(image, FileStatus::of(image)))
        return false;
    making(image, {}, Staleness::Always);
    return true;
}

void Project::imageEnded(const QString &image, const CommandResult &result)
{
    if (!result.isFinished && result.outcome == CommandResult::Outcome::Interrupted)
        QFile::remove(image);
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
        if (!checkNoInput(path, status))
            return false;
        // The placeholder is never filled; scripts match the text as it is.
        if (!Changes::removeFile(path))
            return raiseError(u"Cannot remove %s"_s);
    }
    if (path == *previous)
        return true;
    if (!previous->isEmpty())
        Changes::removeFile(*previous);
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
