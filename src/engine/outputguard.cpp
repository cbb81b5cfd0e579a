#include "engine/outputguard.h"

#include "engine/interruption.h"
#include "model/projectspec.h"

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

/// @return false when an output stays that the next build would take for current
bool outdateAfterFailure(const OutputStep &step)
{
    const bool removes = step.removesAfterFailure || Interruption::signal() != 0;
    bool isSettled = true;
    for (const QString &output : step.outputs)
        isSettled &= (removes && remove(output)) || makeOlder(output, step.inputStatus.modified());
    return isSettled;
}

} // namespace

OutputGuard::OutputGuard(const ProjectSpec &spec) : m_spec(spec) {}

bool OutputGuard::recover(bool *rebuildAll, QString *error)
{
    UnfinishedOutputs &unfinished = unfinishedOutputs();
    if (!unfinished.recover(error))
        return false;
    if (unfinished.isTorn())
        *rebuildAll = true;
    return true;
}

bool OutputGuard::begin(const OutputStep &step, QString *error)
{
    return unfinishedOutputs().begin(step.outputs, error);
}

void OutputGuard::end(const OutputStep &step, bool isFinished)
{
    if (isFinished ? outdateAfterEdit(step) : outdateAfterFailure(step))
        unfinishedOutputs().end();
}

void OutputGuard::close(bool operationSucceeded)
{
    if (m_unfinishedOutputs)
        m_unfinishedOutputs->close(operationSucceeded);
    m_unfinishedOutputs.reset();
}

bool OutputGuard::outdateAfterEdit(const OutputStep &step) const
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

UnfinishedOutputs &OutputGuard::unfinishedOutputs()
{
    if (!m_unfinishedOutputs)
        m_unfinishedOutputs.emplace(m_spec.objectFilePath({}));
    return *m_unfinishedOutputs;
}
