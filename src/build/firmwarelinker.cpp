#include "build/firmwarelinker.h"

#include "engine/arguments.h"
#include "engine/project.h"
#include "tools/tools.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString withDash(const QString &text)
{
    return text.isEmpty() ? QString() : u'-' + text;
}

class LinkJob final : public Job
{
public:
    LinkJob(Project *project, QString output, Command command)
        : m_project(project), m_output(std::move(output)), m_command(std::move(command))
    {
    }

    QString label() const override { return m_output; }
    QStringList outputs() const override { return {m_output}; }

    bool next(std::optional<Command> *command) override
    {
        *command = std::exchange(m_command, {});
        return !*command || m_project->beginImage(m_output);
    }

    void ended(const CommandResult &result) override { m_project->imageEnded(m_output, result); }

private:
    Project *m_project;
    QString m_output;
    std::optional<Command> m_command;
};

} // namespace

QStringList firmwareWildcards(const ProjectSpec &spec)
{
    const QString safeName = Tools::safeFileName(spec.name);
    const QString prefix = safeName.isEmpty() ? QString() : u"*-"_s + safeName;
    // A name that makes no valid wildcard ("D[") matches nothing; Qt would complain for each file.
    if (!QRegularExpression::fromWildcard(prefix).isValid())
        return {};
    return {prefix + u"*-firmware.ztf"_s, prefix + u"*-install.ztf"_s};
}

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

bool FirmwareLinker::linkFirmware(const QString &rootImage)
{
    const ProjectSpec &spec = m_project->spec();
    JobQueue &jobs = m_project->jobs();
    const auto link = [&](const TargetSpec &target) {
        const QString output = firmwareFile(target);
        Command command = linkCommand({.model = target.model,
                                       .image = rootImage,
                                       .output = output,
                                       .keyFile = spec.keyFile,
                                       .name = spec.name,
                                       .verbose = spec.inheritedLevel(target.verbose)});
        return jobs.add(std::make_unique<LinkJob>(m_project, output, std::move(command)));
    };
    const bool ok = std::all_of(spec.targets.begin(), spec.targets.end(), link);
    return jobs.finish() && ok;
}

bool FirmwareLinker::linkInstaller(const TargetSpec &target, const QString &installerImage,
                                   int verbose)
{
    const ProjectSpec &spec = m_project->spec();
    const QString output = installerFile(target);
    return m_project->makeImage(
            output,
            linkCommand({.model = target.model,
                         .image = installerImage,
                         .output = output,
                         .keyFile = spec.encryptInstaller.isOn() ? spec.keyFile : QString(),
                         .name = spec.name.isEmpty() ? QString() : spec.name + u" [Installer]"_s,
                         .verbose = verbose}));
}

Command FirmwareLinker::linkCommand(const FirmwareLink &link) const
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
    return m_project->toolCommand(u"ztlink"_s, arguments, link.verbose);
}
