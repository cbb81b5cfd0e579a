#include "build/installerimage.h"

#include "engine/arguments.h"
#include "engine/project.h"
#include "files/filestatus.h"

using namespace Qt::StringLiterals;

bool InstallerImage::begin(QString *temporaryFile)
{
    if (!m_project->prepareTemporaryFile(u"installer.romfs"_s, temporaryFile))
        return false;
    m_path = *temporaryFile;
    return true;
}

QString InstallerImage::bootRecord(const TargetSpec &target) const
{
    const ProjectSpec &spec = m_project->spec();
    if (!target.includeMbr.orElse(spec.includeMbr).isOn())
        return {};
    const QString path = spec.sdkPath(u"kernel/%1-boot.bin"_s.arg(target.model));
    return FileStatus::of(path).isRegularFile() ? path : QString();
}

bool InstallerImage::pack(const TargetSpec &target, const QString &firmware, int verbose)
{
    // The SDK's image tool is known to get the long option names here, and the short ones for the
    // root image.
    QStringList arguments = verbosityLetters(verbose);
    arguments << u"-x"_s << u".svn"_s;
    arguments << pathOption(u"--out"_s, m_path);
    arguments << u"--label"_s << u"root"_s;
    arguments << pathOption(u"--merge"_s, m_project->spec().sdkPath(u"kernel/install.romfs"_s));
    if (!firmware.isEmpty()) {
        arguments << u"--destination"_s << u"/usr/share/firmware.ztf"_s;
        arguments << pathOption(u"--in"_s, firmware);
    }
    const QString record = bootRecord(target);
    if (!record.isEmpty()) {
        arguments << u"--destination"_s << u"/usr/share/mbr.bin"_s;
        arguments << pathOption(u"--in"_s, record);
    }
    if (firmware.isEmpty() && record.isEmpty())
        return m_project->raiseError(u"Refusing to build an installer that installs nothing."_s);
    return m_project->makeImage(m_path, m_project->toolCommand(u"ztmkromfs"_s, arguments, verbose));
}
