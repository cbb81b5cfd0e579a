#include "companion/rehearsedbuild.h"

#include "engine/responsefile.h"
#include "files/rehearsal.h"
#include "tools/tools.h"

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QDateTime modificationTime(const FileStatus &status)
{
    if (!status.exists())
        return {};
    return QDateTime::fromMSecsSinceEpoch(status.modified().toMilliseconds(), Qt::UTC);
}

} // namespace

QStringList optionValues(const QStringList &arguments, const QString &option)
{
    QStringList values;
    for (qsizetype i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == option)
            values << arguments[++i];
    }
    return values;
}

QString optionValue(const QStringList &arguments, const QString &option)
{
    return optionValues(arguments, option).value(0);
}

bool isProgram(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

RehearsalScope::RehearsalScope()
{
    Rehearsal::begin();
}

RehearsalScope::~RehearsalScope()
{
    Rehearsal::end();
}

/// Lets every tool succeed without running it.
class RehearsedBuild::Recorder final : public CommandRunner
{
public:
    explicit Recorder(RehearsedBuild *build) : m_build(build) {}

    CommandResult run(const Command &command) override
    {
        m_build->record(command);
        if (ResponseFile::isNeededFor(command.arguments)) {
            const QString obstacle = ResponseFile::obstacleIn(command.arguments);
            if (!obstacle.isEmpty())
                return {.outcome = CommandResult::Outcome::NotPrepared, .reason = obstacle};
        }
        return {.outcome = CommandResult::Outcome::Succeeded, .isFinished = true};
    }

private:
    RehearsedBuild *m_build;
};

RehearsedBuild::RehearsedBuild(const ProjectSpec &spec, const FileStatus &projectFile)
    : Project(spec)
{
    setProjectFileTime(modificationTime(projectFile));
    setProjectFileStatus(projectFile);
    setCommandRunner(std::make_unique<Recorder>(this));
}

bool RehearsedBuild::rehearse(Operation operation)
{
    return run(operation);
}

QString RehearsedBuild::toolDirectory() const
{
    for (const QString &directory : {spec().toolPath({}), spec().sdkPath(u"bin"_s)}) {
        const auto isHere = [&directory](const Command &command) {
            return isProgram(directory + u'/' + command.displayName);
        };
        if (std::any_of(m_commands.begin(), m_commands.end(), isHere))
            return directory;
    }
    return {};
}

void RehearsedBuild::making(const QString &output, const QString &input, Staleness why)
{
    RehearsedStep step;
    step.output = output;
    step.input = input;
    step.why = why;
    step.outputBefore = FileStatus::of(output);
    if (!input.isEmpty()) {
        step.inputBefore = FileStatus::of(input);
        step.isInputMade = Rehearsal::status(input).has_value();
    }
    m_steps.append(step);
}

void RehearsedBuild::record(const Command &command)
{
    const int number = static_cast<int>(m_commands.size());
    m_commands.append(command);
    bool hasOutput = false;
    for (qsizetype i = m_announced; i < m_steps.size(); ++i) {
        // A copy or a generated file may stand before the outputs of the command.
        if (command.arguments.contains(m_steps[i].output)) {
            m_steps[i].command = number;
            hasOutput = true;
        }
    }
    if (!hasOutput) {
        m_steps.append(RehearsedStep());
        m_steps.last().command = number;
    }
    m_announced = m_steps.size();
    foreseeTranslations(command);
}

/// The scan for texts makes the translation sources that are missing; whether it changes the others
/// nobody knows before.
void RehearsedBuild::foreseeTranslations(const Command &command)
{
    for (const QString &name : optionValues(command.arguments, u"--ts"_s)) {
        const QString source = Tools::ensureDirectorySeparator(command.workDir) + name;
        if (!FileStatus::of(source).exists())
            Rehearsal::make(source);
    }
}
