#include "engine/jobqueue.h"

#include "rows.h"
#include "testfiles.h"

#include <algorithm>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

/// Commands run until the test ends them.
class HeldRunner final : public CommandRunner
{
public:
    CommandResult run(const Command &command) override
    {
        started.append(command.displayName);
        return resultOf(command.displayName);
    }

    void start(const Command &command, CommandListener *listener) override
    {
        started.append(command.displayName);
        running.append({command.displayName, listener});
        listener->message(command.displayName + u" starts"_s);
    }

    void wait(bool blocks) override
    {
        if (blocks && !running.isEmpty())
            end(endsLast ? running.last().first : running.first().first);
    }

    void print(const QString &name, const QByteArray &text)
    {
        find(name)->second->output(OutputStream::Error, text);
    }

    void end(const QString &name)
    {
        CommandListener *const listener = find(name)->second;
        running.erase(find(name));
        listener->ended(resultOf(name));
    }

    QStringList started;
    QList<std::pair<QString, CommandListener *>> running;
    QStringList failing;
    bool endsLast = false; ///< the one that started last ends first

private:
    QList<std::pair<QString, CommandListener *>>::iterator find(const QString &name)
    {
        return std::find_if(running.begin(), running.end(),
                            [&](const auto &one) { return one.first == name; });
    }

    CommandResult resultOf(const QString &name) const
    {
        const bool fails = failing.contains(name);
        return {.outcome =
                        fails ? CommandResult::Outcome::Failed : CommandResult::Outcome::Succeeded,
                .status = name.size() > 1 ? static_cast<int>(name[1].digitValue()) : 9,
                .isFinished = !fails};
    }
};

class RecordingJobs final : public Project
{
public:
    using Project::Project;

    void msg(const QString &text) override { shown.append(text); }
    int showOutput(OutputStream /*stream*/, QByteArrayView text) override
    {
        shown.append(QString::fromUtf8(text));
        return outputError;
    }
    void showProgress(const QString &line) override { progress.append(line); }

    QStringList shown;
    int outputError = 0;
    QStringList progress;
};

class NamedJob final : public Job
{
public:
    NamedJob(QStringList commands, QStringList outputs, QStringList *events)
        : m_commands(std::move(commands)), m_outputs(std::move(outputs)), m_events(events)
    {
    }

    QString label() const override { return u"label"_s; }
    QStringList outputs() const override { return m_outputs; }
    void outputsChanged() override { m_events->append(u"changed"_s); }
    bool next(std::optional<Command> *command) override
    {
        if (!m_commands.isEmpty())
            *command = Command{m_commands.takeFirst(), {}, {}};
        return true;
    }
    void ended(const CommandResult &result) override
    {
        m_events->append(result.succeeded() ? u"succeeded"_s : u"failed"_s);
    }
    bool finish() override
    {
        m_events->append(u"finished"_s);
        return !m_events->contains(u"stuck"_s);
    }

private:
    QStringList m_commands;
    QStringList m_outputs;
    QStringList *m_events;
};

} // namespace

