#include "interruption.h"
#include "rows.h"

#include <QProcess>

#include <csignal>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int giveUpAfter = 300'000; // milliseconds

const QByteArray waiting = "[ztmake] Waiting for another build\n";

/// A program that runs beside the test.
class Running
{
public:
    Running(World &world, const QByteArrayList &arguments, const Start &start = {}) : m_world(world)
    {
        world.begin(&m_process, arguments, start);
        m_process.setReadChannel(QProcess::StandardError);
    }

    /// @return whether it has said that, or says it at last
    bool says(const QByteArray &text)
    {
        while (!m_process.peek(1 << 20).contains(text)) {
            if (!m_process.waitForReadyRead(giveUpAfter))
                return false;
        }
        return true;
    }

    bool hasEnded()
    {
        return m_process.state() == QProcess::NotRunning || m_process.waitForFinished(0);
    }
    pid_t number() const { return static_cast<pid_t>(m_process.processId()); }
    Result end() { return m_world.end(&m_process); }

private:
    World &m_world;
    QProcess m_process;
};

/// Plans that the tool's first call says that it has begun, and goes on when it is told to.
void planToStop(World &world, const QByteArray &tool, const QByteArrayList &before = {})
{
    const QByteArrayList stop{"write " + world.path("begun") + " x", "await " + world.path("go")};
    world.plan(tool, planned("1", before + stop));
}

bool hasBegun(const World &world)
{
    return QTest::qWaitFor([&] { return world.exists("begun"); }, giveUpAfter);
}

/// Runs a build that is killed alone while a tool of it runs, which goes on when it is told to.
/// @return whether it was
bool killBuildAlone(World &world, const QByteArray &tool)
{
    planToStop(world, tool, {"signal parent 9"});
    Running killed(world, {"-q", "demo.ztp"});
    return hasBegun(world) && killed.end().signal == SIGKILL;
}

int lockedDirectory(const World &world)
{
    const int file =
            open(world.path("project/obj").constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0, "lock", "obj");
    return file;
}

/// @return whether the process has the directory open
bool hasOpen(pid_t process, const QByteArray &directory)
{
    struct stat wanted = {};
    stat(directory.constData(), &wanted);
    for (int file = 3; file < 64; ++file) {
        struct stat data = {};
        const QByteArray path = "/proc/" + number(process) + "/fd/" + number(file);
        if (stat(path.constData(), &data) == 0 && data.st_dev == wanted.st_dev
            && data.st_ino == wanted.st_ino)
            return true;
    }
    return false;
}

} // namespace

/// One operation at a time uses an object directory.
class TestBuildLock : public QObject
{
    Q_OBJECT

private slots:
    void secondOneWaitsAndGoesOnFromWhatIsThere_data()
    {
        Rows<QByteArrayList, QByteArray, QByteArrayList> row; // first, where it stops, second
        const QByteArrayList build{"-q"};
        row("build", build, "ztlpp", build);
        row("build of everything", {"-q", "-A"}, "ztlpp", build);
        row("--clearobsolete", build, "ztlpp", {"-q", "--clearobsolete"});
        row("--cleanfirmwarefolder", build, "ztlpp", {"-q", "--cleanfirmwarefolder"});
        row("build after --clearobsolete", {"-q", "--clearobsolete"}, "ztlupdate", build);
    }
    void secondOneWaitsAndGoesOnFromWhatIsThere()
    {
        const auto [first, tool, second] = fetch<QByteArrayList, QByteArray, QByteArrayList>();
        World world;
        writeProject(world);
        planToStop(world, tool);
        Running one(world, first);
        QVERIFY(hasBegun(world));
        Running other(world, second);
        QVERIFY(other.says(waiting));
        world.write("go");
        const Result end = one.end();
        QCOMPARE(end.err, QByteArray());
        QCOMPARE(end.status, 0);
        const Result otherEnd = other.end();
        SAME(otherEnd.err, waiting);
        QCOMPARE(otherEnd.status, 0);
        QCOMPARE((names(end) + names(otherEnd)).count("ztlpp"), 1);
        QCOMPARE(world.exists("project/firmware/A-Demo-1#1234-firmware.ztf"),
                 !second.contains("--cleanfirmwarefolder"));
    }

