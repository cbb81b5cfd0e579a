#include "model/projectspec.h"

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

void ProjectSpec::clear()
{
    for (QString *text : {&projectFile, &projectDirectory, &objectDirectory, &outputDirectory,
                          &keyFile, &tagMap, &stateFile_, &version, &name, &startupFile, &sdk,
                          &sdkCache, &mtd16Source, &mtd16Header.value, &mtd16Lua.value})
        text->clear();
    for (Tristate *setting :
         {&interactive, &buildInstaller, &includeMbr, &encryptInstaller, &svnversion})
        *setting = {};
    verbose = -1;
    process.clear();
    filesystems.clear();
    targets.clear();
    modified = false;
    mtd16 = {0};
    translationBaseDir = u"/usr/lib/lua"_s;
}

ProcessSpec ProjectSpec::processOf(const FilesystemSpec &filesystem, const MergeSpec &merge) const
{
    ProcessSpec result;
    result.mergeFrom(process);
    result.mergeFrom(filesystem.process);
    result.mergeFrom(merge.process);
    return result;
}

TargetSpec *ProjectSpec::findTargetByName(const QString &model)
{
    const auto found = std::find_if(targets.begin(), targets.end(), [&](const TargetSpec &target) {
        return target.model == model;
    });
    return found == targets.end() ? nullptr : &*found;
}

bool ProjectSpec::operator==(const ProjectSpec &other) const
{
    const auto compared = [](const ProjectSpec &spec) {
        return std::tie(spec.projectFile, spec.projectDirectory, spec.objectDirectory,
                        spec.outputDirectory, spec.keyFile, spec.tagMap, spec.stateFile_,
                        spec.version, spec.name, spec.startupFile, spec.interactive,
                        spec.buildInstaller, spec.includeMbr, spec.encryptInstaller,
                        spec.filesystems, spec.targets, spec.defaultLanguage, spec.languages,
                        spec.translation, spec.translationBaseDir, spec.process, spec.svnversion,
                        spec.verbose, spec.mtd16, spec.mtd16Source, spec.mtd16Header, spec.mtd16Lua,
                        spec.sdk);
    };
    return compared(*this) == compared(other);
}
