#include "compile/luajob.h"

#include "compile/projectmake.h"
#include "engine/arguments.h"
#include "engine/project.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

void lookAt(SeenFile *file)
{
    if (!file->path.isEmpty())
        file->status = FileStatus::of(file->path);
}

} // namespace

LuaJob::LuaJob(Project *project, const ProjectMake &make, const QStringList &includes,
               LuaFiles files)
    : m_project(project), m_make(make), m_includes(includes),
      m_files(std::move(files)), m_chain{.inputStatus = m_files.source.status,
                                         .dependsOnProjectFile = true}
{
}

QStringList LuaJob::outputs() const
{
    QStringList paths{m_files.preprocessed.path, m_files.compiled.path};
    paths.removeAll(QString());
    return paths;
}

void LuaJob::outputsChanged()
{
    lookAt(&m_files.preprocessed);
    lookAt(&m_files.compiled);
}

bool LuaJob::next(std::optional<Command> *command)
{
    if (m_stage == Stage::Preprocess) {
        m_stage = Stage::Compile;
        if (m_make.process.preprocess()
            && m_make.needRebuild(m_files.source.status, m_files.preprocessed.status))
            return preprocess(command);
    }
    if (m_stage == Stage::Compile) {
        m_stage = Stage::Finished;
        if (!m_chain.outputs.isEmpty()) { // the preprocessor has run
            lookAt(&m_files.preprocessed);
            lookAt(&m_files.compiled);
        }
        const SeenFile &input = m_make.process.preprocess() ? m_files.preprocessed : m_files.source;
        if (m_make.process.compileLua()
            && m_make.needRebuild(input.status, m_files.compiled.status))
            return compile(input, command);
    }
    return true;
}

bool LuaJob::preprocess(std::optional<Command> *command)
{
    QStringList arguments;
    if (m_make.process.removeComments())
        arguments << u"--strip"_s;
    if (m_make.process.simplifyWhitespace())
        arguments << u"--trim"_s;
    arguments << m_includes;
    arguments << pathOption(u"--out"_s, m_files.preprocessed.path);
    arguments << u"--root"_s << m_make.sourceDirectory; // as stored, unlike every other path
    arguments << pathOption(u"--"_s, m_files.source.path);
    *command = m_project->toolCommand(u"ztlpp"_s, arguments, m_make.verbosity);
    m_chain.input = m_files.source.path;
    return begin(m_files.preprocessed, m_files.source);
}

bool LuaJob::compile(const SeenFile &input, std::optional<Command> *command)
{
    QStringList arguments;
    if (m_make.process.stripLua())
        arguments << u"-s"_s;
    arguments << pathOption(u"-o"_s, m_files.compiled.path);
    arguments << pathOption(u"--"_s, input.path);
    *command = m_project->toolCommand(u"ztluac"_s, arguments, m_make.verbosity);
    if (m_files.compiled.status.isSameFileAs(m_files.source.status))
        return m_project->raiseError(u"Cannot write %1"_s.arg(m_files.compiled.path));
    if (m_chain.input.isEmpty()) { // the preprocessed file is current, or there is none
        m_chain.input = input.path;
        m_chain.inputStatus = input.status;
    }
    return begin(m_files.compiled, input);
}

bool LuaJob::begin(const SeenFile &output, const SeenFile &input)
{
    m_output = output.path;
    if (!m_project->checkNoInput(output.path, output.status, input.status))
        return false;
    m_project->making(output.path, input.path, m_make.staleness(input.status, output.status));
    return m_project->beginOutputs(&m_chain, {m_output});
}

void LuaJob::ended(const CommandResult &result)
{
    m_project->outputsEnded(&m_chain, {m_output}, result);
}

bool LuaJob::finish()
{
    return m_chain.outputs.isEmpty() || m_project->endOutputs(m_chain);
}
