#include "world.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>

#include <sys/mount.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using Files = QMap<QByteArray, QByteArray>; // what is in which file

/// The sources of a project that goes through every step but svnversion: files that are compiled in
/// two stages, and files that are copied. What its tools write is made of what they read.
class Project
{
public:
    explicit Project(const QByteArray &svnversion = "0")
    {
        for (const QByteArray &tool : World::toolNames())
            install("sdk/bin/" + tool);
        install("path/svnversion");
        world.makeDirectory("plan");
        world.environment().insert(u"ZTTEST_PLAN"_s, QString::fromUtf8(world.path("plan")));
        world.environment().insert(u"ZTTEST_FAULT_LOG"_s, QString::fromUtf8(log()));
        world.project(
                "Name=\"Demo\" Version=\"1\" SDK=\"../sdk\" BuildInstaller=\"1\" Svnversion=\""
                        + svnversion + '"',
                R"(<Target Model="A"/><Startup File="/main.lua"/>
<MTD16 Enabled="1"><Source>demo.mtdef</Source><Header>made/m.lh</Header><Lua>made/m.lua</Lua></MTD16>
<Translation Enabled="1"><Language>de</Language></Translation>
<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
<Merge Type="Directory"><Source>plain</Source><Destination>plain</Destination>
<Process><Preprocess Type="Ztlpp" Enabled="0"/><Compile Type="Lua" Enabled="0"/></Process></Merge>
</Filesystem>)");
        world.makeDirectory("project/made");
        for (const char *kernel : {"A-kernel.bin", "install.romfs", "base.romfs"})
            world.write("sdk/kernel/"_ba + kernel);
        writeSources("first", 0);
        // A folder is opened again for what follows a folder in it.
        for (int i = 0; isAtTheEdge("sub", world.entries("project/plain")); ++i)
            world.write("project/plain/more" + QByteArray::number(i) + ".lua");
    }

    void writeSources(const QByteArray &text, qint64 time)
    {
        for (const char *name : {"root/a.lua", "root/sub/b.lua", "plain/c.lua", "plain/sub/d.lua",
                                 "demo.mtdef", "translations/de.ts"})
            world.write("project/"_ba + name, text + '\n', time);
    }

    QByteArray log() const { return world.path("faults"); }

    Files outputs() const
    {
        Files files;
        const QDir directory(QString::fromUtf8(world.path("project")));
        QDirIterator it(directory.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QByteArray name = directory.relativeFilePath(it.next()).toUtf8();
            if (!name.startsWith("root/") && !name.startsWith("plain/")
                && !name.startsWith("demo."))
                files.insert(name, world.read("project/" + name));
        }
        return files;
    }

