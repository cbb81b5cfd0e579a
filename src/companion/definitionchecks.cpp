#include "companion/checkedproject.h"

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// @return whether there is something that an MTD16 element without Enabled is to switch on
bool areDefinitionsGiven(const ProjectSpec &spec)
{
    return !spec.mtd16Source.isEmpty() || !spec.mtd16Header.value.isEmpty()
           || !spec.mtd16Lua.value.isEmpty() || QFileInfo::exists(spec.mtd16DefinitionPath());
}

void checkSwitch(CheckedProject *project, const Place &place)
{
    const ProjectSpec &spec = project->spec;
    const bool isThere = place != project->places.element(u"Project"_s);
    if (isThere && !spec.mtd16.isSet() && areDefinitionsGiven(spec)) {
        project->warn(place, "definitions",
                      u"MTD16 is not enabled: %1 has no effect"_s.arg(spec.mtd16DefinitionPath()),
                      u"Write <MTD16 Enabled=\"true\">, or \"false\" if that is meant."_s);
    }
}

bool isMerged(CheckedProject *project, const QString &path)
{
    const QList<MergeSpec> merges = project->merges();
    const QString real = CheckedProject::realPath(path);
    return std::any_of(merges.begin(), merges.end(), [&](const MergeSpec &merge) {
        const QString source = project->spec.projectFilePath(merge.source);
        return merge.type != MergeSpec::Type::Archive
               && CheckedProject::isInside(real, CheckedProject::realPath(source));
    });
}

/// Who needs the header alone has a module, too, and need not merge it.
void checkModule(CheckedProject *project, const Place &place)
{
    const DefaultString &lua = project->spec.mtd16Lua;
    if (project->spec.filesystems.isEmpty() || isMerged(project, lua.effectiveValue()))
        return;
    project->report(lua.value.isEmpty() ? Finding::Severity::Note : Finding::Severity::Warning,
                    project->opened.file, place, "definitions",
                    u"No merge holds the module %1: it does not get into the image"_s.arg(
                            lua.effectiveValue()),
                    u"Let Lua name a file in a merged directory."_s);
}

void checkOutputs(CheckedProject *project, const Place &place)
{
    const QString &header = project->spec.mtd16Header.effectiveValue();
    const QString &lua = project->spec.mtd16Lua.effectiveValue();
    if (CheckedProject::realPath(header) == CheckedProject::realPath(lua)) {
        project->warn(place, "definitions",
                      u"Header and Lua are one file: %1; the module replaces the header"_s.arg(lua),
                      u"Give each a name of its own."_s);
    }
}

} // namespace

void checkDefinitions(CheckedProject *project)
{
    const Place place = project->places.element(u"Project/MTD16"_s);
    if (!project->spec.mtd16Enabled()) {
        checkSwitch(project, place);
        return;
    }
    checkModule(project, place);
    checkOutputs(project, place);
}
