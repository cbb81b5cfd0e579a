#include "companion/why.h"

#include "app/makeproject.h"
#include "companion/openedproject.h"
#include "companion/rehearsedbuild.h"
#include "files/rehearsal.h"

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void print(const QString &line)
{
    std::fprintf(stdout, "%s\n", line.toLocal8Bit().constData());
}

QString lengthOf(double seconds)
{
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    constexpr double day = 24 * hour;
    if (seconds < 1)
        return u"%1 ms"_s.arg(seconds * 1000, 0, 'g', 3);
    if (seconds < 2 * minute)
        return u"%1 s"_s.arg(seconds, 0, 'g', 3);
    if (seconds < 2 * hour)
        return u"%1 min"_s.arg(seconds / minute, 0, 'f', 0);
    if (seconds < 2 * day)
        return u"%1 h"_s.arg(seconds / hour, 0, 'f', 0);
    return u"%1 days"_s.arg(seconds / day, 0, 'f', 0);
}

QString ageBetween(const FileTime &older, const FileTime &younger)
{
    constexpr double nanosecond = 1e-9;
    return lengthOf(static_cast<double>(younger.seconds - older.seconds)
                    + nanosecond * static_cast<double>(younger.nanoseconds - older.nanoseconds));
}

QString inputReason(const RehearsedStep &step)
{
    if (step.isInputMade)
        return u"made from %1, which is made first"_s.arg(step.input);
    if (!step.inputBefore.exists())
        return u"%1 cannot be looked at"_s.arg(step.input);
    return u"older than %1 by %2"_s.arg(
            step.input, ageBetween(step.outputBefore.modified(), step.inputBefore.modified()));
}

QString reason(const RehearsedStep &step, bool isAsked)
{
    switch (step.why) {
    case Staleness::Current:
    case Staleness::Always:
        return u"always"_s;
    case Staleness::Forced:
        return isAsked ? u"--all"_s
                       : u"everything is made again, because an earlier build lost its power"_s;
    case Staleness::Missing:
        return u"missing"_s;
    case Staleness::LeftOver:
        return u"left over by an interrupted --all"_s;
    case Staleness::OlderThanProjectFile:
        return u"older than the project file"_s;
    case Staleness::OlderThanInput:
        return inputReason(step);
    }
    return {};
}

QString lineFor(const RehearsedBuild &build, const RehearsedStep &step, bool isAsked)
{
    const QString name =
            step.output.isEmpty() ? build.commands()[step.command].displayName : step.output;
    return u"%1: %2"_s.arg(name, reason(step, isAsked));
}

/// The catalogues that are made only when the scan for texts changes their sources.
void printPossible(const RehearsedBuild &build)
{
    const ProjectSpec &spec = build.spec();
    const auto isScan = [](const Command &command) {
        return command.displayName == "ztlupdate"_L1;
    };
    if (std::none_of(build.commands().begin(), build.commands().end(), isScan))
        return;
    for (const QString &language : spec.languages) {
        const QString catalogue = spec.qmFilePath(language + u".qm"_s);
        if (!Rehearsal::status(catalogue))
            print(u"%1: only if ztlupdate changes %2"_s.arg(catalogue,
                                                            spec.tsFilePath(language + u".ts"_s)));
    }
}

void printSteps(const RehearsedBuild &build, const WhyOptions &options)
{
    int shown = -1;
    for (const RehearsedStep &step : build.steps()) {
        if (options.commands && step.command > shown) {
            shown = step.command;
            print(u"$ "_s + echoLine(build.commands()[shown]));
        }
        print(lineFor(build, step, options.rebuildAll));
    }
    printPossible(build);
}

} // namespace

int tellWhy(const WhyOptions &options)
{
    OpenedProject project;
    QString error;
    if (!project.open(options.projectFile, &error)) {
        printMessage(project.file.isEmpty() ? error : u"%1: %2"_s.arg(project.file, error));
        return 1;
    }
    RehearsedBuild build(project.spec, project.status);
    const bool ok = build.rehearse(options.rebuildAll ? Project::Operation::BuildAll
                                                      : Project::Operation::Build);
    for (const QString &message : build.messages())
        printMessage(message);
    printSteps(build, options);
    if (!ok)
        printMessage(u"Here the build would stop: %1"_s.arg(build.errorText()));
    return ok ? 0 : 1;
}
