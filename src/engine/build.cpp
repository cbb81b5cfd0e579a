#include "engine/build.h"

#include "compile/projectmake.h"
#include "compile/projectmtd16.h"
#include "engine/project.h"
#include "tools/tools.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

QString withDash(const QString &text)
{
    return text.isEmpty() ? QString() : u'-' + text;
}

} // namespace

Build::Build(Project *project, bool rebuildAll)
    : m_project(project), m_spec(project->spec()), m_rebuildAll(rebuildAll)
{
}

bool Build::makeDirectories()
{
    if (!makeDirectory(m_spec.objectFilePath({})))
        return false;
    return !m_spec.lupdateEnabled()
           || (makeDirectory(m_spec.tsFilePath({})) && makeDirectory(m_spec.qmFilePath({})));
}

bool Build::makeDirectory(const QString &directory)
{
    if (QDir().mkpath(directory))
        return true;
    return m_project->raiseError(u"Cannot make directory %1"_s.arg(directory));
}

bool Build::recoverFromKill()
{
    return m_project->recoverFromKill(&m_rebuildAll);
}

bool Build::nameFirmware()
{
    m_versionText = m_project->generateVersion();
    const QString unknownRevision = u"#?"_s;
    QString fileVersion = m_versionText;
    if (fileVersion.endsWith(unknownRevision))
        fileVersion.chop(unknownRevision.size());
    m_nameSuffix = withDash(Tools::safeFileName(m_spec.name));
    m_versionSuffix = withDash(Tools::safeFileName(fileVersion));
    return m_project->checkInterruption();
}

bool Build::compileDefinitions()
{
    if (!m_spec.mtd16Enabled())
        return true;
    ProjectMtd16 compiler(m_project);
    // All paths as stored: they resolve against the working directory, deliberately.
    compiler.definitionFile = m_spec.mtd16Source.isEmpty()
                                      ? Tools::replaceExtension(m_spec.projectFile, u"mtdef"_s)
                                      : m_spec.mtd16Source;
    compiler.headerFile = m_spec.mtd16Header.effectiveValue();
    compiler.luaFile = m_spec.mtd16Lua.effectiveValue();
    compiler.verbosity = m_spec.verbose;
    compiler.rebuildAll = m_rebuildAll;
    return compiler.compile() || m_project->raiseError(compiler.errorString);
}

bool Build::selectRootFilesystem()
{
    const QString rootLabel = u"root"_s;
    if (m_spec.filesystems.isEmpty()) {
        m_rootFilesystem.label = rootLabel;
        return true;
    }
    if (m_spec.filesystems.size() == 1) {
        m_hasRootFilesystem = true;
        m_rootFilesystem = m_spec.filesystems.first();
        if (m_rootFilesystem.label.isEmpty())
            m_rootFilesystem.label = rootLabel;
        if (m_rootFilesystem.label == rootLabel)
            return true;
    }
    // One message for the count and the label: deliberate.
    return m_project->raiseError(
            u"Project must contain exactly one filesystem, labelled \"root\"."_s);
}

bool Build::addMergeEntries()
{
    QString destination;
    for (const MergeSpec &merge : std::as_const(m_rootFilesystem.merges)) {
        if (merge.destination != destination) {
            destination = merge.destination;
            m_rootImageArguments << u"-D"_s << (destination.isEmpty() ? u"/"_s : destination);
        }
        const QString source = m_spec.projectFilePath(merge.source);
        if (merge.type == MergeSpec::Type::Archive) {
            m_rootImageArguments << u"--merge"_s << QDir::toNativeSeparators(source);
            continue;
        }
        m_rootImageArguments << u"-i"_s << QDir::toNativeSeparators(source);
        if (!compileEntry(merge, source))
            return false;
    }
    return true;
}

bool Build::compileEntry(const MergeSpec &merge, const QString &source)
{
    ProcessSpec process;
    process.mergeFrom(m_spec.process);
    process.mergeFrom(m_rootFilesystem.process);
    process.mergeFrom(merge.process);
    if (!process.isActive())
        return true;

    QString objectDirectory = m_spec.objectFilePath(Tools::safeFileName(m_rootFilesystem.label));
    if (m_compiledEntries > 0)
        objectDirectory += u"%1"_s.arg(m_compiledEntries, 2, 10, QChar(u'0'));
    ++m_compiledEntries;

    ProjectMake compiler(m_project);
    compiler.verbosity = rootLevel();
    compiler.sdkIncludeDirectory = m_spec.sdkPath(u"usr/include"_s);
    compiler.process = process;
    compiler.sourceDirectory = source;
    compiler.objectDirectory = objectDirectory;
    compiler.rebuildAll = m_rebuildAll;
    compiler.referenceTime = m_project->projectFileTime();
    if (!compiler.compile()) {
        // Some failures are already in the project's error text.
        return compiler.errorString.isEmpty() ? false : m_project->raiseError(compiler.errorString);
    }

    m_rootImageArguments.reserve(m_rootImageArguments.size() + 4 * compiler.objects.size());
    for (const CompiledObject &object : std::as_const(compiler.objects))
        addFileToRootImage(object.sourceFile, object.objectFile);
    m_translationSources.append({source, compiler.lupdateSources});
    return true;
}
