#include "companion/checkedproject.h"

#include "tools/tools.h"

using namespace Qt::StringLiterals;

namespace {

/// @return what of a text ends or changes a string of Lua; empty when nothing does
QString oddityIn(const QString &text)
{
    if (text.contains(u'"'))
        return u"quote"_s;
    if (text.contains(u'\\'))
        return u"backslash"_s;
    return text.contains(u'\n') || text.contains(u'\r') ? u"line break"_s : QString();
}

void checkScriptText(CheckedProject *project, const Place &place, const QString &text)
{
    const QString oddity = oddityIn(text);
    if (!oddity.isEmpty()) {
        project->warn(place, "startup-script",
                      u"The start-up script does not escape the %1 in %2"_s.arg(oddity, text),
                      u"Choose a path on the device without it."_s);
    }
}

/// The script holds both as they are, between quotes.
void checkStartupScript(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    if (spec.startupFile.isEmpty() || spec.filesystems.isEmpty())
        return;
    const Places &places = project->places;
    checkScriptText(project, places.attribute(u"Project/Startup"_s, u"File"_s), spec.startupFile);
    checkScriptText(project, places.attribute(u"Project/Translation"_s, u"BaseDir"_s),
                    spec.translationBaseDir);
}

void checkStrictAt(CheckedProject *project, const Place &place, const ProcessSpec &process)
{
    const ProcessSpec &whole = project->spec.process;
    if (process.strict.isSet() && process.strictLua() != whole.strictLua()) {
        project->warn(
                place, "strict",
                u"Strict has no effect here: only the one in the Project's own Process counts"_s,
                u"Move it to the Process of the Project, or remove it."_s);
    }
}

void checkStrict(CheckedProject *project)
{
    if (project->spec.filesystems.isEmpty())
        return;
    const Places &places = project->places;
    checkStrictAt(project, places.attribute(u"Project/Filesystem/Process/Compile"_s, u"Strict"_s),
                  project->spec.filesystems.first().process);
    const QList<MergeSpec> merges = project->merges();
    for (qsizetype i = 0; i < merges.size(); ++i) {
        checkStrictAt(
                project,
                places.child(u"Project/Filesystem/Merge"_s, i, u"Process/Compile"_s, u"Strict"_s),
                merges[i].process);
    }
}

void checkKeyUse(CheckedProject *project)
{
    const Places &places = project->places;
    const Place key = places.attribute(u"Project"_s, u"KeyFile"_s);
    if (!project->spec.keyFile.isEmpty())
        return;
    if (key != places.element(u"Project"_s)) {
        project->warn(key, "unsigned", u"KeyFile is empty: the firmware is not signed"_s,
                      u"Name the key, or remove KeyFile."_s);
    }
    if (project->spec.encryptInstaller.isOn()) {
        project->warn(places.attribute(u"Project"_s, u"EncryptInstaller"_s), "encryption",
                      u"EncryptInstaller has no effect without a KeyFile"_s,
                      u"Name the key in KeyFile, or remove EncryptInstaller."_s);
    }
}

/// Earlier firmware is found by a wildcard with the name in it; the others that mean something in
/// one never get into names of files.
void checkWildcards(CheckedProject *project)
{
    const QString name = Tools::safeFileName(project->spec.name);
    if (name.contains(u'[')) {
        project->warn(
                project->places.attribute(u"Project"_s, u"Name"_s), "name",
                u"A build takes the [ in %1 for a wildcard when it removes earlier firmware: its "
                "own stays, and that of other projects may go"_s.arg(name),
                u"Choose a Name without it."_s);
    }
}

} // namespace

void checkValues(CheckedProject *project)
{
    checkStartupScript(project);
    checkStrict(project);
    checkKeyUse(project);
    checkWildcards(project);
}
