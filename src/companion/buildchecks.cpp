#include "companion/checkedproject.h"

#include "companion/sdkathand.h"
#include "tools/tools.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString joined(const QString &directory, const QString &path)
{
    return QDir::isAbsolutePath(path) ? path : Tools::ensureDirectorySeparator(directory) + path;
}

QString knownModels(const ProjectSpec &spec)
{
    const QStringList models = modelsOf(spec.sdkCache);
    return models.isEmpty() ? u"none"_s : models.join(u", "_s);
}

void checkKernels(CheckedProject *project, const RehearsedBuild &build)
{
    qsizetype target = 0;
    for (const Command &command : build.commands()) {
        if (command.displayName != "ztlink"_L1 || target >= project->spec.targets.size())
            continue;
        const QString kernel = optionValue(command.arguments, u"--kernel"_s);
        if (!QFileInfo::exists(kernel)) {
            project->error(
                    project->places.attribute(u"Project/Target"_s, u"Model"_s, target), "kernel",
                    u"The SDK has no kernel %1"_s.arg(kernel),
                    u"Take a model that the SDK knows: %1."_s.arg(knownModels(project->spec)));
        }
        ++target; // the installers come behind all firmware
    }
}

void checkTools(CheckedProject *project, const RehearsedBuild &build)
{
    const QString directory = build.toolDirectory();
    if (directory.isEmpty())
        return; // they may be beside a ztmake that is elsewhere
    QStringList names;
    for (const Command &command : build.commands())
        names << command.displayName;
    names.removeDuplicates();
    for (const QString &name : std::as_const(names)) {
        const QString program = directory + u'/' + name;
        if (!isProgram(program)) {
            project->error(project->places.attribute(u"Project"_s, u"SDK"_s), "tool",
                           u"There is no program %1, which a build needs"_s.arg(program),
                           u"Put it there, executable, or take an SDK that has it."_s);
        }
    }
}

void checkArchives(CheckedProject *project, const RehearsedBuild &build)
{
    const QString sdk = project->spec.sdkPath({});
    QSet<QString> missing;
    for (const Command &command : build.commands()) {
        for (const QString &archive : optionValues(command.arguments, u"--merge"_s)) {
            if (archive.startsWith(sdk + u"kernel/"_s) && !QFileInfo::exists(archive))
                missing.insert(archive);
        }
    }
    for (const QString &archive : std::as_const(missing)) {
        project->error(project->places.element(u"Project/Filesystem"_s), "sdk",
                       u"The SDK has no %1"_s.arg(archive),
                       u"Take an SDK that has it, or remove IncludeBase or BuildInstaller."_s);
    }
}

void checkIncludes(CheckedProject *project, const RehearsedBuild &build)
{
    QSet<QString> seen;
    for (const Command &command : build.commands()) {
        if (command.displayName != "ztlpp"_L1)
            continue;
        for (const QString &directory : optionValues(command.arguments, u"-I"_s)) {
            // The build itself may make it, for a header out of the definitions.
            if (seen.contains(directory) || FileStatus::of(directory).exists())
                continue;
            seen.insert(directory);
            const auto place = project->places.elementWithText(u"Include"_s, directory);
            project->warn(
                    place.value_or(project->places.element(u"Project"_s)), "include",
                    u"There is no include directory %1"_s.arg(directory),
                    u"Correct the Include, which is relative to the directory in which ztmake is "
                    "started; or start ztmake in the project's directory."_s);
        }
    }
}

bool isLuaStep(const RehearsedBuild &build, const RehearsedStep &step)
{
    if (step.input.isEmpty())
        return false;
    const QString tool = step.command < 0 ? QString() : build.commands()[step.command].displayName;
    return tool.isEmpty() || tool == "ztlpp"_L1 || tool == "ztluac"_L1;
}

/// Outputs that several sources share, and outputs whose names a dot has cut.
void checkObjects(CheckedProject *project, const RehearsedBuild &build)
{
    const QString directory = Tools::ensureDirectorySeparator(project->spec.objectFilePath({}));
    QHash<QString, QString> inputs;
    QString outside;
    for (const RehearsedStep &step : build.steps()) {
        if (!isLuaStep(build, step))
            continue;
        const auto known = inputs.constFind(step.output);
        if (known != inputs.constEnd() && *known != step.input) {
            project->warn(
                    project->places.element(u"Project/Filesystem"_s), "same-object",
                    u"%1 and %2 share the object %3: the firmware gets one of them twice"_s.arg(
                            *known, step.input, step.output),
                    u"Merge a Directory instead of the File, rename one of the sources, or keep "
                    u"dots "
                    "out of the path of the object directory."_s);
        }
        inputs.insert(step.output, step.input);
        if (outside.isEmpty() && !step.output.startsWith(directory))
            outside = step.output;
    }
    if (!outside.isEmpty()) {
        project->warn(
                project->places.attribute(u"Project"_s, u"ObjectDirectory"_s), "object-path",
                u"A dot in the path of the object directory cuts off a name: the object becomes "
                "%1"_s.arg(outside),
                u"Merge a Directory instead of the File, or keep dots out of the path."_s);
    }
}

