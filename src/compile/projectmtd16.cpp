#include "compile/projectmtd16.h"

#include "engine/project.h"

using namespace Qt::StringLiterals;

ProjectMtd16::ProjectMtd16(Project *project) : m_project(project) {}

bool ProjectMtd16::needRebuild(const FileStatus &input, const QString &output) const
{
    if (output.isEmpty())
        return false;
    return rebuildAll || FileStatus::of(output).isOutOfDate(input);
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
    if (needRebuild(definition, headerFile)) {
        requested << headerFile;
        arguments << u"--header"_s << headerFile;
    }
    if (needRebuild(definition, luaFile)) {
        requested << luaFile;
        arguments << u"--lua"_s << luaFile;
    }
    if (requested.isEmpty())
        return true;
    arguments << definitionFile;
    if (m_project->makeOutputs(
                {.outputs = requested, .input = definitionFile, .inputStatus = definition},
                m_project->toolCommand(u"ztmkmtd"_s, arguments, verbosity)))
        return true;
    errorString = m_project->errorText();
    return false;
}
