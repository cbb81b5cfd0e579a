#include "companion/why.h"

#include "app/makeproject.h"
#include "companion/imagefiles.h"
#include "companion/openedproject.h"
#include "companion/output.h"
#include "companion/rehearsedbuild.h"
#include "files/rehearsal.h"

#include <QSet>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Unit
{
    const char *name;
    double length; ///< in seconds
    double upTo;   ///< where a larger one says it better; in seconds
};

QString lengthOf(double seconds)
{
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    constexpr double day = 24 * hour;
    static constexpr std::array<Unit, 7> units{{{"ns", 1e-9, 999.5e-9},
                                                {"µs", 1e-6, 999.5e-6},
                                                {"ms", 1e-3, 999.5e-3},
                                                {"s", 1, 2 * minute},
                                                {"min", minute, 2 * hour},
                                                {"h", hour, 2 * day},
                                                {"days", day, 0}}};
    const auto *const unit =
            std::find_if(units.begin(), units.end() - 1,
                         [seconds](const Unit &candidate) { return seconds < candidate.upTo; });
    const double count = seconds / unit->length;
    const QString number =
            unit->length > 1 ? QString::number(count, 'f', 0) : QString::number(count, 'g', 3);
    return number + u' ' + QString::fromUtf8(unit->name);
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
        return u"%1 cannot be accessed"_s.arg(step.input);
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
        return isAsked ? u"--all"_s : u"everything is made again after a power failure"_s;
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
            printLine(u"%1: only if ztlupdate changes %2"_s.arg(
                    catalogue, spec.tsFilePath(language + u".ts"_s)));
    }
}

void printSteps(const RehearsedBuild &build, const WhyOptions &options)
{
    int shown = -1;
    QSet<QString> tools; // that run several times have one line
    for (const RehearsedStep &step : build.steps()) {
        if (options.commands && step.command > shown) {
            shown = step.command;
            printLine(u"$ "_s + echoLine(build.commands()[shown]));
        }
        const QString line = lineFor(build, step, options.rebuildAll);
        if (!step.output.isEmpty() || options.commands || !tools.contains(line))
            printLine(line);
        if (step.output.isEmpty())
            tools.insert(line);
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
    if (!ok) {
        printMessage(u"The build would stop here: %1"_s.arg(build.errorText()));
        return 1;
    }
    const QList<qsizetype> copies = mergesOfLoneCopies(project.spec);
    if (!copies.isEmpty()) {
        const QString source = project.spec.filesystems.first().merges[copies.first()].source;
        printMessage(
                u"The build would stop at the image: %1 cannot be copied by itself."_s.arg(source));
        return 1;
    }
    return 0;
}