/// @return the first Lua output of a build in each directory, by the directory's real path
QMap<QString, QString> outputDirectories(const RehearsedBuild &build)
{
    QMap<QString, QString> named;
    for (const RehearsedStep &step : build.steps()) {
        if (!isLuaStep(build, step))
            continue;
        QString &first = named[QFileInfo(step.output).path()];
        if (first.isEmpty() || step.output < first)
            first = step.output;
    }
    QMap<QString, QString> real;
    for (auto entry = named.constBegin(); entry != named.constEnd(); ++entry)
        real.insert(CheckedProject::realPath(entry.key()), entry.value());
    return real;
}

/// Outputs that go where sources are merged, although the object directory is not there.
void checkOutputsInMerges(CheckedProject *project, const RehearsedBuild &build)
{
    const QMap<QString, QString> directories = outputDirectories(build);
    const QString objects = CheckedProject::realPath(project->spec.objectFilePath({}));
    const QList<MergeSpec> merges = project->merges();
    for (qsizetype i = 0; i < merges.size(); ++i) {
        const QString source =
                CheckedProject::realPath(project->spec.projectFilePath(merges[i].source));
        const auto found = std::find_if(directories.keyBegin(), directories.keyEnd(),
                                        [&source](const QString &directory) {
                                            return CheckedProject::isInside(directory, source);
                                        });
        if (found != directories.keyEnd() && !CheckedProject::isInside(objects, source)) {
            project->warn(
                    project->mergePlace(i), "merge",
                    u"A build writes its objects into the merged directory, and packs them: %1"_s
                            .arg(directories.value(*found)),
                    u"Give the project another ObjectDirectory."_s);
        }
    }
}

QList<Command> scans(const RehearsedBuild &build)
{
    QList<Command> found;
    for (const Command &command : build.commands()) {
        if (command.displayName == "ztlupdate"_L1)
            found << command;
    }
    return found;
}

/// @return a path as the tool of @p command sees it; a build makes the directory it runs in
QString seenBy(const Command &command, const QString &path)
{
    const QString seen = joined(command.workDir, path);
    return QFileInfo::exists(command.workDir) ? seen : QDir::cleanPath(seen);
}

/// The scan runs in the directory of the translations, one level below the project's.
/// @return whether the scan finds the sources
bool checkScanPaths(CheckedProject *project, const QList<Command> &commands)
{
    const QString cure =
            u"Start ztmake in the project's directory, by the bare name of the project "
            "file, and keep Source and ObjectDirectory relative and inside."_s;
    const Place place = project->places.element(u"Project/Translation"_s);
    for (const Command &command : commands) {
        const QString source = seenBy(command, command.arguments.last());
        // The build itself may make it, out of the definitions.
        if (!QFileInfo::exists(source) && !FileStatus::of(QDir::cleanPath(source)).exists()) {
            project->error(place, "translation-path",
                           u"The scan for texts would look for %1"_s.arg(QDir::cleanPath(source)),
                           cure);
            return false;
        }
    }
    for (const Command &command : commands) {
        const QString report = seenBy(command, optionValue(command.arguments, u"--xml-report"_s));
        const QString meant = project->spec.translationReport();
        if (CheckedProject::realPath(QDir::cleanPath(QFileInfo(report).absolutePath()))
            != CheckedProject::realPath(QFileInfo(meant).absolutePath())) {
            project->warn(
                    project->places.attribute(u"Project"_s, u"ObjectDirectory"_s),
                    "translation-path",
                    u"The translation report would be written to %1: --report would show nothing"_s
                            .arg(QDir::cleanPath(report)),
                    cure);
            return true;
        }
    }
    return true;
}

void checkBaseDirectory(CheckedProject *project, const QList<Command> &commands)
{
    if (commands.isEmpty() || project->spec.translationBaseDir.isEmpty())
        return;
    for (const Command &command : commands) {
        const QDir base(seenBy(command, optionValue(command.arguments, u"-B"_s)));
        if (!base.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot))
            return;
    }
    project->warn(
            project->places.attribute(u"Project/Translation"_s, u"BaseDir"_s), "base-directory",
            u"No merged directory has anything in %1: texts are filed under bare file names"_s.arg(
                    project->spec.translationBaseDir),
            u"Let BaseDir name the directory, on the device, below which the Lua modules are."_s);
}

} // namespace

void checkBuild(CheckedProject *project)
{
    RehearsedBuild build(project->spec, project->opened.status);
    const bool isExplained =
            std::any_of(project->findings.begin(), project->findings.end(),
                        [](const Finding &finding) { return finding.check == "lone-copy"_L1; });
    if (!build.rehearse(Project::Operation::BuildAll) && !isExplained) {
        project->error(project->places.element(u"Project"_s), "build",
                       u"A build would stop: %1"_s.arg(build.errorText()),
                       u"ztmake(1) explains the message under DIAGNOSTICS."_s);
    }
    checkTools(project, build);
    checkKernels(project, build);
    checkArchives(project, build);
    checkIncludes(project, build);
    checkPreprocessing(project, build);
    checkObjects(project, build);
    checkOutputsInMerges(project, build);
    const QList<Command> commands = scans(build);
    if (checkScanPaths(project, commands))
        checkBaseDirectory(project, commands);
}
