#include "companion/checkedproject.h"

#include "companion/imagefiles.h"
#include "files/filestatus.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

/// @return what is wrong with the source of a merge; empty when nothing is
QString faultOf(const MergeSpec &merge, const QString &source)
{
    const QFileInfo info(source);
    if (source.isEmpty())
        return u"The Source is empty"_s;
    if (!info.exists())
        return u"There is no %1"_s.arg(source);
    if (!info.isFile() && !info.isDir())
        return u"%1 is neither a file nor a directory"_s.arg(source);
    if (!info.isReadable() || (info.isDir() && !info.isExecutable()))
        return u"%1 cannot be read"_s.arg(source);
    if (merge.type == MergeSpec::Type::Archive && !isArchive(source))
        return u"%1 is not a romfs image, as an Archive must be"_s.arg(source);
    return {};
}

void checkSources(CheckedProject *project)
{
    const QList<MergeSpec> merges = project->merges();
    for (qsizetype i = 0; i < merges.size(); ++i) {
        const bool isOfSdk = merges[i].source.startsWith(u"$SDK"_s);
        if (isOfSdk && project->spec.sdkCache.isEmpty())
            continue; // which is said elsewhere
        const QString fault = faultOf(merges[i], project->spec.projectFilePath(merges[i].source));
        if (!fault.isEmpty()) {
            project->error(
                    project->sourcePlace(i), "source", fault,
                    isOfSdk ? u"Take an SDK that has it, or correct the Source."_s
                            : u"Correct the Source, which is relative to the project directory."_s);
        }
    }
}

void checkLoneCopies(CheckedProject *project)
{
    const QList<MergeSpec> merges = project->merges();
    for (const qsizetype number : mergesOfLoneCopies(project->spec)) {
        project->error(project->mergePlace(number), "lone-copy",
                       u"%1 is neither preprocessed nor compiled: a build cannot merge such a Lua "
                       "source by itself"_s.arg(merges[number].source),
                       u"Merge its directory, or have it preprocessed or compiled."_s);
    }
}

bool hasOnlyBlanks(const QString &path)
{
    constexpr qint64 enough = 65536;
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(enough).trimmed().isEmpty() && file.atEnd();
}

void checkKey(CheckedProject *project)
{
    if (project->spec.keyFile.isEmpty())
        return;
    const QFileInfo info(project->spec.projectFilePath(project->spec.keyFile));
    QString fault;
    if (!info.exists())
        fault = u"There is no key file %1"_s;
    else if (info.isDir())
        fault = u"The key file %1 is a directory"_s;
    else if (!info.isFile())
        fault = u"The key file %1 is not a regular file"_s;
    else if (!info.isReadable())
        fault = u"The key file %1 cannot be read"_s;
    else if (info.size() == 0)
        fault = u"The key file %1 is empty"_s;
    else if (hasOnlyBlanks(info.filePath()))
        fault = u"The key file %1 is blank"_s;
    if (!fault.isEmpty()) {
        project->error(project->places.attribute(u"Project"_s, u"KeyFile"_s), "key",
                       fault.arg(info.filePath()), u"Put the key there, or correct KeyFile."_s);
    }
}

/// @return what is wrong with the source of a language; empty when nothing is, or there is none
QString faultOfTranslations(const ProjectSpec &spec, const QString &language)
{
    if (language.isEmpty())
        return u"The Language is empty"_s;
    const QString path = QDir::cleanPath(language);
    if (path.contains(u'/') && !path.startsWith("../"_L1)
        && !QFileInfo(QFileInfo(spec.qmFilePath(path)).path()).isDir())
        return u"A language has a name like de or de_AT: %1"_s.arg(language);
    QFile file(spec.tsFilePath(language + u".ts"_s));
    const QFileInfo info(file);
    if (!info.exists())
        return {};
    if (!info.isFile() && !info.isDir())
        return u"%1 is not a regular file"_s.arg(file.fileName());
    if (!file.open(QIODevice::ReadOnly))
        return u"%1: %2"_s.arg(file.fileName(), file.errorString());
    QXmlStreamReader reader(&file);
    while (!reader.atEnd())
        reader.readNext();
    return reader.hasError() ? u"%1:%2:%3: %4"_s.arg(file.fileName())
                                       .arg(reader.lineNumber())
                                       .arg(reader.columnNumber())
                                       .arg(reader.errorString())
                             : QString();
}

void checkTranslations(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    for (qsizetype i = 0; spec.lupdateEnabled() && i < spec.languages.size(); ++i) {
        const QString fault = faultOfTranslations(spec, spec.languages[i]);
        if (!fault.isEmpty()) {
            project->error(project->places.element(u"Project/Translation/Language"_s, i),
                           "translation", fault,
                           u"Correct the Language, or the translation source; or remove that."_s);
        }
    }
}

void checkOutputDirectory(CheckedProject *project)
{
    const QString directory = nearestExisting(project->spec.outputFilePath({}));
    if (!QFileInfo(directory).isDir()) {
        project->error(project->places.attribute(u"Project"_s, u"OutputDirectory"_s), "output",
                       u"%1 is in the way of the output directory"_s.arg(directory),
                       u"Remove it, or correct OutputDirectory."_s);
    }
}

} // namespace

void checkInputs(CheckedProject *project)
{
    checkKey(project);
    checkSources(project);
    checkLoneCopies(project);
    checkTranslations(project);
    checkOutputDirectory(project);
}
