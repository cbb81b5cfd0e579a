#include "engine/interruption.h"
#include "engine/project.h"

#include <QFile>

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

/// Older even where the file system keeps times in steps of two seconds.
constexpr qint64 secondsBefore = 2;

/// @return false when a file stays there
bool remove(const QString &output)
{
    return QFile::remove(output) || !FileStatus::of(output).isRegularFile();
}

/// Makes @p output older than @p time; one whose time cannot be set is deleted.
/// @return false when it stays as young as it is
bool makeOlder(const QString &output, const FileTime &time)
{
    const timespec older{static_cast<time_t>(time.seconds - secondsBefore),
                         static_cast<long>(time.nanoseconds)};
    const std::array times{older, older};
    // Not every file system keeps times as early as that.
    return (utimensat(AT_FDCWD, QFile::encodeName(output).constData(), times.data(), 0) == 0
            && FileStatus::of(output).modified() < time)
           || remove(output);
}

} // namespace

bool Project::makeOutputs(const OutputStep &step, const std::function<bool()> &make)
{
    if (!checkInterruption())
        return false;
    UnfinishedOutputs &unfinished = unfinishedOutputs();
    QString error;
    if (!unfinished.begin(step.outputs, &error))
        return raiseError(error);

    m_toolSucceeded = false;
    const bool ok = make();
    if (ok || m_toolSucceeded ? outdateAfterEdit(step) : outdateAfterFailure(step))
        unfinished.end();
    return ok;
}

bool Project::outdateAfterFailure(const OutputStep &step)
{
    const bool removes = step.removesAfterFailure || Interruption::signal() != 0;
    bool isSettled = true;
    for (const QString &output : step.outputs)
        isSettled &= (removes && remove(output)) || makeOlder(output, step.inputStatus.modified());
    return isSettled;
}

bool Project::outdateAfterEdit(const OutputStep &step) const
{
    std::optional<FileTime> oldest;
    const auto compare = [&oldest](const FileTime &before, const FileTime &now) {
        if (before < now || now < before)
            oldest = std::min({oldest.value_or(before), before, now});
    };
    const FileStatus input = FileStatus::of(step.input);
    if (input.exists())
        compare(step.inputStatus.modified(), input.modified());
    if (step.dependsOnProjectFile && m_projectFileTime.isValid()) {
        const FileStatus projectFile = FileStatus::of(m_spec.projectFile);
        if (projectFile.exists()) {
            compare(FileTime::fromMilliseconds(m_projectFileTime.toMSecsSinceEpoch()),
                    FileTime::fromMilliseconds(projectFile.modified().toMilliseconds()));
        }
    }
    bool isSettled = true;
    if (oldest) {
        for (const QString &output : step.outputs)
            isSettled &= makeOlder(output, *oldest);
    }
    return isSettled;
}

bool Project::makeImage(const QString &tool, const QStringList &arguments, const QString &image,
                        int verbose)
{
    const bool ok = runTool(tool, arguments, verbose);
    if (!m_toolSucceeded && Interruption::signal() != 0)
        QFile::remove(image);
    return ok;
}

bool Project::recoverFromKill(bool *rebuildAll)
{
    QString error;
    if (!unfinishedOutputs().recover(&error))
        return raiseError(error);
    if (unfinishedOutputs().isTorn())
        *rebuildAll = true;
    return true;
}

UnfinishedOutputs &Project::unfinishedOutputs()
{
    if (!m_unfinishedOutputs)
        m_unfinishedOutputs.emplace(m_spec.objectFilePath({}));
    return *m_unfinishedOutputs;
}

bool Project::checkInterruption()
{
    return Interruption::signal() == 0 || raiseInterruption({});
}

bool Project::raiseInterruption(const QString &displayName)
{
    const QLatin1StringView name(Interruption::signalName());
    return raiseError(displayName.isEmpty()
                              ? u"Interrupted by %1"_s.arg(name)
                              : u"Interrupted by %1 while %2 was running"_s.arg(name, displayName));
}
