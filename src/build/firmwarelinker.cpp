#include "build/firmwarelinker.h"

#include "engine/arguments.h"
#include "engine/project.h"
#include "tools/tools.h"

using namespace Qt::StringLiterals;

namespace {

QString withDash(const QString &text)
{
    return text.isEmpty() ? QString() : u'-' + text;
}

} // namespace

FirmwareLinker::FirmwareLinker(Project *project)
    : m_project(project), m_versionText(project->generateVersion())
{
    const QString unknownRevision = u"#?"_s;
    QString fileVersion = m_versionText;
    if (fileVersion.endsWith(unknownRevision))
        fileVersion.chop(unknownRevision.size());
    m_stemEnd = withDash(Tools::safeFileName(project->spec().name))
                + withDash(Tools::safeFileName(fileVersion));
}

QString FirmwareLinker::firmwareFile(const TargetSpec &target) const
{
    return m_project->spec().outputFilePath(target.model + m_stemEnd + u"-firmware.ztf"_s);
}

QString FirmwareLinker::installerFile(const TargetSpec &target) const
{
    return m_project->spec().outputFilePath(target.model + m_stemEnd + u"-install.ztf"_s);
}

bool FirmwareLinker::linkFirmware(const TargetSpec &target, const QString &rootImage)
{
    const ProjectSpec &spec = m_project->spec();
    return link({.model = target.model,
                 .image = rootImage,
                 .output = firmwareFile(target),
                 .keyFile = spec.keyFile,
                 .name = spec.name,
                 .verbose = spec.inheritedLevel(target.verbose)});
}

bool FirmwareLinker::linkInstaller(const TargetSpec &target, const QString &installerImage,
                                   int verbose)
{
    const ProjectSpec &spec = m_project->spec();
    return link({.model = target.model,
                 .image = installerImage,
                 .output = installerFile(target),
                 .keyFile = spec.encryptInstaller.isOn() ? spec.keyFile : QString(),
                 .name = spec.name.isEmpty() ? QString() : spec.name + u" [Installer]"_s,
                 .verbose = verbose});
}

bool FirmwareLinker::link(const FirmwareLink &link)
{
    const ProjectSpec &spec = m_project->spec();
    QStringList arguments;
    arguments << pathOption(u"--kernel"_s, spec.sdkPath(u"kernel/%1-kernel.bin"_s.arg(link.model)));
    arguments << pathOption(u"--data"_s, link.image);
    arguments << pathOption(u"--output"_s, link.output);
    if (!link.keyFile.isEmpty())
        arguments << pathOption(u"-C"_s, spec.projectFilePath(link.keyFile));
    if (!link.name.isEmpty())
        arguments << u"--name"_s << link.name;
    if (!m_versionText.isEmpty())
        arguments << u"--version"_s << m_versionText;
    return m_project->makeImage(link.output,
                                m_project->toolCommand(u"ztlink"_s, arguments, link.verbose));
}
