#include "engine/outputguard.h"

#include "engine/interruption.h"
#include "files/changes.h"
#include "files/disksync.h"
#include "files/rehearsal.h"
#include "files/removebelow.h"
#include "model/projectspec.h"
#include "tools/tools.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

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

/// @return the present moment, as file systems stamp files with it
FileTime now()
{
    timespec time = {};
    clock_gettime(CLOCK_REALTIME_COARSE, &time);
    return {time.tv_sec, time.tv_nsec};
}

} // namespace

OutputGuard::OutputGuard(const ProjectSpec &spec, std::function<void()> onWait)
    : m_spec(spec), m_onWait(std::move(onWait))
{
}

OutputGuard::~OutputGuard()
{
    close(false);
}

UnfinishedNote &OutputGuard::note()
{
    if (!m_note)
        m_note.emplace(m_spec.objectFilePath({}));
    return *m_note;
}

/// @return the absolute path of an output outside the object directory: a note that has it counts
/// as torn
QString OutputGuard::nameInNote(const QString &output) const
{
    const QString directory = Tools::ensureDirectorySeparator(m_spec.objectFilePath({}));
    return output.startsWith(directory) ? output.sliced(directory.size())
                                        : QFileInfo(output).absoluteFilePath();
}

bool OutputGuard::isOutside(const QString &output) const
{
    return nameInNote(output).startsWith(u'/');
}

bool OutputGuard::recover(bool *rebuildAll, QString *error)
{
    if (m_spec.mtd16Enabled()) {
        for (const QString &output :
             {m_spec.mtd16Header.effectiveValue(), m_spec.mtd16Lua.effectiveValue()}) {
            if (!OutsideNote(output, m_spec.projectFilePath({})).recover(m_onWait, error))
                return false;
        }
    }
    const std::optional<UnfinishedNote::State> state = note().read(error);
    if (!state)
        return false;
    bool isTorn = *state == UnfinishedNote::State::Torn
                  || (m_areOutputsDistrusted && *state == UnfinishedNote::State::Absent);
    if (!removeUnfinished(note().outputs(), &isTorn, error))
        return false;
    m_isNoteLeft = *state != UnfinishedNote::State::Absent;
    m_isRestInherited = isTorn || note().allSince();
    if (isTorn)
        *rebuildAll = true;
    if (*rebuildAll)
        note().setAllSince(now());
    // Noted at once: the next build is to go on with it even if this one makes nothing.
    return !*rebuildAll || writeNote(error);
}

bool OutputGuard::removeUnfinished(const QStringList &outputs, bool *isTorn, QString *error) const
{
    const QString directory = m_spec.objectFilePath({});
    for (const QString &name : outputs) {
        switch (removeFileBelow(directory, name)) {
        case Removal::Gone:
            break;
        case Removal::Stays:
            *error = u"Cannot delete %1"_s.arg(m_spec.objectFilePath(name));
            return false;
        case Removal::Outside:
            *isTorn = true;
            break;
        }
    }
    return true;
}

bool OutputGuard::isLeftOver(const FileStatus &output) const
{
    return m_note && output.modified() < m_note->allSince();
}

bool OutputGuard::writeNote(QString *error)
{
    return Rehearsal::isOn() || note().write(m_unfinished, error);
}

bool OutputGuard::begin(OutputChain *chain, const QStringList &outputs, QString *error)
{
    if (Rehearsal::isOn()) {
        chain->outputs += outputs;
        return true;
    }
    if (!m_projectFile)
        m_projectFile = FileStatus::of(m_spec.projectFile);
    if (!noteOutputs(outputs, error)) {
        for (const QString &output : outputs) {
            QString ignored; // nothing has been written
            forget(output, &ignored);
        }
        return false;
    }
    for (const QString &output : outputs) {
        if (isOutside(output))
            Changes::separateHardLinks(output);
        else
            Changes::separateLinks(output);
    }
    chain->outputs += outputs;
    return true;
}

bool OutputGuard::noteOutputs(const QStringList &outputs, QString *error)
{
    bool isNoted = false;
    for (const QString &output : outputs) {
        if (isOutside(output)) {
            OutsideNote outsideNote(output, m_spec.projectFilePath({}));
            const auto isThisNote = [&outsideNote](const auto &made) {
                return outsideNote.isSameAs(made.second);
            };
            if (std::any_of(m_outsideNotes.begin(), m_outsideNotes.end(), isThisNote))
                continue;
            const BuildLock::Result result = outsideNote.begin(m_onWait);
            *error = BuildLock::errorText(result, output);
            if (!error->isEmpty())
                return false;
            // Otherwise the note in the object directory has to do.
            if (result != BuildLock::Result::Missing) {
                m_outsideNotes.insert_or_assign(output, std::move(outsideNote));
                continue;
            }
        } else {
            m_directories.insert(QFileInfo(output).path());
        }
        m_unfinished.append(nameInNote(output));
        isNoted = true;
    }
    return !isNoted || writeNote(error);
}

