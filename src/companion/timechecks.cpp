#include "companion/checkedproject.h"

#include "tools/tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

/// A header that a source takes in, itself or by way of others.
struct Inclusion
{
    QString header;
    int line; ///< in the source
};

/// One call of the preprocessor.
struct Preprocessing
{
    QString source;
    QString output;
    QStringList directories;
};

/// Finds the headers of sources. Lines that only look like inclusions, in a long comment say,
/// count.
class HeaderSearch
{
public:
    QList<Inclusion> headersOf(const Preprocessing &run)
    {
        QList<Inclusion> found;
        for (const Inclusion &direct : inclusionsIn(run.source)) {
            QSet<QString> seen;
            collect(direct.header, run.directories, &seen);
            for (const QString &header : std::as_const(seen))
                found.append({header, direct.line});
        }
        return found;
    }

private:
    void collect(const QString &name, const QStringList &directories, QSet<QString> *seen)
    {
        const QString path = find(name, directories);
        if (path.isEmpty() || seen->contains(path))
            return;
        seen->insert(path);
        for (const Inclusion &inner : inclusionsIn(path))
            collect(inner.header, directories, seen);
    }

    static QString find(const QString &name, const QStringList &directories)
    {
        for (const QString &directory : directories) {
            QString path = QDir::cleanPath(directory + u'/' + name);
            if (FileStatus::of(path).isRegularFile())
                return path;
        }
        return {};
    }

    QList<Inclusion> inclusionsIn(const QString &path)
    {
        const auto known = m_inclusions.constFind(path);
        if (known != m_inclusions.constEnd())
            return *known;
        static const QRegularExpression directive(u"^\\s*#\\s*include\\s*\"([^\"]+)\""_s);
        QList<Inclusion> &found = m_inclusions[path];
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return found;
        for (int line = 1; !file.atEnd(); ++line) {
            const QByteArray text = file.readLine();
            if (!text.contains("include"))
                continue;
            const auto match = directive.match(QString::fromUtf8(text));
            if (match.hasMatch())
                found.append({match.captured(1), line});
        }
        return found;
    }

    QHash<QString, QList<Inclusion>> m_inclusions;
};

/// What a build of everything would make of which source.
struct AllOutputs
{
    QList<Preprocessing> preprocessings;
    QHash<QString, QString> firstOutputs; ///< by sources
};

AllOutputs allOutputs(const CheckedProject &project)
{
    RehearsedBuild build(project.spec, project.opened.status);
    build.rehearse(Project::Operation::BuildAll);
    AllOutputs all;
    for (const RehearsedStep &step : build.steps()) {
        if (!step.input.endsWith(u".lua"_s, Qt::CaseInsensitive))
            continue;
        all.firstOutputs.insert(step.input, step.output);
        if (step.command < 0 || build.commands()[step.command].displayName != "ztlpp"_L1)
            continue;
        const QStringList &arguments = build.commands()[step.command].arguments;
        all.preprocessings.append({step.input, step.output, optionValues(arguments, u"-I"_s)});
    }
    return all;
}

void checkHeaders(CheckedProject *project, const AllOutputs &all, const QSet<QString> &made)
{
    HeaderSearch search;
    QHash<QString, int> counts;
    QHash<QString, Inclusion> firsts; // by headers, with the source instead of the header
    for (const Preprocessing &run : all.preprocessings) {
        const FileStatus output = FileStatus::of(run.output);
        if (made.contains(run.output) || !output.exists())
            continue;
        for (const Inclusion &inclusion : search.headersOf(run)) {
            if (!output.isOutOfDate(FileStatus::of(inclusion.header)))
                continue;
            if (counts[inclusion.header]++ == 0)
                firsts.insert(inclusion.header, {run.source, inclusion.line});
        }
    }
    for (auto first = firsts.constBegin(); first != firsts.constEnd(); ++first) {
        project->warnIn(first->header, {first->line, 1}, "header",
                        u"%1 is newer than what was made with it, and a build does not notice; "
                        "sources: %2"_s.arg(first.key())
                                .arg(counts.value(first.key())),
                        u"Build with --all."_s);
    }
}

QDateTime changeTime(const QString &path)
{
    return QFileInfo(path).metadataChangeTime();
}

/// Sources that came to where they are after their objects were made, with older times.
void checkReplacedSources(CheckedProject *project, const AllOutputs &all, const QSet<QString> &made)
{
    constexpr qint64 slack = 100; // milliseconds; a tool may rename what it has written
    int count = 0;
    QString example;
    for (auto pair = all.firstOutputs.constBegin(); pair != all.firstOutputs.constEnd(); ++pair) {
        const QString &output = *pair;
        if (made.contains(output) || !FileStatus::of(output).exists())
            continue;
        // Objects that were themselves copied tell nothing.
        const QDateTime madeAt = changeTime(output);
        if (QFileInfo(output).lastModified().msecsTo(madeAt) > slack
            || changeTime(pair.key()) <= madeAt)
            continue;
        if (count++ == 0 || pair.key() < example)
            example = pair.key();
    }
    if (count == 0)
        return;
    project->warnIn(example, {1, 1}, "replaced-source",
                    u"Replaced after its object was made, by a file that is older than that: a "
                    "build does not notice; sources: %1"_s.arg(count),
                    u"Build with --all, or touch the sources."_s);
}

} // namespace

void checkTimes(CheckedProject *project)
{
    const AllOutputs all = allOutputs(*project);
    RehearsedBuild build(project->spec, project->opened.status);
    if (!build.rehearse(Project::Operation::Build))
        return;
    QSet<QString> made;
    for (const RehearsedStep &step : build.steps())
        made.insert(step.output);
    checkHeaders(project, all, made);
    checkReplacedSources(project, all, made);
}

void checkNeighbours(CheckedProject *project)
{
    const QFileInfo own(project->opened.file);
    const QString objects = CheckedProject::realPath(project->spec.objectFilePath({}));
    const QStringList names =
            own.dir().entryList({u"*.ztp"_s}, QDir::Files | QDir::Readable, QDir::Name);
    for (const QString &name : names) {
        OpenedProject other;
        QString error;
        const QString path = own.path() == "."_L1 ? name : own.path() + u'/' + name;
        if (name == own.fileName() || !other.open(path, &error)
            || CheckedProject::realPath(other.spec.objectFilePath({})) != objects)
            continue;
        project->warn(
                project->places.attribute(u"Project"_s, u"ObjectDirectory"_s), "shared-objects",
                u"%1 has the same object directory: each takes the other's objects for its own"_s
                        .arg(path),
                u"Give each an ObjectDirectory of its own."_s);
    }
}
