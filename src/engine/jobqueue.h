#pragma once

#include "engine/job.h"
#include "files/filestatus.h"

#include <deque>
#include <memory>
#include <set>

class Project;

/// Runs jobs, several at a time, with the same result and messages as one after the other: output
/// is shown in the order of the jobs, and of several failures the first in that order is reported.
///
/// With a limit of one, each job has ended when add() returns, and its commands print to this
/// process's own streams.
class JobQueue
{
public:
    /// @param project  is told of errors and shows what is printed; it must outlive the queue
    explicit JobQueue(Project *project);
    ~JobQueue();
    JobQueue(const JobQueue &) = delete;
    JobQueue &operator=(const JobQueue &) = delete;

    /// How many commands may run at once; 1 until set. The number of files that the process may
    /// have open counts, too.
    void setLimit(int limit);
    bool runsSeveral() const { return m_limit > 1; }

    /// Begins a job as soon as there is room for it. One that writes what another one writes waits
    /// for that.
    /// @return false when a job has failed. With a limit of one the error text is set and the
    /// failure is dealt with; otherwise finish() reports it.
    bool add(std::unique_ptr<Job> job);

    /// Waits until no job is going to write to a file in @p directory.
    void awaitOutputsIn(const QString &directory);

    /// Waits for the end of all jobs. No command is started after a failure.
    /// @return false with the error text of the first failure set
    bool finish();

private:
    struct Entry;
    struct Printed;
    /// A file by its directory and name, or one that exists by itself.
    struct Output
    {
        FileId id;
        QByteArray name;

        bool operator<(const Output &other) const
        {
            return id == other.id ? name < other.name : id < other.id;
        }
    };

    void claimOutputs(Entry *entry);
    void runAll();
    void runSome(bool blocks);
    void proceed(Entry *entry);
    void commandEnded(Entry *entry, const CommandResult &result);
    void fail(Entry *entry, const QString &error);
    void end(Entry *entry);
    void show();
    void showPieces(Entry *entry);
    void showOutput(const Printed &printed);

    Project *m_project;
    int m_limit = 1;
    std::deque<Entry> m_entries;   ///< in the order in which they were added
    std::deque<Entry *> m_waiting; ///< not begun yet
    std::set<Output> m_outputs;    ///< of jobs that may not have ended
    std::set<FileId> m_outputDirectories;
    int m_running = 0;
    int m_ended = 0;
    int m_added = 0;
    bool m_hasFailed = false;
    QString m_lossText; ///< why something that was printed could not be shown
};
