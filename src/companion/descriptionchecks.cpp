#include "companion/checkedproject.h"

#include "companion/imagefiles.h"
#include "tools/sdkdir.h"
#include "tools/tools.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool exists(const QString &path)
{
    return QFileInfo::exists(path.isEmpty() ? u"."_s : path);
}

QString placesOfSdk(const ProjectSpec &spec)
{
    if (spec.sdk.isEmpty()) {
        const QString tree = qEnvironmentVariable("ZELTADIR");
        return tree.isEmpty() ? u"ZELTADIR is not set"_s
                              : Tools::ensureDirectorySeparator(tree) + u"src/sdk"_s;
    }
    QStringList looked;
    spec.searchSdk([&looked](const QString &candidate) {
        looked << candidate;
        return false;
    });
    return looked.join(u", "_s);
}

void checkTargets(CheckedProject *project)
{
    const QList<TargetSpec> &targets = project->spec.targets;
    if (targets.isEmpty()) {
        project->warn(project->places.element(u"Project"_s), "target",
                      u"There is no Target: nothing is linked"_s,
                      u"Add a <Target Model=\"…\"/> for each device model."_s);
    }
    QHash<QString, QString> models; // by the paths of their firmware
    for (qsizetype i = 0; i < targets.size(); ++i) {
        const QString &model = targets[i].model;
        const Place place = project->places.attribute(u"Project/Target"_s, u"Model"_s, i);
        if (model.contains(u'/')) {
            project->warn(
                    place, "target",
                    u"The slash in the model %1 becomes part of the path of its firmware"_s.arg(
                            model),
                    u"Write the bare name of the model."_s);
        }
        const QString path = QDir::cleanPath(model);
        const auto known = models.constFind(path);
        if (known != models.constEnd()) {
            const QString text =
                    *known == model
                            ? u"The model %1 has a Target already: its firmware is written twice"_s
                                      .arg(model)
                            : u"The models %1 and %2 have one firmware file, which is written "
                              "twice"_s.arg(*known, model);
            project->warn(place, "target", text, u"Remove one of the two."_s);
        }
        models.insert(path, model);
    }
}

bool buildsInstaller(const ProjectSpec &spec, const TargetSpec &target)
{
    return target.buildInstaller.orElse(spec.buildInstaller).isOn();
}

void checkBootRecords(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    if (spec.sdkCache.isEmpty())
        return;
    for (qsizetype i = 0; i < spec.targets.size(); ++i) {
        const TargetSpec &target = spec.targets[i];
        const QString record = spec.sdkPath(u"kernel/%1-boot.bin"_s.arg(target.model));
        if (buildsInstaller(spec, target) && target.includeMbr.orElse(spec.includeMbr).isOn()
            && !exists(record)) {
            project->warn(project->places.element(u"Project/Target"_s, i), "boot-record",
                          u"The SDK has no boot block %1: the installer is made without one"_s.arg(
                                  record),
                          u"Take an SDK that has it, or remove IncludeMBR."_s);
        }
    }
}

/// A build removes the earlier firmware of the project, which it knows by the name.
void checkName(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    if (Tools::safeFileName(spec.name).isEmpty()) {
        project->warn(project->places.attribute(u"Project"_s, u"Name"_s), "name",
                      u"The project has no name that file names can hold: each build removes the "
                      "firmware of all projects from %1"_s.arg(spec.outputFilePath({})),
                      u"Give the Project a Name of its own."_s);
    }
}

void checkStartup(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    if (spec.filesystems.isEmpty())
        return;
    const Place place = project->places.element(u"Project/Startup"_s);
    const bool isThere = place != project->places.element(u"Project"_s);
    if (!spec.startupFile.isEmpty() && imageHolds(spec, spec.startupFile) == Held::No) {
        project->warn(
                project->places.attribute(u"Project/Startup"_s, u"File"_s), "startup",
                u"No merge puts %1 into the image: the device has nothing to start"_s.arg(
                        spec.startupFile),
                u"Correct File, which is a path on the device, or the Destination of a Merge."_s);
    }
    if (isThere && spec.startupFile.isEmpty()
        && imageHolds(spec, u"/etc/autoexec.lua"_s) == Held::No) {
        project->warn(place, "startup", u"Startup has no File: there is no start-up script"_s,
                      u"Let File name the program, as a path on the device."_s);
    }
}

/// What a build makes itself comes behind all merges.
void checkReplacedFile(CheckedProject *project, const QString &file)
{
    for (const qsizetype number : mergesThatHold(project->spec, file)) {
        project->warn(project->mergePlace(number), "generated",
                      u"A build replaces %1 of this merge by its own"_s.arg(file),
                      u"Remove or rename the file; to start a script of your own from "
                      "/etc/autoexec.lua, remove Startup."_s);
    }
}

void checkReplacedFiles(CheckedProject *project)
{
    checkReplacedFile(project, u"/etc/version"_s);
    if (!project->spec.startupFile.isEmpty())
        checkReplacedFile(project, u"/etc/autoexec.lua"_s);
}