    void signalEndsTheWaiting_data()
    {
        Rows<int, QByteArray> row; // number, name
        for (const auto &[name, value] : interruptions)
            row(name, value, QByteArray(name));
    }
    void signalEndsTheWaiting()
    {
        const auto [number, name] = fetch<int, QByteArray>();
        World world;
        writeSmallProject(world);
        world.makeDirectory("project/obj");
        const int lock = lockedDirectory(world);
        Running build(world, {"-q"});
        QVERIFY(build.says(waiting));
        QCOMPARE(kill(build.number(), number), 0);
        const Result result = build.end();
        QCOMPARE(result.signal, number);
        SAME(result.err, waiting + "[ztmake] Interrupted by " + name + '\n');
        QCOMPARE(result.calls.size(), 0);
        close(lock);
    }

    // The one that was waited for is gone, and another operation has the new one already.
    void directoryIsRemovedAndMadeAgainMeanwhile()
    {
        World world;
        writeSmallProject(world);
        world.makeDirectory("project/obj");
        world.plan("ztlpp", "* probe ../released\n");
        const int lock = lockedDirectory(world);
        Running build(world, {"-q"});
        QVERIFY(build.says(waiting));
        world.remove("project/obj");
        world.makeDirectory("project/obj");
        const int nextLock = lockedDirectory(world);
        close(lock);
        const QByteArray directory = world.path("project/obj");
        QVERIFY(QTest::qWaitFor(
                [&] { return build.hasEnded() || hasOpen(build.number(), directory); },
                giveUpAfter));
        QTest::qWait(500); // time enough to say it again
        world.write("released");
        close(nextLock);
        const Result result = build.end();
        SAME(result.err, waiting);
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.first().probes, QByteArrayList{"../released file x\n"});
    }

    void directoryIsRemovedMeanwhile()
    {
        World world;
        writeSmallProject(world);
        world.makeDirectory("project/obj");
        const int lock = lockedDirectory(world);
        Running build(world, {"-q"});
        QVERIFY(build.says(waiting));
        world.remove("project/obj");
        close(lock);
        const Result result = build.end();
        SAME(result.err, waiting);
        QCOMPARE(result.status, 0);
        QCOMPARE(world.tree("project/obj").count(".luo\n"), 2);
    }

    // The program is killed alone; its tool writes when the next build would long be done.
    void toolThatOutlivesItsBuildIsWaitedFor_data()
    {
        Rows<QByteArrayList, bool> row; // the next operation, whether the note is gone
        row("build", {"-q"}, false);
        row("build of everything", {"-q", "-A"}, false);
        row("build without the note", {"-q"}, true);
    }
    void toolThatOutlivesItsBuildIsWaitedFor()
    {
        const auto [next, isNoteGone] = fetch<QByteArrayList, bool>();
        World world;
        writeSmallProject(world);
        QVERIFY(killBuildAlone(world, "ztluac"));
        if (isNoteGone)
            world.remove("project/obj/.unfinished");
        Running build(world, next);
        QVERIFY(build.says(waiting));
        QCOMPARE(world.tree("project/obj").count(".luo"), 0);
        world.write("go");
        const Result result = build.end();
        SAME(result.err, waiting);
        QCOMPARE(result.status, 0);
        // The orphan's is taken for half written.
        QCOMPARE(names(result).count("ztluac"), 2);
        QCOMPARE(world.tree("project/obj").count(".luo\n"), 2);
        QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
    }

    // Whatever it writes to goes away meanwhile, and its note with it.
    void toolThatOutlivesItsObjectDirectoryIsWaitedFor_data()
    {
        Rows<QByteArray, bool> row; // tool, whether the directory is made again
        for (const char *tool : {"ztmkmtd", "ztluac", "ztlink"})
            row(tool, tool, false);
        row("ztlpp, made again", "ztlpp", true);
    }
    void toolThatOutlivesItsObjectDirectoryIsWaitedFor()
    {
        const auto [tool, isMadeAgain] = fetch<QByteArray, bool>();
        World world;
        writeProject(world);
        QVERIFY(killBuildAlone(world, tool));
        world.remove("project/obj");
        if (isMadeAgain)
            world.makeDirectory("project/obj/root");
        Running build(world, {"-q"});
        QVERIFY(build.says(waiting));
        QCOMPARE(world.tree("project/obj").count(".luo"), 0);
        world.write("go");
        const Result result = build.end();
        SAME(result.err, waiting);
        QCOMPARE(result.status, 0);
        // What the orphan has made is not taken for current.
        QVERIFY(names(result).contains(tool));
        SAME(outputs(world), outputsOf(steps.size() - 1, true));
    }

    void objectDirectoriesInsideEachOtherAreTwo()
    {
        World world;
        writeSmallProject(world);
        world.write("project/other.ztp",
                    world.read("project/demo.ztp")
                            .replace("<Project ", "<Project ObjectDirectory=\"obj/sub\" "));
        planToStop(world, "ztlpp");
        Running one(world, {"-q", "demo.ztp"});
        QVERIFY(hasBegun(world));
        Running other(world, {"-q", "other.ztp"});
        QVERIFY(QTest::qWaitFor([&] { return other.hasEnded(); }, giveUpAfter));
        SAME(other.end().err, "");
        world.write("go");
        SAME(one.end().err, "");
    }

    // Another project makes the same definitions, and knows nothing of that object directory.
    void toolThatOutlivesABuildOfTheSameDefinitionsIsWaitedFor()
    {
        World world;
        writeProject(world);
        writeProjectOfTheSameDefinitions(world);
        QVERIFY(killBuildAlone(world, "ztmkmtd"));
        Running build(world, {"-q", "other.ztp"});
        QVERIFY(build.says(waiting));
        world.write("go");
        const Result result = build.end();
        SAME(result.err, waiting);
        QCOMPARE(result.status, 0);
        QCOMPARE(names(result).count("ztmkmtd"), 1);
        SAME(world.tree("project/made"), "m.lh\nm.lua\n");
    }

    void buildOfTheSameDefinitionsIsWaitedFor_data()
    {
        Rows<int> row; // a signal that ends the waiting
        row("to its end", 0);
        row("until a signal", SIGINT);
    }
    void buildOfTheSameDefinitionsIsWaitedFor()
    {
        const auto [signal] = fetch<int>();
        World world;
        writeProject(world);
        writeProjectOfTheSameDefinitions(world);
        planToStop(world, "ztmkmtd");
        Running one(world, {"-q", "demo.ztp"});
        QVERIFY(hasBegun(world));
        Running other(world, {"-q", "other.ztp"});
        QVERIFY(other.says(waiting));
        if (signal != 0) {
            QCOMPARE(kill(other.number(), signal), 0);
            const Result result = other.end();
            QCOMPARE(result.signal, signal);
            SAME(result.err, waiting + "[ztmake] Interrupted by SIGINT\n");
        }
        world.write("go");
        const Result result = one.end();
        SAME(result.err, "");
        QCOMPARE(result.status, 0);
        if (signal == 0) {
            const Result otherResult = other.end();
            SAME(otherResult.err, waiting);
            QCOMPARE(otherResult.status, 0);
            QCOMPARE(names(otherResult).count("ztmkmtd"), 0); // it goes on from what is there
        }
        SAME(world.tree("project/made"), "m.lh\nm.lua\n");
    }
};

QTEST_GUILESS_MAIN(TestBuildLock)
#include "tst_buildlock.moc"