    /// As after a build of other sources, and one of these that was killed at each half output of
    /// the call @p call.
    void buildAndKill(int call)
    {
        QCOMPARE(world.run({"-q"}).status, 0);
        writeSources("second", 4'000'000'000);
        for (const QByteArray &name : outputs().keys())
            world.setTime("project/" + name, name.startsWith("translations/") ? 4'000'000'000 : 1);
        world.write("plan/plan", QByteArray::number(call) + " half group 9\n");
        world.remove("plan/calls");
        QCOMPARE(world.run({"-q"}, {.ownGroup = true}).signal, SIGKILL);
        world.remove("plan/plan");
        QVERIFY(world.exists("project/obj/.unfinished"));
    }

    void save() { copy("project", "saved"); }
    void restore()
    {
        world.remove("project");
        copy("saved", "project");
    }

    World world;

private:
    static bool isAtTheEdge(const QByteArray &name, const QByteArrayList &names)
    {
        return names.first() == name || names.last() == name;
    }
    void install(const QByteArray &name)
    {
        world.remove(name);
        QVERIFY(QFile::copy(QStringLiteral(HONEST_TOOL), QString::fromUtf8(world.path(name))));
    }
    void copy(const QByteArray &from, const QByteArray &to) const
    {
        QCOMPARE(QProcess::execute(u"cp"_s, {u"-a"_s, QString::fromUtf8(world.path(from)),
                                             QString::fromUtf8(world.path(to))}),
                 0);
    }
};

/// A run in which the call with that number fails.
struct FaultyRun
{
    FaultyRun(Project &project, const QByteArray &kind, const QByteArray &what, int number,
              const QByteArrayList &arguments = {"-q", "demo.ztp"})
    {
        QProcessEnvironment &environment = project.world.environment();
        environment.insert(u"LD_PRELOAD"_s, QStringLiteral(FAILCALLS_LIBRARY));
        environment.insert(u"ZTTEST_FAULT"_s,
                           QString::fromUtf8(kind + ' ' + what + ' ' + QByteArray::number(number)));
        if (project.world.exists(project.log()))
            project.world.remove(project.log());
        result = project.world.run(arguments, {.ownGroup = true});
        environment.remove(u"LD_PRELOAD"_s);
        const QByteArray text =
                project.world.exists(project.log()) ? project.world.read(project.log()) : "-1 ";
        count = text.left(text.indexOf(' ')).toInt();
        call = text.mid(text.indexOf(' ') + 1).trimmed();
        description = kind + ' ' + what + ' ' + QByteArray::number(number) + " (" + call
                      + "): status " + QByteArray::number(result.status) + ", signal "
                      + QByteArray::number(result.signal) + '\n' + result.err;
    }

    Result result;
    int count = -1; ///< of the calls of that kind; -1: the program did not come to its end
    QByteArray call;
    QByteArray description;
};

/// @return whether the message names the file or the program that is to blame
bool isGoodMessage(const QByteArray &err)
{
    static const QRegularExpression good(
            u"^\\[ztmake\\] (Cannot make directory \\S+|Cannot read \\S+|"
            "Cannot (write|delete) \\S+|Error (writing|reading) \\S+: .+|"
            "Command failed to run: \\S+|demo\\.ztp: .+|"
            "SDK \\S+ does not exist\\.|MTD16 input file \"\\S+\" not found\\.|"
            // Known texts without a name.
            "Cannot find SDK directory\\.|Cannot remove %s)\\n$"_s);
    return good.match(QString::fromUtf8(err)).hasMatch();
}

/// Whether the call that failed has opened a folder of sources.
bool isSourceFolder(const QByteArray &description)
{
    static const QRegularExpression folder(u"\\((open|opendir) (root|plain)"_s);
    return folder.match(QString::fromUtf8(description)).hasMatch();
}

/// Files that may be there besides those of a clean build, when they could not be deleted.
bool mayRemain(const QByteArray &name)
{
    return name.startsWith("obj/args.") || name == "obj/.unfinished" || name == "obj/root.romfs"
           || name.startsWith("firmware/");
}

/// @return empty when both are the same, otherwise what differs first
QByteArray difference(const Files &actual, const Files &expected,
                      bool (*isIgnored)(const QByteArray &))
{
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        if (actual.value(it.key(), "(missing)") != it.value())
            return it.key() + " is\n" + actual.value(it.key(), "(missing)") + "instead of\n"
                   + it.value();
    }
    for (auto it = actual.begin(); it != actual.end(); ++it) {
        if (!expected.contains(it.key()) && !isIgnored(it.key()))
            return it.key() + " is too much";
    }
    return {};
}

bool isResponseFile(const QByteArray &name)
{
    return name.startsWith("obj/args.");
}

bool nothing(const QByteArray &)
{
    return false;
}

/// @return whether every combination is to be tried, which takes some minutes
bool triesAll()
{
    return qEnvironmentVariableIsSet("ZTTEST_ALL_FAULTS");
}

/// The kinds of calls, and the errors that are tried every time; after a kill the first one alone.
const QList<std::pair<QByteArray, QByteArray>> likelyErrors{
        {"open", "EMFILE EACCES EIO"}, {"write", "ENOSPC EIO"},  {"close", "EIO ENOSPC"},
        {"mkdir", "ENOSPC EACCES"},    {"unlink", "EACCES EIO"}, {"rename", "EIO EACCES"},
        {"start", "ENOMEM EACCES"},    {"stat", "EIO"}};

} // namespace