void OutputGuard::finish(const OutputChain &chain)
{
    if (Rehearsal::isOn()) {
        for (const QString &output : chain.outputs)
            Rehearsal::make(output);
        return;
    }
    if (oldestEdit(chain))
        return;
    for (const QString &output : chain.outputs)
        m_unfinished.removeOne(nameInNote(output));
}

void OutputGuard::fail(OutputChain *chain, const QStringList &outputs)
{
    // What the tool has started may go on and write after its end. So the outputs stay in the note,
    // and who finds that such programs have ended undoes them again: this build or the next one.
    const bool removes = chain->removesAfterFailure || Interruption::signal() != 0;
    for (const QString &path : outputs) {
        chain->outputs.removeOne(path);
        const FailedOutput output{path, removes, chain->inputStatus.modified()};
        if (undo(output))
            m_failed.push_back(output);
    }
}

/// @return false when a later build would take it for up to date
bool OutputGuard::undo(const FailedOutput &output)
{
    return (output.isRemoved && remove(output.path)) || makeOlder(output.path, output.inputTime);
}

bool OutputGuard::forget(const QString &output, QString *error)
{
    m_unfinished.removeOne(nameInNote(output));
    const auto outsideNote = m_outsideNotes.extract(output);
    return outsideNote.empty() || outsideNote.mapped().end(error);
}

bool OutputGuard::end(const OutputChain &chain, QString *error)
{
    if (Rehearsal::isOn())
        return true;
    bool ok = true;
    const std::optional<FileTime> oldest = oldestEdit(chain);
    for (const QString &output : chain.outputs) {
        if (!oldest || makeOlder(output, *oldest))
            ok &= forget(output, error);
    }
    // When this fails, the note names too much, and more than necessary is built next time.
    QString ignored;
    if (note().isWritten())
        writeNote(&ignored);
    return ok;
}

/// @return the older one of the times that an input had before and after it was edited; nothing
/// when it was not
std::optional<FileTime> OutputGuard::oldestEdit(const OutputChain &chain) const
{
    std::optional<FileTime> oldest;
    const auto compare = [&oldest](const FileStatus &before, const QString &path) {
        const FileStatus now = FileStatus::of(path);
        if (!before.exists() || !now.exists())
            return;
        if (before.modified() < now.modified() || now.modified() < before.modified())
            oldest = std::min(
                    {oldest.value_or(before.modified()), before.modified(), now.modified()});
    };
    if (chain.outputs.isEmpty())
        return oldest;
    compare(chain.inputStatus, chain.input);
    if (chain.dependsOnProjectFile && m_projectFileTime.isValid())
        compare(*m_projectFile, m_spec.projectFile);
    return oldest;
}

void OutputGuard::close(bool operationSucceeded)
{
    if (m_note) {
        const bool isRestLeft =
                m_note->allSince()
                && (Interruption::signal() != 0 || (m_isRestInherited && !operationSucceeded));
        const bool isOnDisk = m_isNoteLeft || m_note->isWritten();
        QStringList others = m_unfinished;
        for (const FailedOutput &output : std::as_const(m_failed))
            others.removeOne(nameInNote(output.path));
        const bool isObsolete = isOnDisk && !isRestLeft && others.isEmpty() && !Rehearsal::isOn();
        m_isNoteOfOrphans = isObsolete && !m_unfinished.isEmpty();
        if (isObsolete) {
            if (m_isNoteLeft) // by a build that may have finished outputs, too
                m_directories.insert(m_spec.objectFilePath({}));
            DiskSync::fileSystemsOf(m_directories.values());
            if (!m_isNoteOfOrphans)
                m_note->remove();
        }
        m_note.reset();
    }
    m_isNoteLeft = m_isRestInherited = false;
    m_unfinished.clear();
}

void OutputGuard::forgetOrphans()
{
    bool areUndone = true;
    for (const FailedOutput &output : std::exchange(m_failed, {})) {
        QString ignored; // the build has failed anyway
        if (undo(output))
            forget(output.path, &ignored);
        else
            areUndone = false;
    }
    if (m_isNoteOfOrphans && areUndone)
        note().remove();
}
