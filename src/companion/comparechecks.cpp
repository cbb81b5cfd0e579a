#include "companion/checkedproject.h"

#include "companion/contentof.h"
#include "engine/interruption.h"
#include "engine/toolrunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

/// An output that a plain build would keep.
struct KeptOutput
{
    QString path;
    QString input;                       ///< what it is made of, perhaps itself an output
    QString source;                      ///< what all of that is made of
    std::optional<Command> command = {}; ///< none: the output is a copy
    QStringList outputs = {};            ///< all those of the command
};

struct KeptOutputs
{
    QList<KeptOutput> list = {};
    QString toolDirectory; ///< empty: unknown
};

/// What a tool says, and how it ends.
class ToolListener final : public CommandListener
{
public:
    void message(const QString &) override {}
    void output(OutputStream, QByteArrayView text) override { m_said.append(text); }
    void ended(const CommandResult &result) override { m_result = result; }

    const std::optional<CommandResult> &result() const { return m_result; }
    /// @return the first line that the tool has printed
    QString firstLine() const
    {
        return QString::fromLocal8Bit(m_said).trimmed().section(u'\n', 0, 0).trimmed();
    }

private:
    QByteArray m_said;
    std::optional<CommandResult> m_result;
};

/// The outputs of a build of everything that a plain one leaves out; those that it makes anyway are
/// always right.
/// @return nothing when a build would stop, which is told elsewhere
std::optional<KeptOutputs> keptOutputs(const CheckedProject &project)
{
    QSet<QString> made;
    {
        RehearsedBuild build(project.spec, project.opened.status);
        if (!build.rehearse(Project::Operation::Build))
            return {};
        for (const RehearsedStep &step : build.steps())
            made.insert(step.output);
    }
    RehearsedBuild build(project.spec, project.opened.status);
    build.rehearse(Project::Operation::BuildAll);
    QHash<QString, QString> inputs;
    QHash<int, QStringList> outputs; // of each command
    QSet<QString> shared;            // those of several sources are told elsewhere
    for (const RehearsedStep &step : build.steps()) {
        if (inputs.value(step.output, step.input) != step.input)
            shared.insert(step.output);
        inputs.insert(step.output, step.input);
        outputs[step.command] << step.output;
    }
    KeptOutputs kept{.toolDirectory = build.toolDirectory()};
    for (const RehearsedStep &step : build.steps()) {
        if (step.input.isEmpty() || made.contains(step.output) || shared.contains(step.output))
            continue;
        KeptOutput output{.path = step.output, .input = step.input, .source = step.input};
        if (step.input.endsWith(".lui"_L1))
            output.source = inputs.value(step.input, step.input);
        if (step.command >= 0) {
            output.command = build.commands()[step.command];
            output.command->program = kept.toolDirectory + u'/' + output.command->displayName;
            output.outputs = outputs.value(step.command);
        }
        kept.list << output;
    }
    return kept;
}

/// @return the options of a tool behind which its outputs stand
QStringList outputOptions(const QString &tool)
{
    static const QHash<QString, QStringList> options{
            {u"lrelease"_s, {u"-qm"_s}},
            {u"ztlpp"_s, {u"--out"_s}},
            {u"ztluac"_s, {u"-o"_s}},
            {u"ztmkmtd"_s, {u"--header"_s, u"--lua"_s}},
    };
    return options.value(tool);
}

/// Lets a command write to another file.
/// @return false when the output is not among its arguments
bool redirect(Command *command, const QString &output, const QString &other)
{
    const QStringList options = outputOptions(command->displayName);
    QStringList &arguments = command->arguments;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == output && options.contains(arguments[i - 1])) {
            arguments[i] = other;
            return true;
        }
    }
    return false;
}

/// Makes outputs again in a temporary directory, which goes with this object.
class Comparison
{
public:
    explicit Comparison(CheckedProject *project)
        : m_project(project), m_spec(project->spec), m_runner(m_spec, [](const QString &) {})
    {
        // Long argument lists travel in a file there.
        m_spec.objectDirectory = QFileInfo(m_directory.path()).absoluteFilePath();
    }

    bool isReady() const { return m_directory.isValid(); }
    QString reason() const { return m_directory.errorString(); }

    void compare(const KeptOutput &output)
    {
        const QFileInfo input(output.input);
        if (input.exists() && !input.isFile() && !input.isDir()) {
            // A tool would wait for a pipe.
            m_project->warnIn(output.source, {1, 1}, "compare",
                              u"%1 is not a regular file"_s.arg(output.input),
                              u"Put a file in its place."_s);
            return;
        }
        QString again = output.input;
        if (output.command) {
            std::optional<Command> command = redirected(output, &again);
            if (!command || !run(*command, output))
                return;
        }
        const std::optional<QByteArray> content = contentOf(output.path);
        if (!content || content != contentOf(again)) {
            m_project->warnIn(output.source, {1, 1}, "compare",
                              u"%1 is not what %2 gives"_s.arg(output.path, output.source),
                              u"Build with --all."_s);
        }
        if (output.command)
            QFile::remove(again);
    }

private:
    /// @return the command with all its outputs in the temporary directory, under their own names
    std::optional<Command> redirected(const KeptOutput &output, QString *again) const
    {
        Command command = *output.command;
        command.verbose = 0;
        for (qsizetype i = 0; i < output.outputs.size(); ++i) {
            const QString directory = m_directory.filePath(QString::number(i));
            const QString path = directory + u'/' + QFileInfo(output.outputs[i]).fileName();
            if (!QDir().mkpath(directory) || !redirect(&command, output.outputs[i], path))
                return {};
            if (output.outputs[i] == output.path)
                *again = path;
        }
        return command;
    }

    bool run(const Command &command, const KeptOutput &output)
    {
        ToolListener listener;
        m_runner.start(command, &listener);
        while (!listener.result())
            m_runner.wait(true);
        if (listener.result()->succeeded())
            return true;
        if (Interruption::signal() == 0) {
            const QString said = listener.firstLine();
            m_project->warnIn(
                    output.source, {1, 1}, "compare",
                    u"%1 cannot make %2 again: %3"_s.arg(
                            command.displayName, output.path,
                            said.isEmpty() ? errorText(command, *listener.result()) : said),
                    u"Correct this: a build with --all would fail at it."_s);
        }
        return false;
    }

    CheckedProject *m_project;
    QTemporaryDir m_directory;
    ProjectSpec m_spec;
    ToolRunner m_runner;
};

} // namespace

bool compareOutputs(CheckedProject *project)
{
    const auto isAboutTools = [](const Finding &finding) { return finding.check == "tool"_L1; };
    if (std::any_of(project->findings.begin(), project->findings.end(), isAboutTools))
        return false;
    const std::optional<KeptOutputs> kept = keptOutputs(*project);
    if (!kept)
        return false;
    if (kept->toolDirectory.isEmpty()) {
        project->error(project->places.attribute(u"Project"_s, u"SDK"_s), "compare",
                       u"There are no tools beside this program, and none in %1"_s.arg(
                               project->spec.sdkPath(u"bin"_s)),
                       u"Start the ztproject that is in the bin directory of the SDK."_s);
        return false;
    }
    Interruption::watch();
    Comparison comparison(project);
    if (!comparison.isReady()) {
        project->error({1, 1}, "compare",
                       u"Cannot make a temporary directory: %1"_s.arg(comparison.reason()),
                       u"Let TMPDIR name a directory that can be written to."_s);
        return false;
    }
    for (const KeptOutput &output : kept->list) {
        if (Interruption::signal() != 0)
            return false;
        comparison.compare(output);
    }
    return true;
}