void checkInstallerSettings(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    const auto warn = [project](const Place &place, const QString &setting) {
        project->warn(place, "installer",
                      setting + u" has no effect: no installer is built for it"_s,
                      u"Add BuildInstaller=\"true\", or remove %1."_s.arg(setting));
    };
    const bool isAnyBuilt =
            std::any_of(spec.targets.begin(), spec.targets.end(),
                        [&](const TargetSpec &target) { return buildsInstaller(spec, target); });
    if (spec.encryptInstaller.isOn() && !isAnyBuilt)
        warn(project->places.attribute(u"Project"_s, u"EncryptInstaller"_s), u"EncryptInstaller"_s);
    if (spec.includeMbr.isOn() && !isAnyBuilt)
        warn(project->places.attribute(u"Project"_s, u"IncludeMBR"_s), u"IncludeMBR"_s);
    for (qsizetype i = 0; i < spec.targets.size(); ++i) {
        if (spec.targets[i].includeMbr.isOn() && !buildsInstaller(spec, spec.targets[i]))
            warn(project->places.attribute(u"Project/Target"_s, u"IncludeMBR"_s, i),
                 u"IncludeMBR"_s);
    }
}

void checkLanguages(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    if (!spec.languages.isEmpty() && !spec.lupdateEnabled()) {
        project->warn(project->places.element(u"Project/Translation"_s), "language",
                      u"Translations are not enabled: the languages are left out"_s,
                      u"Write <Translation Enabled=\"true\">."_s);
        return;
    }
    for (qsizetype i = 0; i < spec.languages.size(); ++i) {
        const QString source = spec.tsFilePath(spec.languages[i] + u".ts"_s);
        if (!spec.languages[i].isEmpty() && !exists(source)) {
            project->warn(project->places.element(u"Project/Translation/Language"_s, i), "language",
                          u"There is no %1: no text is translated into this language"_s.arg(source),
                          u"Build once, which makes the file, and have it translated; or correct "
                          "the Language."_s);
        }
    }
}

/// Translation sources that are there without their Language: the default one has perhaps none.
void checkOtherTranslations(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    if (!spec.lupdateEnabled())
        return;
    QStringList known{QDir::cleanPath(spec.defaultLanguage)};
    for (const QString &language : spec.languages)
        known << QDir::cleanPath(language);
    const QDir directory(spec.tsFilePath({}));
    for (const QString &name : directory.entryList({u"*.ts"_s}, QDir::Files, QDir::Name)) {
        const QString language = name.chopped(3);
        if (!known.contains(language)) {
            project->report(
                    Finding::Severity::Note, project->opened.file,
                    project->places.element(u"Project/Translation"_s), "language",
                    u"%1 has no effect: its language is not named"_s.arg(directory.filePath(name)),
                    u"Add <Language>%1</Language>, or remove the file."_s.arg(language));
        }
    }
}

/// The catalogues are placed below the last destination.
void checkCatalogues(CheckedProject *project)
{
    const QList<MergeSpec> merges = project->merges();
    if (!project->spec.lupdateEnabled() || project->spec.languages.isEmpty() || merges.isEmpty())
        return;
    const QString &last = merges.last().destination;
    if (QDir::cleanPath(u'/' + last) != "/"_L1) {
        project->warn(project->mergePlace(merges.size() - 1), "catalogue",
                      u"The catalogues go to %1/usr/lib/translations, below the destination of the "
                      "last Merge"_s.arg(last),
                      u"Let the last Merge be one with the Destination /."_s);
    }
}

} // namespace

bool checkSdk(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    spec.refreshSdkCache();
    const QString directory = spec.sdkCache;
    if (!directory.isEmpty() && QFileInfo(directory).isDir())
        return true;
    const QString looked = directory.isEmpty() ? placesOfSdk(spec) : directory;
    QString cure = u"Install it there, correct SDK, or name the directory that holds the SDKs in "
                   "the environment variable ZELTASDK."_s;
    if (spec.sdk.isEmpty())
        cure = u"Name the version of an SDK, as in SDK=\"2.1\", or let the environment variable "
               "ZELTADIR name the directory that holds src/sdk."_s;
    else if (!directory.isEmpty())
        cure = u"Install it there, or correct SDK; a version is looked for in ZELTASDK, too."_s;
    project->error(project->places.attribute(u"Project"_s, u"SDK"_s), "sdk",
                   u"The SDK was not found; looked at: %1"_s.arg(looked), cure);
    return false;
}

void checkDescription(CheckedProject *project)
{
    checkTargets(project);
    if (project->spec.filesystems.isEmpty()) {
        project->warn(project->places.element(u"Project"_s), "filesystem",
                      u"There is no Filesystem: nothing is packed and linked"_s,
                      u"Add a <Filesystem> with what is to be merged into the image."_s);
    }
    checkName(project);
    checkBootRecords(project);
    checkInstallerSettings(project);
    checkStartup(project);
    checkReplacedFiles(project);
    checkLanguages(project);
    checkOtherTranslations(project);
    checkCatalogues(project);
}
