#include "compile/projectmtd16.h"

#include "engine/project.h"

using namespace Qt::StringLiterals;

ProjectMtd16::ProjectMtd16(Project *project) : m_project(project) {}

bool ProjectMtd16::needRebuild(const QDateTime &inputTime, const QString &output) const
{
    if (output.isEmpty())
        return false;
    const FileStatus status = FileStatus::of(output);
    return rebuildAll || !status.exists()
           || status.modified().toMilliseconds() < inputTime.toMSecsSinceEpoch();
}

bool ProjectMtd16::compile()
{
    const FileStatus definition = FileStatus::of(definitionFile);
    if (!definition.exists()) {
        errorString = u"MTD16 input file \"%1\" not found."_s.arg(definitionFile);
        return false;
    }
    QStringList requested;
    QStringList arguments;
    const auto request = [&](const QString &option, const QString &output) {
        const FileStatus status = FileStatus::of(output);
        const Staleness why = m_project->staleness(definition, status, rebuildAll);
        if (output.isEmpty() || why == Staleness::Current)
            return true;
        m_project->making(output, definitionFile, why);
        requested << output;
        arguments << option << output;
        return m_project->checkNoInput(output, status);
    };
    const bool ok = request(u"--header"_s, headerFile) && request(u"--lua"_s, luaFile);
    if (ok && requested.isEmpty())
        return true;
    arguments << definitionFile;
    OutputChain chain{.input = definitionFile, .inputStatus = definition};
    const bool isMade =
            ok
            && m_project->makeOutputs(&chain, requested,
                                      m_project->toolCommand(u"ztmkmtd"_s, arguments, verbosity));
    if (m_project->endOutputs(chain) && isMade)
        return true;
    errorString = m_project->errorText();
    return false;
}
