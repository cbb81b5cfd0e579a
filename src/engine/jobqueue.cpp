#include "engine/jobqueue.h"

#include "engine/project.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <climits>
#include <utility>
#include <variant>
#include <vector>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int descriptorsOfTool = 3; ///< two streams and the process
constexpr int otherDescriptors = 64; ///< of the walk through the sources, and of who started this

/// So that the memory does not grow with the project.
constexpr size_t maximumWaiting = 10'000;

/// @return the path, or where it leads when it is a link to what does not exist yet
QString withoutDanglingLinks(QString path)
{
    for (int links = 0; links < 40 && QFileInfo(path).isSymLink(); ++links)
        path = QFileInfo(path).symLinkTarget();
    return path;
}

} // namespace

/// What a command has printed.
struct JobQueue::Printed
{
    OutputStream stream;
    QByteArray text;
};

/// A job, and the output that is still to be shown.
struct JobQueue::Entry final : CommandListener
{
    Entry(JobQueue *jobQueue, std::unique_ptr<Job> addedJob)
        : queue(jobQueue), job(std::move(addedJob))
    {
    }

    void message(const QString &text) override
    {
        pieces.emplace_back(text);
        queue->show();
    }
    void output(OutputStream stream, QByteArrayView text) override
    {
        pieces.emplace_back(Printed{stream, text.toByteArray()});
        queue->show();
    }
    void ended(const CommandResult &result) override { queue->commandEnded(this, result); }

    JobQueue *queue;
    std::unique_ptr<Job> job; ///< none: it has ended
    std::vector<Output> outputs = {};
    Command command = {};
    std::vector<std::variant<QString, Printed>> pieces = {};
    std::optional<QString> error = {};
};

JobQueue::JobQueue(Project *project) : m_project(project) {}

JobQueue::~JobQueue() = default;

void JobQueue::setLimit(int limit)
{
    rlimit files = {};
    getrlimit(RLIMIT_NOFILE, &files);
    const int descriptors = static_cast<int>(std::min<rlim_t>(files.rlim_cur, INT_MAX));
    const int room = (descriptors - otherDescriptors) / descriptorsOfTool;
    m_limit = std::max(std::min(limit, room), 1);
}

bool JobQueue::add(std::unique_ptr<Job> job)
{
    while (m_waiting.size() >= maximumWaiting && !m_hasFailed)
        runSome(true);
    if (m_hasFailed)
        return false;
    Entry &entry = m_entries.emplace_back(this, std::move(job));
    if (runsSeveral())
        claimOutputs(&entry);
    m_waiting.push_back(&entry);
    ++m_added;
    if (!runsSeveral())
        return finish();
    runSome(false);
    return !m_hasFailed;
}

/// Waits for the jobs that write what this one writes. They may know it by other names: through
/// links to folders, or because the files are links.
void JobQueue::claimOutputs(Entry *entry)
{
    const QStringList paths = entry->job->outputs();
    for (const QString &output : paths) {
        const QString path = withoutDanglingLinks(output);
        const QFileInfo info(path);
        const FileId directory = FileStatus::of(info.path()).id();
        m_outputDirectories.insert(directory);
        entry->outputs.push_back({directory, QFile::encodeName(info.fileName())});
        const FileStatus file = FileStatus::of(path);
        if (file.exists())
            entry->outputs.push_back({file.id(), {}});
    }
    const auto isClaimed = [this](const Output &output) {
        return m_outputs.find(output) != m_outputs.end();
    };
    if (std::any_of(entry->outputs.begin(), entry->outputs.end(), isClaimed)) {
        runAll();
        entry->job->outputsChanged();
    }
    m_outputs.insert(entry->outputs.begin(), entry->outputs.end());
}

void JobQueue::awaitOutputsIn(const QString &directory)
{
    if (m_entries.empty())
        return;
    if (m_outputDirectories.find(FileStatus::of(directory).id()) != m_outputDirectories.end())
        runAll();
}

bool JobQueue::finish()
{
    runAll();
    m_project->showProgress({});
    std::optional<QString> error;
    for (Entry &entry : m_entries) {
        showPieces(&entry);
        if (!error)
            error = entry.error;
    }
    m_waiting.clear();
    m_entries.clear();
    m_outputs.clear();
    m_outputDirectories.clear();
    m_hasFailed = false;
    const QString lossText = std::exchange(m_lossText, {});
    if (!error && !lossText.isEmpty() && m_project->checkInterruption())
        error = lossText;
    return !error || m_project->raiseError(*error);
}

void JobQueue::runAll()
{
    while (m_running > 0 || (!m_hasFailed && !m_waiting.empty()))
        runSome(true);
}

/// Starts what there is room for.
/// @param blocks  waits until something happens
void JobQueue::runSome(bool blocks)
{
    while (!m_hasFailed && m_running < m_limit && !m_waiting.empty()) {
        Entry *const entry = m_waiting.front();
        m_waiting.pop_front();
        proceed(entry);
    }
    if (m_running > 0)
        m_project->commandRunner()->wait(blocks);
}

void JobQueue::proceed(Entry *entry)
{
    if (m_hasFailed) // another one: this one stops where it is
        return end(entry);
    std::optional<Command> command;
    if (!m_project->checkInterruption() || !entry->job->next(&command))
        return fail(entry, m_project->errorText());
    if (!command)
        return end(entry);
    entry->command = *std::move(command);
    ++m_running;
    if (!runsSeveral())
        return commandEnded(entry, m_project->commandRunner()->run(entry->command));
    m_project->showProgress(u"[%1/%2] %3 %4"_s.arg(m_ended).arg(m_added).arg(
            entry->command.displayName, entry->job->label()));
    m_project->commandRunner()->start(entry->command, entry);
}

void JobQueue::commandEnded(Entry *entry, const CommandResult &result)
{
    --m_running;
    entry->job->ended(result);
    if (result.succeeded())
        proceed(entry);
    else
        fail(entry, errorText(entry->command, result));
}

void JobQueue::fail(Entry *entry, const QString &error)
{
    entry->error = error;
    m_hasFailed = true;
    end(entry);
}

void JobQueue::end(Entry *entry)
{
    if (!entry->job->finish()) {
        entry->error = m_project->errorText();
        m_hasFailed = true;
    }
    for (const Output &output : std::as_const(entry->outputs))
        m_outputs.erase(output);
    entry->job.reset();
    entry->outputs.clear();
    entry->command = {}; // it may be long until the entry goes
    ++m_ended;
    show();
}

/// Shows the output whose turn it is, also of a job that is still running.
void JobQueue::show()
{
    while (!m_entries.empty()) {
        Entry &first = m_entries.front();
        showPieces(&first);
        if (first.job || first.error)
            return;
        m_entries.pop_front();
    }
}

void JobQueue::showOutput(const Printed &printed)
{
    const int error = m_project->showOutput(printed.stream, printed.text);
    if (error == 0 || !m_lossText.isEmpty())
        return;
    m_lossText = (printed.stream == OutputStream::Output ? u"Error writing standard output: %1"_s
                                                         : u"Error writing standard error: %1"_s)
                         .arg(qt_error_string(error));
    m_hasFailed = true;
}

void JobQueue::showPieces(Entry *entry)
{
    for (const auto &piece : std::as_const(entry->pieces)) {
        if (const QString *message = std::get_if<QString>(&piece))
            m_project->msg(*message);
        else
            showOutput(std::get<Printed>(piece));
    }
    entry->pieces.clear();
}
