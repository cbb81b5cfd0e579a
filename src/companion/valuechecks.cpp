#include "companion/checkedproject.h"

#include "tools/tools.h"
#include "xml/projectnamespaces.h"

#include <QRegularExpression>

#include <algorithm>

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

/// In a file of the first generation, the whole project has the attribute, too, but it is not read.
void checkCompilation(CheckedProject *project)
{
    const Places &places = project->places;
    if (!Tristate::fromWord(places.value(u"Project"_s, u"CompileLua"_s).toLower()).isOn()
        || project->spec.filesystems.isEmpty()
        || project->spec.filesystems.first().process.compile.isSet())
        return;
    const QList<MergeSpec> merges = project->merges();
    if (std::any_of(merges.begin(), merges.end(),
                    [](const MergeSpec &merge) { return !merge.process.compile.isSet(); })) {
        project->warn(places.attribute(u"Project"_s, u"CompileLua"_s), "compile",
                      u"CompileLua has no effect here: Lua sources are shipped as they are"_s,
                      u"Move it to the Filesystem, or remove it."_s);
    }
}

/// Of a text in pieces, the reader of the first generation takes the last.
void checkTextsOfMerges(CheckedProject *project)
{
    const QList<MergeSpec> merges = project->merges();
    for (qsizetype i = 0; i < merges.size(); ++i) {
        const QString text = project->places.text(u"Project/Filesystem/Merge"_s, i);
        if (text != merges[i].source) {
            project->warn(project->mergePlace(i), "source-text",
                          u"Only %1 of the text %2 counts"_s.arg(merges[i].source, text),
                          u"Write the path in one piece, with comments in front of it."_s);
        }
    }
}

/// The reader of the current generation goes by the names of elements alone, where it knows them.
void checkForeignElements(CheckedProject *project)
{
    static const QRegularExpression known(QRegularExpression::anchoredPattern(
            u"Project(/(Startup|Target|Translation(/(Language|Default))?"
            "|MTD16(/(Source|Header|Lua))?|Filesystem(/Merge(/(Source|Destination))?)?"
            "|(Filesystem/(Merge/)?)?Process(/(Compile|Preprocess(/Include)?))?))?"_s));
    for (const Place &place : project->places.foreignElements(known)) {
        project->warn(place, "namespace",
                      u"ztmake takes this element for its own, although its namespace is another"_s,
                      u"Remove it, or put it into an element with a name that ztmake does not "
                      "know."_s);
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
    if (project->places.nameSpace() == QLatin1StringView(ProjectNamespaces::first)) {
        checkCompilation(project);
        checkTextsOfMerges(project);
    } else {
        checkForeignElements(project);
    }
}
