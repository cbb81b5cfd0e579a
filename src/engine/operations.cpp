#include "engine/build.h"
#include "engine/project.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

/// An operation that is no build runs at the default level when the project sets none.
int operationVerbosity(const ProjectSpec &spec)
{
    return spec.verbose < 0 ? 1 : spec.verbose;
}

} // namespace

bool Project::buildProject(bool rebuildAll)
{
    Build build(this, rebuildAll);
    return build.makeDirectories() && build.recoverFromKill() && build.nameFirmware()
           && build.compileDefinitions() && build.selectRootFilesystem() && build.beginRootImage()
           && build.addMergeEntries() && build.addTranslations() && build.addVersionFile()
           && build.addStartupScript() && build.packRootImage() && cleanFirmwareFolder()
           && build.linkFirmware() && build.buildInstallers();
}

bool Project::clearObsolete()
{
    const QString reportPath = m_spec.objectFilePath(u"translations/report.xml"_s);
    QFile::remove(reportPath);

    // The tool runs in the translation directory. The fixed "../" leads to the report only for a
    // project file in the working directory: deliberate.
    QStringList arguments{u"--clearobsolete"_s, u"--xml-report"_s,
                          QDir::toNativeSeparators(u"../"_s + reportPath)};
    for (const QString &language : m_spec.languages)
        arguments << u"--ts"_s << QDir::toNativeSeparators(language + u".ts"_s);
    return runToolIn(m_spec.tsFilePath({}), u"ztlupdate"_s, arguments, operationVerbosity(m_spec));
}

bool Project::cleanFirmwareFolder()
{
    const int verbosity = operationVerbosity(m_spec);
    const QString safeName = Tools::safeFileName(m_spec.name);
    const QString prefix = safeName.isEmpty() ? QString() : u"*-"_s + safeName;
    // A name that makes no valid wildcard ("D[") matches nothing; Qt would complain for each file.
    if (!QRegularExpression::fromWildcard(prefix).isValid())
        return true;
    const QDir folder(m_spec.outputFilePath({}));
    const QStringList files =
            folder.entryList({prefix + u"*-firmware.ztf"_s, prefix + u"*-install.ztf"_s},
                             QDir::Files, QDir::Unsorted);
    for (const QString &file : files) {
        if (verbosity > 1)
            msg(u"Removing "_s + file);
        QFile::remove(folder.filePath(file));
    }
    return true;
}
