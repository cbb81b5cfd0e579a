#include "build/build.h"

#include "build/generatedfiles.h"
#include "compile/projectmtd16.h"
#include "engine/project.h"
#include "files/changes.h"
#include "tools/tools.h"

#include <utility>

using namespace Qt::StringLiterals;

Build::Build(Project *project, bool rebuildAll)
    : m_project(project), m_spec(project->spec()), m_rebuildAll(rebuildAll)
{
}

bool Build::run()
{
    return claimObjectDirectory() && recoverFromKill() && makeDirectories() && nameFirmware()
           && compileDefinitions() && selectRootFilesystem() && beginRootImage()
           && addMergeEntries() && addTranslations() && addVersionFile() && addStartupScript()
           && packRootImage() && m_project->cleanFirmwareFolder() && linkFirmware()
           && buildInstallers();
}

bool Build::claimObjectDirectory()
{
    const QString directory = m_spec.objectFilePath({});
    return m_project->claimObjectDirectory([&] { return makeDirectory(directory); });
}

bool Build::makeDirectories()
{
    return !m_spec.lupdateEnabled()
           || (makeDirectory(m_spec.tsFilePath({})) && makeDirectory(m_spec.qmFilePath({})));
}

bool Build::makeDirectory(const QString &directory)
{
    if (Changes::makeDirectory(directory))
        return true;
    return m_project->raiseError(u"Cannot make directory %1"_s.arg(directory));
}

bool Build::recoverFromKill()
{
    return m_project->recoverFromKill(&m_rebuildAll);
}

bool Build::nameFirmware()
{
    m_linker.emplace(m_project);
    return m_project->checkInterruption();
}

bool Build::compileDefinitions()
{
    if (!m_spec.mtd16Enabled())
        return true;
    ProjectMtd16 compiler(m_project);
    compiler.definitionFile = m_spec.mtd16DefinitionPath();
    compiler.headerFile = m_spec.mtd16Header.effectiveValue();
    compiler.luaFile = m_spec.mtd16Lua.effectiveValue();
    compiler.verbosity = m_spec.verbose;
    compiler.rebuildAll = m_rebuildAll;
    return compiler.compile() || m_project->raiseError(compiler.errorString);
}

bool Build::hasRootFilesystem() const
{
    return !m_spec.filesystems.isEmpty();
}

bool Build::selectRootFilesystem()
{
    const QString rootLabel = u"root"_s;
    if (hasRootFilesystem())
        m_rootFilesystem = m_spec.filesystems.first();
    if (m_rootFilesystem.label.isEmpty())
        m_rootFilesystem.label = rootLabel;
    if (m_spec.filesystems.size() <= 1 && m_rootFilesystem.label == rootLabel)
        return true;
    return m_project->raiseError(
            u"Project must contain exactly one filesystem, labelled \"root\"."_s);
}

bool Build::beginRootImage()
{
    m_rootImage.emplace(m_project, m_rootFilesystem);
    m_translations.emplace(m_project, m_rebuildAll);
    return m_rootImage->begin(&m_temporaryFile);
}

bool Build::addMergeEntries()
{
    QString destination;
    for (const MergeSpec &merge : std::as_const(m_rootFilesystem.merges)) {
        if (merge.destination != destination) {
            destination = merge.destination;
            m_rootImage->setDestination(destination);
        }
        const QString source = m_spec.projectFilePath(merge.source);
        if (merge.type == MergeSpec::Type::Archive) {
            m_rootImage->addArchive(source);
            continue;
        }
        m_rootImage->addSource(source);
        if (!compileEntry(merge, source))
            return false;
    }
    if (!m_project->jobs().finish())
        return false;
    warnOfUndecodableFiles();
    return true;
}

bool Build::compileEntry(const MergeSpec &merge, const QString &source)
{
    const ProcessSpec process = m_spec.processOf(m_rootFilesystem, merge);
    if (!process.isActive())
        return true;

    QString objectDirectory = m_spec.objectFilePath(Tools::safeFileName(m_rootFilesystem.label));
    if (!m_compilers.empty())
        objectDirectory += u"%1"_s.arg(m_compilers.size(), 2, 10, QChar(u'0'));

    ProjectMake &compiler = m_compilers.emplace_back(m_project);
    compiler.verbosity = m_rootImage->level();
    compiler.sdkIncludeDirectory = m_spec.sdkPath(u"usr/include"_s);
    compiler.process = process;
    compiler.sourceDirectory = source;
    compiler.objectDirectory = objectDirectory;
    compiler.rebuildAll = m_rebuildAll;
    compiler.referenceTime = m_project->projectFileTime();
    const bool ok = compiler.compile();
    m_undecodableFiles += compiler.undecodableFiles;
    if (!ok) {
        // Some failures are already in the project's error text.
        return compiler.errorString.isEmpty() ? false : m_project->raiseError(compiler.errorString);
    }

    // The compiler stays until the jobs have ended, the list need not.
    const QList<CompiledObject> objects = std::exchange(compiler.objects, {});
    for (const CompiledObject &object : objects)
        m_rootImage->addFile(object.sourceFile, object.objectFile);
    m_translations->addSources({source, compiler.lupdateSources});
    return true;
}

void Build::warnOfUndecodableFiles()
{
    if (m_undecodableFiles == 0)
        return;
    m_project->msg(u"Warning: Lua files with names that are not UTF-8 are not compiled: %1"_s.arg(
            m_undecodableFiles));
}

bool Build::addTranslations()
{
    if (!m_spec.lupdateEnabled())
        return true;
    if (!m_translations->update())
        return false;
    m_translations->addTo(&*m_rootImage);
    return true;
}

bool Build::addVersionFile()
{
    return addGeneratedFile(u"/etc/version"_s, u"version.txt"_s,
                            m_linker->versionText().toUtf8() + '\n');
}

bool Build::addStartupScript()
{
    return m_spec.startupFile.isEmpty()
           || addGeneratedFile(u"/etc/autoexec.lua"_s, u"autoexec.lua"_s, startupScript(m_spec));
}

bool Build::addGeneratedFile(const QString &destination, const QString &name,
                             const QByteArray &content)
{
    const QString path = m_spec.objectFilePath(name);
    if (!m_project->checkNoInput(path, FileStatus::of(path)))
        return false;
    Changes::separateLinks(path);
    m_project->making(path, {}, Staleness::Always);
    QString error;
    if (!writeGeneratedFile(path, content, &error))
        return m_project->raiseError(error);
    m_rootImage->addFile(destination, path);
    return true;
}

bool Build::packRootImage()
{
    return !hasRootFilesystem() || m_rootImage->pack();
}

bool Build::linkFirmware()
{
    return !hasRootFilesystem() || m_linker->linkFirmware(m_rootImage->path());
}

bool Build::buildInstallers()
{
    InstallerImage image(m_project);
    if (!image.begin(&m_temporaryFile))
        return false;
    for (const TargetSpec &target : m_spec.targets) {
        if (target.buildInstaller.orElse(m_spec.buildInstaller).isOn()
            && !buildInstaller(target, &image))
            return false;
    }
    return true;
}

bool Build::buildInstaller(const TargetSpec &target, InstallerImage *image)
{
    // One level quieter than the firmware that the installer carries, so that a verbose build is
    // about the firmware.
    const int level = m_spec.inheritedLevel(target.verbose) - (hasRootFilesystem() ? 1 : 0);
    const QString firmware = hasRootFilesystem() ? m_linker->firmwareFile(target) : QString();
    return image->pack(target, firmware, level)
           && m_linker->linkInstaller(target, image->path(), level);
}
