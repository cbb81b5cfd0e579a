#include "companion/checkedproject.h"

#include "build/firmwarelinker.h"
#include "tools/tools.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

bool haveOnePath(const QString &a, const QString &b)
{
    return CheckedProject::realPath(a) == CheckedProject::realPath(b);
}

void checkObjectsOf(CheckedProject *project, const OpenedProject &other)
{
    if (!haveOnePath(project->spec.objectFilePath({}), other.spec.objectFilePath({})))
        return;
    project->warn(
            project->places.attribute(u"Project"_s, u"ObjectDirectory"_s), "shared-objects",
            u"%1 has the same object directory: each takes the other's objects for its own"_s.arg(
                    other.file),
            u"Give each an ObjectDirectory of its own."_s);
}

/// An output that is newer than the definition file counts as made from it.
void checkDefinitionsOf(CheckedProject *project, const OpenedProject &other)
{
    const ProjectSpec &own = project->spec;
    if (!own.mtd16Enabled() || !other.spec.mtd16Enabled()
        || haveOnePath(own.mtd16DefinitionPath(), other.spec.mtd16DefinitionPath()))
        return;
    for (const DefaultString &output : {own.mtd16Header, own.mtd16Lua}) {
        const QString &path = output.effectiveValue();
        if (haveOnePath(path, other.spec.mtd16Header.effectiveValue())
            || haveOnePath(path, other.spec.mtd16Lua.effectiveValue())) {
            project->warn(project->places.element(u"Project/MTD16"_s), "shared-definitions",
                          u"%1 generates %2, too, but from other definitions: each takes the "
                          "other's for its own"_s.arg(other.file, path),
                          u"Give each a Header and a Lua of its own."_s);
            return;
        }
    }
}

/// A build removes the earlier firmware of the project before it writes the new one.
void checkFirmwareOf(CheckedProject *project, const OpenedProject &other)
{
    if (!haveOnePath(project->spec.outputFilePath({}), other.spec.outputFilePath({})))
        return;
    const QString name = Tools::safeFileName(project->spec.name);
    if (name.isEmpty())
        return; // checkName() has said more than this would
    RehearsedBuild build(other.spec, other.status);
    const FirmwareLinker linker(&build);
    for (const TargetSpec &target : other.spec.targets) {
        const QString file = linker.firmwareFile(target);
        if (QDir::match(firmwareWildcards(project->spec), QFileInfo(file).fileName())) {
            project->warn(
                    project->places.attribute(u"Project"_s, u"Name"_s), "shared-firmware",
                    u"Each build removes the firmware of %1, because -%2 is in its name: %3"_s.arg(
                            other.file, name, file),
                    u"Give each an OutputDirectory of its own, or the other a Name and a "
                    "Version that has no -%1 in it."_s.arg(name));
            return;
        }
    }
}

} // namespace

void checkNeighbours(CheckedProject *project)
{
    const QFileInfo own(project->opened.file);
    const QStringList names =
            own.dir().entryList({u"*.ztp"_s}, QDir::Files | QDir::Readable, QDir::Name);
    for (const QString &name : names) {
        OpenedProject other;
        QString error;
        const QString path = own.path() == "."_L1 ? name : own.path() + u'/' + name;
        if (name == own.fileName() || !other.open(path, &error))
            continue;
        other.spec.svnversion = Tristate{0}; // no check runs a program
        checkObjectsOf(project, other);
        checkDefinitionsOf(project, other);
        checkFirmwareOf(project, other);
    }
}