class tst_Faults : public QObject
{
    Q_OBJECT

private slots:
    void anyCallMayFail_data();
    void anyCallMayFail();
    void writesMayBeCutShort();
    void killedAtAnyCall_data();
    void killedAtAnyCall();
    void interruptedAtAnyCall();
    void editedAtAnyCall_data();
    void editedAtAnyCall();
    void svnversionThatCannotBeStarted();
    void noFreeFileDescriptor();
    void fullFileSystem();
    void readOnlyObjectDirectory();
    void twoHundredThousandArguments();
    void cleanupTestCase() { qInfo("%d calls were made to fail", m_faults); }

private:
    void checkNextBuild(Project &project, const Files &expected, const QByteArray &description,
                        bool (*isIgnored)(const QByteArray &) = nothing);

    int m_faults = 0;
};

void tst_Faults::checkNextBuild(Project &project, const Files &expected,
                                const QByteArray &description,
                                bool (*isIgnored)(const QByteArray &))
{
    const Result next = project.world.run({"-q"});
    QVERIFY2(next.status == 0 && next.err.isEmpty(),
             (description + "then:\n" + next.err).constData());
    const QByteArray what = difference(project.outputs(), expected, isIgnored);
    QVERIFY2(what.isEmpty(), (description + "then " + what).constData());
}

void tst_Faults::anyCallMayFail_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("error");
    QTest::addColumn<int>("killed"); // in which call the build before was killed; 0: none
    for (const auto &[kind, likely] : likelyErrors) {
        for (const char *error : {"ENOSPC", "EACCES", "EIO", "EMFILE", "ENOMEM"}) {
            for (const int killed : {0, 3}) {
                const bool isTaken = killed ? likely.startsWith(error) : likely.contains(error);
                if (!triesAll() && !isTaken)
                    continue;
                QTest::addRow("%s, %s, %s", kind.constData(), error,
                              killed ? "after a kill" : "from nothing")
                        << kind << QByteArray(error) << killed;
            }
        }
    }
}

