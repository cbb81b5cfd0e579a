#include "engine/build.h"
#include "engine/project.h"
#include "tools/filestatus.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

QStringList verbosityLetters(int level)
{
    return level > 1 ? QStringList{u'-' + QString(level - 1, u'v')} : QStringList();
}

Tristate effectiveSetting(Tristate target, Tristate project)
{
    return target.isSet() ? target : project;
}

} // namespace

int Build::rootLevel() const
{
    return m_rootFilesystem.verbose >= 0 ? m_rootFilesystem.verbose : m_spec.verbose;
}

int Build::targetLevel(const TargetSpec &target) const
{
    return target.verbose >= 0 ? target.verbose : m_spec.verbose;
}

QString Build::firmwareStem(const TargetSpec &target) const
{
    return target.model + m_nameSuffix + m_versionSuffix;
}

QString Build::firmwareFile(const TargetSpec &target) const
{
    return m_spec.outputFilePath(firmwareStem(target) + u"-firmware.ztf"_s);
}

void Build::addFileToRootImage(const QString &destination, const QString &path)
{
    m_rootImageArguments << u"-D"_s << destination << u"-i"_s << QDir::toNativeSeparators(path);
}

bool Build::beginRootImage()
{
    if (!m_project->prepareTemporaryFile(u"root.romfs"_s, &m_temporaryImage))
        return false;
    m_rootImageArguments << verbosityLetters(rootLevel());
    m_rootImageArguments << u"-x"_s << u".svn"_s;
    m_rootImageArguments << u"-o"_s << QDir::toNativeSeparators(m_temporaryImage);
    m_rootImageArguments << u"--label"_s << m_rootFilesystem.label;
    if (m_rootFilesystem.includeBase.isOn()) {
        m_rootImageArguments << u"--merge"_s
                             << QDir::toNativeSeparators(m_spec.sdkPath(u"kernel/base.romfs"_s));
    }
    return true;
}

bool Build::packRootImage()
{
    return !m_hasRootFilesystem
           || m_project->makeImage(u"ztmkromfs"_s, m_rootImageArguments, m_temporaryImage,
                                   rootLevel());
}

bool Build::linkFirmware()
{
    if (!m_hasRootFilesystem)
        return true;
    for (const TargetSpec &target : m_spec.targets) {
        if (!link(target, m_temporaryImage, firmwareFile(target), m_spec.keyFile, m_spec.name,
                  targetLevel(target)))
            return false;
    }
    return true;
}

bool Build::buildInstallers()
{
    if (!m_project->prepareTemporaryFile(u"installer.romfs"_s, &m_temporaryImage))
        return false;
    for (const TargetSpec &target : m_spec.targets) {
        if (!effectiveSetting(target.buildInstaller, m_spec.buildInstaller).isOn())
            continue;
        // One level quieter than the firmware that the installer carries: deliberate.
        const int level = targetLevel(target) - (m_hasRootFilesystem ? 1 : 0);
        const QString output = m_spec.outputFilePath(firmwareStem(target) + u"-install.ztf"_s);
        const QString keyFile = m_spec.encryptInstaller.isOn() ? m_spec.keyFile : QString();
        const QString name = m_spec.name.isEmpty() ? QString() : m_spec.name + u" [Installer]"_s;
        if (!packInstallerImage(target, level)
            || !link(target, m_temporaryImage, output, keyFile, name, level))
            return false;
    }
    return true;
}

bool Build::packInstallerImage(const TargetSpec &target, int level)
{
    // Long option names here, "-o" and its like in the root image: deliberate.
    QStringList arguments = verbosityLetters(level);
    arguments << u"-x"_s << u".svn"_s;
    arguments << u"--out"_s << QDir::toNativeSeparators(m_temporaryImage);
    arguments << u"--label"_s << u"root"_s;
    arguments << u"--merge"_s
              << QDir::toNativeSeparators(m_spec.sdkPath(u"kernel/install.romfs"_s));
    bool installsSomething = false;
    const auto install = [&](const QString &destination, const QString &path) {
        arguments << u"--destination"_s << destination;
        arguments << u"--in"_s << QDir::toNativeSeparators(path);
        installsSomething = true;
    };
    if (m_hasRootFilesystem)
        install(u"/usr/share/firmware.ztf"_s, firmwareFile(target));
    if (effectiveSetting(target.includeMbr, m_spec.includeMbr).isOn()) {
        const QString bootBlock = m_spec.sdkPath(u"kernel/%1-boot.bin"_s.arg(target.model));
        if (FileStatus::of(bootBlock).isRegularFile())
            install(u"/usr/share/mbr.bin"_s, bootBlock);
    }
    if (!installsSomething)
        return m_project->raiseError(u"Refusing to build an installer that installs nothing."_s);
    return m_project->makeImage(u"ztmkromfs"_s, arguments, m_temporaryImage, level);
}

bool Build::link(const TargetSpec &target, const QString &image, const QString &output,
                 const QString &keyFile, const QString &name, int level)
{
    const QString kernel = m_spec.sdkPath(u"kernel/%1-kernel.bin"_s.arg(target.model));
    QStringList arguments;
    arguments << u"--kernel"_s << QDir::toNativeSeparators(kernel);
    arguments << u"--data"_s << QDir::toNativeSeparators(image);
    arguments << u"--output"_s << QDir::toNativeSeparators(output);
    if (!keyFile.isEmpty())
        arguments << u"-C"_s << QDir::toNativeSeparators(m_spec.projectFilePath(keyFile));
    if (!name.isEmpty())
        arguments << u"--name"_s << name;
    if (!m_versionText.isEmpty())
        arguments << u"--version"_s << m_versionText;
    return m_project->makeImage(u"ztlink"_s, arguments, output, level);
}