class TestJobQueue : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_spec = {};
        m_project = std::make_unique<RecordingJobs>(m_spec);
        auto runner = std::make_unique<HeldRunner>();
        m_runner = runner.get();
        m_project->setCommandRunner(std::move(runner));
        m_events.clear();
        queue().setLimit(2);
    }

    void withALimitOfOneAJobHasEndedWhenItIsAdded()
    {
        queue().setLimit(1);
        QVERIFY(!queue().runsSeveral());
        QVERIFY(add({u"a1"_s, u"a2"_s}));
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"a2"_s}));
        QCOMPARE(m_events, QStringList({u"succeeded"_s, u"succeeded"_s, u"finished"_s}));
        QCOMPARE(m_project->progress.filter(u"a"_s), QStringList());
    }

    void withALimitOfOneAFailureIsToldAtOnce()
    {
        queue().setLimit(1);
        m_runner->failing = QStringList{u"a1"_s};
        QVERIFY(!add({u"a1"_s, u"a2"_s}));
        QCOMPARE(m_project->errorText(), u"Command exited with status 1"_s);
        QCOMPARE(m_events, QStringList({u"failed"_s, u"finished"_s}));
        QVERIFY(add({u"b1"_s})); // as for the one who asks again
    }

    void asManyAsTheLimitRunAtOnce()
    {
        QVERIFY(add({u"a1"_s}) && add({u"b1"_s}) && add({u"c1"_s}));
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b1"_s}));
        m_runner->end(u"b1"_s);
        QVERIFY(add({u"d1"_s}));
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b1"_s, u"c1"_s}));
    }

    void limitLeavesRoomForOpenFiles()
    {
        rlimit files = {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &files), 0);
        const rlimit few{64 + 2 * 3, files.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
        queue().setLimit(100);
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &files), 0);
        QVERIFY(add({u"a1"_s}) && add({u"b1"_s}) && add({u"c1"_s}));
        QCOMPARE(m_runner->running.size(), 2);
    }

    // Whichever ends last, those that wait are not forgotten.
    void everyJobRuns_data()
    {
        const Rows<bool> row; // whether the last one ends first
        row("in turn", false);
        row("the last one first", true);
    }
    void everyJobRuns()
    {
        m_runner->endsLast = std::get<0>(fetch<bool>());
        for (char letter = 'a'; letter <= 'z'; ++letter)
            QVERIFY(add({QLatin1Char(letter) + u"1"_s, QLatin1Char(letter) + u"2"_s}));
        QVERIFY(queue().finish());
        QCOMPARE(m_runner->started.size(), 52);
        QCOMPARE(m_events.count(u"finished"_s), 26);
    }

    void jobsThatWaitAreBounded()
    {
        for (int i = 0; i < 10'100; ++i)
            QVERIFY(add({u"a1"_s}));
        QVERIFY(m_runner->started.size() > 2);
    }

    void runnerOfOneCommandAtATime()
    {
        int commands = 0;
        const auto run = [&](const Command & /*command*/) { return ++commands > 0; };
        m_project->setCommandRunner(std::make_unique<FakeRunner>(run));
        QVERIFY(add({u"a1"_s, u"a2"_s}) && add({u"b1"_s}) && queue().finish());
        QCOMPARE(commands, 3);
    }

    void commandsOfAJobFollowEachOther()
    {
        QVERIFY(add({u"a1"_s, u"a2"_s}) && add({u"b1"_s}) && add({u"c1"_s}));
        m_runner->end(u"a1"_s);
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b1"_s, u"a2"_s}));
    }

    void whatIsPrintedIsShownInTheOrderOfTheJobs()
    {
        QVERIFY(add({u"a1"_s, u"a2"_s}));
        QCOMPARE(m_project->shown, QStringList(u"a1 starts"_s));
        QVERIFY(add({u"b1"_s}));
        m_runner->print(u"b1"_s, "b");
        m_runner->end(u"b1"_s);
        m_runner->print(u"a1"_s, "a");
        // The one whose turn it is need not have ended.
        QCOMPARE(m_project->shown, QStringList({u"a1 starts"_s, u"a"_s}));
        m_runner->end(u"a1"_s);
        m_runner->end(u"a2"_s);
        QCOMPARE(m_project->shown,
                 QStringList({u"a1 starts"_s, u"a"_s, u"a2 starts"_s, u"b1 starts"_s, u"b"_s}));
    }

    void firstFailureInOrderIsTold()
    {
        m_runner->failing = QStringList{u"a1"_s, u"b2"_s};
        QVERIFY(add({u"a1"_s}) && add({u"b2"_s}) && add({u"c3"_s}));
        m_runner->end(u"b2"_s);
        QVERIFY(!add({u"d4"_s}) && !queue().finish());
        QCOMPARE(m_project->errorText(), u"Command exited with status 1"_s);
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b2"_s}));
        QCOMPARE(m_project->shown, QStringList({u"a1 starts"_s, u"b2 starts"_s}));
    }

    void jobThatCannotBeFinishedIsAFailure()
    {
        QVERIFY(add({u"a1"_s}));
        m_project->raiseError(u"Cannot finish"_s);
        m_events.append(u"stuck"_s);
        m_runner->end(u"a1"_s);
        QVERIFY(!add({u"b1"_s}) && !queue().finish());
        QCOMPARE(m_project->errorText(), u"Cannot finish"_s);
    }

    void failureStopsOtherJobsWhereTheyAre()
    {
        m_runner->failing = QStringList{u"b2"_s};
        QVERIFY(add({u"a1"_s, u"a5"_s}) && add({u"b2"_s}));
        m_runner->end(u"b2"_s);
        QVERIFY(!queue().finish());
        QCOMPARE(m_project->errorText(), u"Command exited with status 2"_s);
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b2"_s}));
        QCOMPARE(m_events,
                 QStringList({u"failed"_s, u"finished"_s, u"succeeded"_s, u"finished"_s}));
    }

    void failureForgetsTheJobsThatWait()
    {
        m_runner->failing = QStringList{u"a1"_s};
        QVERIFY(add({u"a1"_s}) && add({u"b1"_s}) && add({u"c1"_s}, {u"x"_s}));
        QVERIFY(!queue().finish());
        QVERIFY(add({u"d1"_s}, {u"x"_s}) && queue().finish());
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b1"_s, u"d1"_s}));
        QVERIFY(!m_events.contains(u"changed"_s));
    }

    void jobsWithOneOutputDoNotRunAtOnce_data()
    {
        const Rows<QString, QString> row; // the two outputs
        row("by name", u"obj/x.luo"_s, u"obj/x.luo"_s);
        row("through a link to the folder", u"obj/x.luo"_s, u"link/x.luo"_s);
        row("through a link that leads nowhere yet", u"obj/new.luo"_s, u"obj/dangling.luo"_s);
        row("through a link", u"obj/old.luo"_s, u"obj/linked.luo"_s);
    }
    void jobsWithOneOutputDoNotRunAtOnce()
    {
        const auto [first, second] = fetch<QString, QString>();
        const QTemporaryDir world;
        const auto path = [&world](const QString &name) { return world.filePath(name); };
        QVERIFY(TestFiles::write(path(u"obj/old.luo"_s)));
        QVERIFY(QFile::link(path(u"obj"_s), path(u"link"_s)));
        QVERIFY(QFile::link(path(u"obj/old.luo"_s), path(u"obj/linked.luo"_s)));
        QVERIFY(QFile::link(u"new.luo"_s, path(u"obj/dangling.luo"_s)));
        QVERIFY(add({u"a1"_s}, {path(first)}) && add({u"b1"_s}, {path(second)}));
        QCOMPARE(m_runner->started, QStringList({u"a1"_s, u"b1"_s}));
        QCOMPARE(m_events, QStringList({u"succeeded"_s, u"finished"_s, u"changed"_s}));
        QVERIFY(queue().finish());
    }

    void folderInWhichAJobWritesIsAwaited()
    {
        const QTemporaryDir world;
        QVERIFY(add({u"a1"_s}, {world.filePath(u"x.luo"_s)}));
        queue().awaitOutputsIn(u"/"_s);
        QCOMPARE(m_runner->running.size(), 1);
        queue().awaitOutputsIn(world.path() + u"/."_s);
        QCOMPARE(m_runner->running.size(), 0);
        QVERIFY(queue().finish() && add({u"b1"_s}));
        queue().awaitOutputsIn(world.path()); // nobody writes there any longer
        QCOMPARE(m_runner->running.size(), 1);
    }

    void lostOutputIsAFailure()
    {
        m_project->outputError = ENOSPC;
        QVERIFY(add({u"a1"_s}) && add({u"b1"_s}));
        m_runner->print(u"a1"_s, "a");
        QVERIFY(!add({u"c1"_s}) && !queue().finish());
        QCOMPARE(m_project->errorText(),
                 u"Error writing standard error: No space left on device"_s);
        m_project->outputError = 0;
        QVERIFY(add({u"d1"_s}) && queue().finish());
    }

    void progressCountsJobs()
    {
        QVERIFY(add({u"a1"_s}) && add({u"b1"_s}) && add({u"c1"_s}) && queue().finish());
        QCOMPARE(m_project->progress, QStringList({u"[0/1] a1 label"_s, u"[0/2] b1 label"_s,
                                                   u"[1/3] c1 label"_s, QString()}));
    }

private:
    JobQueue &queue() { return m_project->jobs(); }

    bool add(const QStringList &commands, const QStringList &outputs = {})
    {
        return queue().add(std::make_unique<NamedJob>(commands, outputs, &m_events));
    }

    ProjectSpec m_spec;
    std::unique_ptr<RecordingJobs> m_project;
    HeldRunner *m_runner = nullptr;
    QStringList m_events;
};

QTEST_GUILESS_MAIN(TestJobQueue)
#include "tst_jobqueue.moc"