void tst_Faults::anyCallMayFail()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, error);
    QFETCH(int, killed);
    Project project;
    if (killed)
        project.buildAndKill(killed);
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    for (int number = 1;; ++number) {
        project.restore();
        const FaultyRun run(project, kind, error, number);
        QVERIFY2(run.result.status == 0 || run.result.status == 1, run.description.constData());
        QVERIFY2(run.count >= 0, run.description.constData());
        if (run.count < number) {
            QVERIFY(number > 1);
            break;
        }
        ++m_faults;
        if (run.result.status == 1) {
            QVERIFY2(isGoodMessage(run.result.err), run.description.constData());
        } else {
            Files outputs = project.outputs();
            // A folder that the user must not read is left out without a word.
            if (error == "EACCES" && isSourceFolder(run.description))
                goto next;
            // Writes of these two are not checked.
            for (const char *name : {"obj/version.txt", "obj/autoexec.lua"}) {
                if ((kind == "write" || kind == "close") && outputs.value(name) != expected[name])
                    goto next;
            }
            {
                const QByteArray what =
                        difference(outputs, expected, kind == "unlink" ? mayRemain : nothing);
                QVERIFY2(what.isEmpty(), (run.description + what).constData());
            }
        }
    next:
        checkNextBuild(project, expected, run.description,
                       kind == "unlink" ? isResponseFile : nothing);
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_Faults::writesMayBeCutShort()
{
    Project project;
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    for (int number = 1;; ++number) {
        project.restore();
        const FaultyRun run(project, "write", "SHORT", number);
        QVERIFY2(run.count >= 0, run.description.constData());
        if (run.count < number)
            break;
        ++m_faults;
        QVERIFY2(run.result.status == 0 || isGoodMessage(run.result.err),
                 run.description.constData());
        if (run.result.status == 0) {
            const QByteArray what = difference(project.outputs(), expected, nothing);
            QVERIFY2(what.isEmpty(), (run.description + what).constData());
        }
        checkNextBuild(project, expected, run.description);
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_Faults::killedAtAnyCall_data()
{
    QTest::addColumn<int>("killed");
    QTest::newRow("from nothing") << 0;
    for (const int call : {3, 1, 6}) {
        if (call == 3 || triesAll())
            QTest::addRow("after a kill in call %d", call) << call;
    }
}

void tst_Faults::killedAtAnyCall()
{
    QFETCH(int, killed);
    Project project;
    if (killed)
        project.buildAndKill(killed);
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    for (int number = 1;; ++number) {
        project.restore();
        const FaultyRun run(project, "any", "KILL", number);
        if (run.count >= 0)
            break;
        ++m_faults;
        QCOMPARE(run.result.signal, SIGKILL);
        checkNextBuild(project, expected, run.description, isResponseFile);
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_Faults::interruptedAtAnyCall()
{
    Project project("1");
    project.buildAndKill(4);
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    for (int number = 1;; ++number) {
        project.restore();
        const FaultyRun run(project, "any", "TERM", number);
        if (run.count >= 0 && run.count < number)
            break;
        ++m_faults;
        // At its last calls it has done all that there was to do.
        QVERIFY2(run.result.signal == SIGTERM || run.result.status == 0,
                 run.description.constData());
        if (run.result.status == 0) {
            const QByteArray what = difference(project.outputs(), expected, nothing);
            QVERIFY2(what.isEmpty(), (run.description + what).constData());
        }
        for (const QByteArray &name : project.outputs().keys())
            QVERIFY2(!isResponseFile(name), (run.description + name).constData());
        checkNextBuild(project, expected, run.description);
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_Faults::editedAtAnyCall_data()
{
    QTest::addColumn<QByteArray>("file");
    for (const char *file : {"plain/c.lua", "root/a.lua", "demo.mtdef"}) {
        if (triesAll() || file == "plain/c.lua"_ba)
            QTest::newRow(file) << QByteArray(file);
    }
}

void tst_Faults::editedAtAnyCall()
{
    QFETCH(QByteArray, file);
    Project project;
    project.save();
    project.world.write("project/" + file, "first\nedited meanwhile\n");
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    project.world.environment().insert(u"ZTTEST_FAULT_FILE"_s,
                                       QString::fromUtf8(project.world.path("project/" + file)));
    for (int number = 1;; ++number) {
        project.restore();
        const FaultyRun run(project, "any", "EDIT", number);
        QCOMPARE(run.result.status, 0);
        if (run.count < number)
            break;
        ++m_faults;
        checkNextBuild(project, expected, run.description);
        if (QTest::currentTestFailed())
            return;
    }
}

void tst_Faults::svnversionThatCannotBeStarted()
{
    Project project("1");
    // Qt starts the process by means that cannot be seen here; its program can.
    const FaultyRun run(project, "exec", "EACCES", 1);
    QVERIFY2(run.result.status == 0, run.description.constData());
    SAME(run.result.err, "[ztmake] Warning: svnversion failed to run.\n");
    SAME(project.world.read("project/obj/version.txt"), "1#?\n");
    ++m_faults;
}

void tst_Faults::noFreeFileDescriptor()
{
    Project project;
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    int failures = 0;
    for (int limit = 3;; ++limit) {
        project.restore();
        QVERIFY(limit < 64);
        const Result result = project.world.run({"-q", "demo.ztp"}, {.fileLimit = limit});
        const QByteArray description = "limit " + QByteArray::number(limit) + ": status "
                                       + QByteArray::number(result.status) + '\n' + result.err;
        // The tools are under the limit, too, and so are the loaders of them all.
        const bool isStarted = !result.err.contains("error while loading shared libraries");
        if (result.status == 0) {
            const QByteArray what = difference(project.outputs(), expected, nothing);
            QVERIFY2(what.isEmpty(), (description + what).constData());
        } else if (isStarted && !result.err.contains("Command exited with status")) {
            QVERIFY2(result.status == 1 && isGoodMessage(result.err), description.constData());
            ++failures;
        }
        checkNextBuild(project, expected, description);
        if (QTest::currentTestFailed())
            return;
        if (result.status == 0)
            break;
    }
    QVERIFY(failures > 0);
}

void tst_Faults::fullFileSystem()
{
    Project project;
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    const QByteArray disk = project.world.path("project/obj");
    project.restore();
    project.world.makeDirectory("project/obj");
    if (mount("none", disk.constData(), "tmpfs", 0, "size=4k,nr_inodes=30") != 0)
        QSKIP("No file system can be mounted here.");
    const auto unmount = qScopeGuard([&] { umount(disk.constData()); });
    for (int inodes = 30; inodes >= 2; --inodes) {
        for (const char *size : {"4k", "16k", "1m"}) {
            QCOMPARE(umount(disk.constData()), 0);
            const QByteArray options =
                    "size="_ba + size + ",nr_inodes=" + QByteArray::number(inodes);
            QCOMPARE(mount("none", disk.constData(), "tmpfs", 0, options.constData()), 0);
            const Result result = project.world.run({"-q"});
            const QByteArray description = options + ": " + result.err;
            QVERIFY2(result.status == 0 || result.status == 1, description.constData());
            if (result.status == 1) {
                const bool isTool = result.err.contains("[ztmake] Command exited with status ");
                QVERIFY2(isTool || isGoodMessage(result.err), description.constData());
                ++m_faults;
            }

            QCOMPARE(
                    mount("none", disk.constData(), "tmpfs", MS_REMOUNT, "size=16m,nr_inodes=1000"),
                    0);
            checkNextBuild(project, expected, description);
            if (QTest::currentTestFailed())
                return;
        }
    }
}

void tst_Faults::readOnlyObjectDirectory()
{
    Project project;
    project.save();
    QCOMPARE(project.world.run({"-q"}).status, 0);
    const Files expected = project.outputs();
    project.restore();
    project.world.makeDirectory("project/obj/translations");
    project.world.setMode("project/obj", 0555);
    const Result result = project.world.run({"-q"}, {.ordinaryUser = true});
    QCOMPARE(result.status, 1);
    SAME(result.err, "[ztmake] Error writing obj/.unfinished: Permission denied\n");
    project.world.setMode("project/obj", 0755);
    const Result next = project.world.run({"-q"}, {.ordinaryUser = true});
    QCOMPARE(next.err, QByteArray());
    QCOMPARE(next.status, 0);
    const QByteArray what = difference(project.outputs(), expected, nothing);
    QVERIFY2(what.isEmpty(), what.constData());
}

void tst_Faults::twoHundredThousandArguments()
{
    constexpr int count = 50'000; // four arguments each
    World world;
    world.project("Name=\"Demo\" SDK=\"../sdk\"",
                  "<Filesystem><Merge Type=\"Directory\"><Source>root</Source></Merge></Filesystem>"
                  "<Process><Preprocess Type=\"Ztlpp\" Enabled=\"0\"/></Process>");
    world.setTime("project/demo.ztp", -1);
    world.write("project/root/0.lua");
    world.write("project/obj/root/0.luo");
    for (const char *name : {"root/%1.lua", "obj/root/%1.luo"}) {
        const QByteArray first = world.path("project/" + QByteArray(name).replace("%1", "0"));
        for (int i = 1; i < count; ++i) {
            const QByteArray path =
                    world.path("project/" + QByteArray(name).replace("%1", QByteArray::number(i)));
            QCOMPARE(::link(first.constData(), path.constData()), 0);
        }
    }
    const Result result = world.run({"-q"});
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 1);
    QCOMPARE(result.calls.first().received.size(), 1);
    QVERIFY(result.calls.first().arguments.size() > 4 * count);
    QSet<QByteArray> objects(result.calls.first().arguments.begin(),
                             result.calls.first().arguments.end());
    for (int i = 0; i < count; ++i)
        QVERIFY(objects.contains("obj/root/" + QByteArray::number(i) + ".luo"));
    QVERIFY(!world.exists(result.calls.first().responseFile));
}

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
