#include "companion/timechecks.h"

#include "companion/headersearch.h"
#include "files/rehearsal.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

/// One call of the preprocessor.
struct Preprocessing
{
    QString source;
    QString output;
    QStringList directories;
    Headers headers;
};

/// What a build of everything would make of what.
struct AllOutputs
{
    QList<Preprocessing> preprocessings;
    QList<MadeFile> files;  ///< those that are made of sources
    QStringList luaOutputs; ///< those that depend on the project file, too
};

MadeFile::Way wayOf(const RehearsedBuild &build, const RehearsedStep &step)
{
    if (step.command < 0)
        return MadeFile::Way::Copied;
    const QString &tool = build.commands()[step.command].displayName;
    if (tool == "ztlpp"_L1)
        return MadeFile::Way::Preprocessed;
    return tool == "lrelease"_L1 ? MadeFile::Way::Translated : MadeFile::Way::Other;
}

/// @return the directories in which the preprocessor looks for headers: those that it is given, and
/// the merge that the source comes from
QStringList headerDirectories(const QStringList &arguments)
{
    QStringList directories = optionValues(arguments, u"-I"_s);
    const QFileInfo root(optionValue(arguments, u"--root"_s));
    directories << (root.isDir() ? root.filePath() : root.path());
    return directories;
}

AllOutputs allOutputs(const CheckedProject &project, HeaderSearch *search)
{
    RehearsedBuild build(project.spec, project.opened.status);
    build.rehearse(Project::Operation::BuildAll);
    AllOutputs all;
    for (const RehearsedStep &step : build.steps()) {
        const bool isLua = step.input.endsWith(u".lua"_s, Qt::CaseInsensitive);
        if (step.input.isEmpty() || (step.isInputMade && !isLua))
            continue;
        MadeFile file{step.input, step.output, wayOf(build, step), {}};
        if (file.way == MadeFile::Way::Preprocessed) {
            const QStringList &arguments = build.commands()[step.command].arguments;
            const QStringList directories = headerDirectories(arguments);
            const Headers headers = search->headersOf(step.input, directories);
            file.macros = search->macrosOf(step.input);
            for (const Header &header : headers.found)
                file.macros.unite(search->macrosOf(header.path));
            all.preprocessings.append({step.input, step.output, directories, headers});
        }
        all.files.append(file);
        if (isLua)
            all.luaOutputs << step.output;
    }
    return all;
}

void checkMissingHeaders(CheckedProject *project, const AllOutputs &all)
{
    QSet<QString> seen;
    for (const Preprocessing &run : all.preprocessings) {
        for (const MissingHeader &missing : run.headers.missing) {
            const QString place = u"%1:%2"_s.arg(missing.file).arg(missing.line);
            if (seen.contains(place))
                continue;
            seen.insert(place);
            project->report(
                    Finding::Severity::Error, missing.file, {missing.line, 1}, "include",
                    u"There is no header %1 in %2"_s.arg(missing.name,
                                                         run.directories.join(u", "_s)),
                    u"Correct the name, or add an Include for the directory of the header."_s);
        }
    }
}

/// To be called while the build is rehearsed. With outputs that are compared, no more than the
/// headers that the build makes anew are in doubt.
void checkHeaders(CheckedProject *project, const AllOutputs &all, const QSet<QString> &made,
                  bool areCompared)
{
    QHash<QString, int> counts;
    QHash<QString, Header> firsts; // by headers, with the source instead of the header
    for (const Preprocessing &run : all.preprocessings) {
        const FileStatus output = FileStatus::of(run.output);
        if (made.contains(run.output) || !output.exists())
            continue;
        for (const Header &header : run.headers.found) {
            if (!output.isOutOfDate(FileStatus::of(header.path))
                || (areCompared && !Rehearsal::status(header.path)))
                continue;
            if (counts[header.path]++ == 0)
                firsts.insert(header.path, {run.source, header.line});
        }
    }
    for (auto first = firsts.constBegin(); first != firsts.constEnd(); ++first) {
        project->warnIn(first->path, {first->line, 1}, "header",
                        u"%1 is newer than what was made with it, and a build does not notice; "
                        "sources: %2"_s.arg(first.key())
                                .arg(counts.value(first.key())),
                        u"Build with --all."_s);
    }
}

/// @return what was made of sources, headers and the project file, and would stay as it is
QList<MadeFile> keptFiles(const QString &projectFile, const AllOutputs &all,
                          const QSet<QString> &made)
{
    QList<MadeFile> files = all.files;
    for (const QString &output : all.luaOutputs)
        files.append({projectFile, output, MadeFile::Way::Other, {}});
    for (const Preprocessing &run : all.preprocessings) {
        for (const Header &header : run.headers.found)
            files.append({header.path, run.output, MadeFile::Way::Other, {}});
    }
    files.removeIf([&made](const MadeFile &file) {
        return made.contains(file.output) || needRebuild(file.input, file.output);
    });
    return files;
}

} // namespace

void checkTimes(CheckedProject *project, bool areCompared)
{
    HeaderSearch search;
    const AllOutputs all = allOutputs(*project, &search);
    RehearsedBuild build(project->spec, project->opened.status);
    checkMissingHeaders(project, all);
    if (!build.rehearse(Project::Operation::Build))
        return;
    QSet<QString> made;
    for (const RehearsedStep &step : build.steps())
        made.insert(step.output);
    checkHeaders(project, all, made, areCompared);
    if (!areCompared)
        checkReplaced(project, keptFiles(project->opened.file, all, made));
}
