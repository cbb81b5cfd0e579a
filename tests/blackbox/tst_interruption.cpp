#include "world.h"

#include <QDeadlineTimer>
#include <QtTest>

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray demo = R"(Name="Demo" Version="1" SDK="../sdk")";

/// A project that runs every program once, and the images' twice.
void writeProject(World &world)
{
    world.project(R"(Name="Demo" Version="1" SDK="../sdk" Svnversion="1" BuildInstaller="1")",
                  R"(<Target Model="A"/>
<MTD16 Enabled="1"><Source>demo.mtdef</Source><Header>made/m.lh</Header><Lua>made/m.lua</Lua></MTD16>
<Translation Enabled="1"><Language>de</Language></Translation>
<Filesystem><Merge Type="Directory"><Source>root</Source></Merge></Filesystem>)");
    world.write("project/root/a.lua");
    world.write("project/demo.mtdef");
    world.write("project/translations/de.ts");
    world.makeDirectory("project/made");
}

/// Two Lua files, compiled in two stages; nothing else.
void writeSmallProject(World &world, const QByteArray &process = {})
{
    world.project(demo, "<Filesystem><Merge Type=\"Directory\"><Source>root</Source></Merge>"
                        "</Filesystem><Process>"
                                + process + "</Process>");
    for (const char *name : {"a", "b"})
        world.write("project/root/"_ba + name + ".lua");
}

struct Step
{
    const char *name;
    const char *tool;
    const char *call;    ///< which of the tool's calls
    const char *outputs; ///< files in the project's directory that it makes
};

/// The programs of writeProject() in the order in which they run.
const QList<Step> steps{
        {"svnversion", "svnversion", "1", ""},
        {"ztmkmtd", "ztmkmtd", "1", "made/m.lh\nmade/m.lua\n"},
        {"ztlpp", "ztlpp", "1", "obj/root/a.lui\n"},
        {"ztluac", "ztluac", "1", "obj/root/a.luo\n"},
        {"ztlupdate", "ztlupdate", "1", "obj/translations/report.xml\n"},
        {"lrelease", "lrelease", "1", "obj/translations/de.qm\nobj/version.txt\n"},
        {"ztmkromfs", "ztmkromfs", "1", "obj/root.romfs\n"},
        {"ztlink", "ztlink", "1", "firmware/A-Demo-1#1234-firmware.ztf\n"},
        {"ztmkromfs, installer", "ztmkromfs", "2", "obj/installer.romfs\n"},
        {"ztlink, installer", "ztlink", "2", "firmware/A-Demo-1#1234-install.ztf\n"},
};

const QList<std::pair<const char *, int>> interruptions{
        {"SIGINT", SIGINT}, {"SIGTERM", SIGTERM}, {"SIGHUP", SIGHUP}};

/// The files of writeProject() that are no sources, and none of which is left half written.
QByteArray outputs(const World &world)
{
    QByteArray names;
    for (const QByteArray &name : world.tree("project").split('\n')) {
        const bool isSource = name.startsWith("root/") || name.startsWith("translations/")
                              || name.startsWith("demo.") || name.endsWith('/') || name.isEmpty();
        if (!isSource)
            names += name + (world.read("project/" + name) == "half" ? " (half)\n" : "\n");
    }
    return names;
}

QByteArray sorted(const QByteArray &lines)
{
    QByteArrayList list = lines.split('\n');
    list.removeAll({});
    std::sort(list.begin(), list.end());
    return list.isEmpty() ? QByteArray() : list.join('\n') + '\n';
}

/// What is there before a step, or (@p after) behind it.
QByteArray outputsOf(qsizetype step, bool after)
{
    QByteArray names;
    for (qsizetype i = 0; i < step + after; ++i) {
        // The start of the installers frees the place of the other temporary image.
        if (i != 6 || step < 8)
            names += steps[i].outputs;
    }
    // Written right before the image is packed, by no tool.
    if (step == 5 && after)
        names.replace("obj/version.txt\n", "");
    return sorted(names);
}

QByteArrayList names(const Result &result)
{
    QByteArrayList list;
    for (const Call &call : result.calls)
        list.append(call.name);
    return list;
}

QByteArrayList namesUpTo(qsizetype step)
{
    QByteArrayList list;
    for (qsizetype i = 0; i <= step; ++i)
        list.append(steps[i].tool);
    return list;
}

QByteArray planned(const char *call, std::initializer_list<QByteArray> actions)
{
    QByteArray lines;
    for (const QByteArray &action : actions)
        lines += call + (' ' + action) + '\n';
    return lines;
}

QByteArray number(int value)
{
    return QByteArray::number(value);
}

QByteArray message(const char *signal, const char *tool)
{
    return "[ztmake] Interrupted by "_ba + signal + " while " + tool + " was running\n";
}

/// A shell with job control in a terminal of its own.
class Terminal
{
public:
    Terminal(const World &world, const QByteArray &directory)
    {
        m_process = forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_process == 0) {
            for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGTTIN, SIGTTOU, SIGQUIT})
                std::signal(signal, SIG_DFL);
            setenv("PS1", "ready> ", 1);
            setenv("ENV", "/dev/null", 1);
            setenv("PATH", world.environment("PATH").constData(), 1);
            setenv("HOME", world.environment("HOME").constData(), 1);
            setenv("ZTTEST_DIR", world.environment("ZTTEST_DIR").constData(), 1);
            if (chdir(world.path(directory).constData()) == 0)
                execl("/bin/sh", "sh", "-i", nullptr);
            _exit(127);
        }
    }
    ~Terminal()
    {
        close(m_terminal);
        kill(-m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    bool type(const QByteArray &text) const
    {
        return write(m_terminal, text.constData(), size_t(text.size())) == text.size();
    }

    /// Reads on until the text appears, and forgets all up to it.
    bool sees(const QByteArray &text)
    {
        const QDeadlineTimer deadline(60'000);
        while (!m_seen.contains(text)) {
            pollfd input{m_terminal, POLLIN, 0};
            char block[4096];
            const ssize_t count = poll(&input, 1, int(deadline.remainingTime())) == 1
                                          ? read(m_terminal, block, sizeof block)
                                          : -1;
            if (count <= 0) {
                qWarning("seen: %s", m_seen.constData());
                return false;
            }
            m_seen.append(block, count);
        }
        m_seen.remove(0, m_seen.indexOf(text) + text.size());
        return true;
    }

private:
    pid_t m_process = -1;
    int m_terminal = -1;
    QByteArray m_seen;
};

bool appears(const World &world, const QByteArray &name)
{
    return QTest::qWaitFor([&] { return world.exists(name); }, 60'000);
}

} // namespace

class tst_Interruption : public QObject
{
    Q_OBJECT

private slots:
    void toolIsEndedByTheSignal_data();
    void toolIsEndedByTheSignal();
    void toolThatCatchesTheSignalHasFinished_data();
    void toolThatCatchesTheSignalHasFinished();
    void toolThatFailsAfterTheSignal();
    void secondSignalKillsTheTool_data();
    void secondSignalKillsTheTool();
    void secondSignalKillsAToolThatIgnoresTheFirst();
    void signalToTheToolAlone_data();
    void signalToTheToolAlone();
    void toolThatEndsAtOnce();
    void responseFileIsRemoved();
    void olderOutputsOfAnInterruptedCatalogueAreRemoved();
    void clearingObsoleteTextsIsInterrupted();
    void ignoredSignalsStayIgnored_data();
    void ignoredSignalsStayIgnored();
    void killedBuildIsMadeUpFor_data();
    void killedBuildIsMadeUpFor();
    void tornNoteBuildsEverything_data();
    void tornNoteBuildsEverything();
    void tornNoteStaysUntilABuildSucceeds();
    void controlCInATerminal();
    void controlZInATerminal();
    void inputEditedWhileItsToolRuns_data();
    void inputEditedWhileItsToolRuns();
    void projectFileEditedWhileAToolRuns();
    void editOfAnotherFileCostsNothing();
};

void tst_Interruption::toolIsEndedByTheSignal_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("whom");
    for (int step = 0; step < steps.size(); ++step) {
        for (const auto &[name, value] : interruptions) {
            for (const char *whom : {"parent", "group"}) {
                QTest::addRow("%s, %s, %s", steps[step].name, name, whom)
                        << step << value << QByteArray(whom);
            }
        }
    }
}

void tst_Interruption::toolIsEndedByTheSignal()
{
    QFETCH(int, step);
    QFETCH(int, number);
    QFETCH(QByteArray, whom);
    World world;
    writeProject(world);
    const Step &last = steps[step];
    world.plan(last.tool,
               planned(last.call, {"partial", "signal " + whom + ' ' + ::number(number), "wait"}));
    const Result result = world.run({"-q"}, {.ownGroup = true});
    QCOMPARE(result.status, -1);
    QCOMPARE(result.signal, number);
    const char *name = number == SIGINT ? "SIGINT" : number == SIGTERM ? "SIGTERM" : "SIGHUP";
    SAME(result.err,
         step == 0 ? "[ztmake] Interrupted by "_ba + name + '\n' : message(name, last.tool));
    SAME(result.out, "");
    QCOMPARE(names(result), namesUpTo(step));
    // Of the user's catalogues and of the report only the next build makes good ones.
    SAME(outputs(world), outputsOf(step, step == 4));

    world.plan(last.tool, "");
    const Result next = world.run({"-q"});
    QCOMPARE(next.err, QByteArray());
    QCOMPARE(next.status, 0);
    SAME(outputs(world), outputsOf(steps.size() - 1, true));
}

void tst_Interruption::toolThatCatchesTheSignalHasFinished_data()
{
    QTest::addColumn<int>("step");
    for (int step = 1; step < steps.size(); ++step)
        QTest::newRow(steps[step].name) << step;
}

void tst_Interruption::toolThatCatchesTheSignalHasFinished()
{
    QFETCH(int, step);
    World world;
    writeProject(world);
    const Step &last = steps[step];
    world.plan(last.tool, planned(last.call, {"catch", "signal parent 15", "wait"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.signal, SIGTERM);
    SAME(result.err, message("SIGTERM", last.tool));
    QCOMPARE(names(result), namesUpTo(step));
    SAME(outputs(world), outputsOf(step, true));

    world.plan(last.tool, "");
    const Result next = world.run({"-q"});
    QCOMPARE(next.status, 0);
    const bool judgedByTime = step < 4 || step == 5;
    QCOMPARE(names(next).count(last.tool), judgedByTime ? 0 : namesUpTo(9).count(last.tool));
}

void tst_Interruption::toolThatFailsAfterTheSignal()
{
    World world;
    writeSmallProject(world);
    world.plan("ztlpp", planned("1", {"catch", "partial", "signal parent 2", "wait", "exit 3"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.signal, SIGINT);
    SAME(result.err, message("SIGINT", "ztlpp"));
    SAME(world.tree("project/obj"), "root/\n");
}

void tst_Interruption::secondSignalKillsTheTool_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<QByteArray>("name");
    for (const auto &[name, value] : interruptions)
        QTest::newRow(name) << value << QByteArray(name);
}

// That the first has been passed on shows that it has been handled.
void tst_Interruption::secondSignalKillsTheTool()
{
    QFETCH(int, first);
    QFETCH(QByteArray, name);
    for (const int second : {SIGINT, SIGTERM, SIGHUP}) {
        World world;
        writeSmallProject(world);
        world.plan("ztlpp",
                   planned("1", {"catch", "partial", "signal parent " + number(first), "wait",
                                 "signal parent " + number(second), "wait", "wait"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.signal, first);
        SAME(result.err, message(name, "ztlpp"));
        SAME(world.tree("project/obj"), "root/\n");
    }
}

void tst_Interruption::secondSignalKillsAToolThatIgnoresTheFirst()
{
    World world;
    writeSmallProject(world);
    // When both are on their way at once, the one with the lower number arrives first.
    world.plan("ztluac",
               planned("1", {"ignore", "partial", "signal parent 2", "signal parent 15", "wait"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.signal, SIGINT);
    SAME(result.err, message("SIGINT", "ztluac"));
    QVERIFY2(kill(static_cast<pid_t>(result.calls.last().pid), 0) != 0, "it is still there");
    QCOMPARE(world.tree("project/obj").count(".luo"), 0);
    QCOMPARE(world.tree("project/obj").count(".lui"), 1);
}

void tst_Interruption::signalToTheToolAlone_data()
{
    QTest::addColumn<int>("number");
    for (const auto &[name, value] : interruptions)
        QTest::newRow(name) << value;
    QTest::newRow("SIGKILL") << SIGKILL;
    QTest::newRow("SIGSEGV") << SIGSEGV;
}

void tst_Interruption::signalToTheToolAlone()
{
    QFETCH(int, number);
    World world;
    writeSmallProject(world);
    world.plan("ztlpp", planned("1", {"partial", "signal self " + ::number(number), "wait"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 1);
    SAME(result.err, "[ztmake] Command crashed\n");
    SAME(world.tree("project/obj"), "root/\n");
}

// The signal arrives before the end of the tool is seen.
void tst_Interruption::toolThatEndsAtOnce()
{
    World world;
    writeSmallProject(world);
    world.plan("ztlpp", planned("1", {"ignore", "signal parent 1"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.signal, SIGHUP);
    SAME(result.err, message("SIGHUP", "ztlpp"));
    QCOMPARE(names(result), QByteArrayList{"ztlpp"});
    QCOMPARE(world.tree("project/obj").count(".lui\n"), 1);
}

void tst_Interruption::responseFileIsRemoved()
{
    World world;
    QByteArray includes;
    for (int i = 0; i < 20; ++i)
        includes += "<Include>i" + number(i) + "</Include>";
    writeSmallProject(world, "<Preprocess Type=\"Ztlpp\">" + includes + "</Preprocess>");
    world.plan("ztlpp", planned("1", {"partial", "signal parent 15", "wait"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.signal, SIGTERM);
    QVERIFY(!result.calls.first().responseFile.isEmpty());
    SAME(world.tree("project/obj"), "root/\n");
}

// What a failed tool leaves of a catalogue stays; what an interrupted one leaves does not.
void tst_Interruption::olderOutputsOfAnInterruptedCatalogueAreRemoved()
{
    World world;
    writeProject(world);
    world.write("project/obj/translations/de.qm", "old", -1);
    world.plan("lrelease", planned("1", {"signal parent 15", "wait"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.signal, SIGTERM);
    QVERIFY(!world.exists("project/obj/translations/de.qm"));
}

void tst_Interruption::clearingObsoleteTextsIsInterrupted()
{
    World world;
    writeProject(world);
    world.plan("ztlupdate", planned("1", {"signal parent 15", "wait"}));
    const Result result = world.run({"-q", "--clearobsolete"});
    QCOMPARE(result.signal, SIGTERM);
    SAME(result.err, message("SIGTERM", "ztlupdate"));
    SAME(outputs(world), "");
}

void tst_Interruption::ignoredSignalsStayIgnored_data()
{
    toolIsEndedByTheSignal_data();
}

void tst_Interruption::ignoredSignalsStayIgnored()
{
    QFETCH(int, step);
    QFETCH(int, number);
    QFETCH(QByteArray, whom);
    World world;
    writeProject(world);
    // The tools inherit that they ignore it.
    world.plan(steps[step].tool,
               planned(steps[step].call, {"signal " + whom + ' ' + ::number(number)})
                       + (step == 0 ? "1 out 1234\n" : ""));
    const Result result = world.run({"-q"}, {.ownGroup = true, .ignoredSignal = number});
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(result.status, 0);
    SAME(outputs(world), outputsOf(steps.size() - 1, true));
}

void tst_Interruption::killedBuildIsMadeUpFor_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<bool>("written");
    for (int step = 0; step < steps.size(); ++step) {
        QTest::addRow("%s, half written", steps[step].name) << step << false;
        QTest::addRow("%s, over half-written old", steps[step].name) << step << true;
    }
}

void tst_Interruption::killedBuildIsMadeUpFor()
{
    QFETCH(int, step);
    QFETCH(bool, written);
    World world;
    writeProject(world);
    const Step &last = steps[step];
    if (written) {
        QCOMPARE(world.run({"-q"}).status, 0);
        world.plan(last.tool, "");
    }
    world.plan(last.tool, planned(last.call, {"partial", "signal group 9", "wait"}));
    const Result result = world.run({"-q", written ? "-A" : "-q"}, {.ownGroup = true});
    QCOMPARE(result.signal, SIGKILL);
    SAME(result.err, "");

    world.plan(last.tool, "");
    const Result next = world.run({"-q"});
    QCOMPARE(next.err, QByteArray());
    QCOMPARE(next.status, 0);
    // The response file of a killed program is nobody's any more.
    const QRegularExpression responseFile(QStringLiteral("obj/args\\.\\w{6}\n"));
    SAME(QString::fromUtf8(outputs(world)).remove(responseFile).toUtf8(),
         outputsOf(steps.size() - 1, true));
    // What was finished before is not made again, and nothing but what was not.
    for (qsizetype i = 1; i < steps.size(); ++i) {
        const bool judgedByTime = i < 4 || i == 5;
        if (judgedByTime) {
            const bool again = i == step || (!written && i > step)
                               || (step == 2 && i == 3); // it was made from what is new
            QCOMPARE(names(next).count(steps[i].tool), again ? 1 : 0);
        }
    }
    QCOMPARE(names(world.run({"-q"})), (QByteArrayList{"svnversion", "ztlupdate", "ztmkromfs",
                                                       "ztlink", "ztmkromfs", "ztlink"}));
}

void tst_Interruption::tornNoteBuildsEverything_data()
{
    QTest::addColumn<QByteArray>("note");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut short") << "root/a"_ba;
    QTest::newRow("without its end") << "root/a.lui\0"_ba;
    QTest::newRow("zeros") << QByteArray(64, '\0');
}

void tst_Interruption::tornNoteBuildsEverything()
{
    QFETCH(QByteArray, note);
    World world;
    writeProject(world);
    QCOMPARE(world.run({"-q"}).status, 0);
    world.write("project/obj/.unfinished", note);
    const Result result = world.run({"-q"});
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(names(result), namesUpTo(9));
    SAME(outputs(world), outputsOf(steps.size() - 1, true));
}

void tst_Interruption::tornNoteStaysUntilABuildSucceeds()
{
    World world;
    writeSmallProject(world);
    QCOMPARE(world.run({"-q"}).status, 0);
    world.write("project/obj/.unfinished", "root");
    world.plan("ztlpp", "2 exit 1\n");
    QCOMPARE(world.run({"-q"}).status, 1);
    SAME(world.read("project/obj/.unfinished"), "root");
    world.plan("ztlpp", "2 signal group 9\n2 wait\n");
    QCOMPARE(world.run({"-q"}, {.ownGroup = true}).signal, SIGKILL);
    SAME(world.read("project/obj/.unfinished"), "root");
    world.plan("ztlpp", "");
    QCOMPARE(names(world.run({"-q"})).count("ztlpp"), 2);
    QVERIFY(!world.exists("project/obj/.unfinished"));
    QCOMPARE(names(world.run({"-q"})).count("ztlpp"), 0);
}

void tst_Interruption::controlCInATerminal()
{
    World world;
    writeSmallProject(world);
    QCOMPARE(world.run({"-q"}).status, 0);
    world.write("project/root/a.lua", "edited\n", world.time("project/obj/root/a.lui") + 1);
    world.plan("ztlpp", planned("1", {"partial", "write " + world.path("begun") + " x", "wait"}));
    {
        Terminal terminal(world, "project");
        QVERIFY(terminal.sees("ready> "));
        QVERIFY(terminal.type("../sdk/bin/ztmake -q\n"));
        QVERIFY(appears(world, "begun"));
        QVERIFY(terminal.type("\x03"));
        QVERIFY(terminal.sees("[ztmake] Interrupted by SIGINT while ztlpp was running\r\n"));
        QVERIFY(terminal.sees("ready> "));
        QVERIFY(terminal.type("echo status=$?\n"));
        QVERIFY(terminal.sees("status=130"));
    }
    SAME(world.tree("project/obj"), "root/\nroot/a.luo\nroot/b.lui\nroot/b.luo\nversion.txt\n");

    world.plan("ztlpp", "");
    world.run({"--help"}); // forgets the calls in the terminal
    const Result next = world.run({"-q"});
    QCOMPARE(next.status, 0);
    const QByteArray calls = next.callText();
    SAME(calls.left(calls.indexOf("ztmkromfs")),
         "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/a.lui --root root -- "
         "root/a.lua\nztluac -o obj/root/a.luo -- obj/root/a.lui\n");
}

void tst_Interruption::controlZInATerminal()
{
    World world;
    writeSmallProject(world);
    world.plan("ztlpp",
               planned("1", {"write " + world.path("begun") + " x", "await " + world.path("go")}));
    {
        Terminal terminal(world, "project");
        QVERIFY(terminal.sees("ready> "));
        QVERIFY(terminal.type("../sdk/bin/ztmake -q\n"));
        QVERIFY(appears(world, "begun"));
        QVERIFY(terminal.type("\x1a"));
        QVERIFY(terminal.sees("Stopped"));
        world.write("go");
        QVERIFY(terminal.sees("ready> "));
        QVERIFY(!world.exists("project/obj/root/a.lui") && !world.exists("project/obj/root/b.lui"));
        QVERIFY(terminal.type("fg\n"));
        QVERIFY(terminal.sees("ready> "));
        QVERIFY(terminal.type("echo status=$?\n"));
        QVERIFY(terminal.sees("status=0"));
    }
    SAME(world.tree("project/obj"),
         "root/\nroot/a.lui\nroot/a.luo\nroot/b.lui\nroot/b.luo\nversion.txt\n");
}

void tst_Interruption::inputEditedWhileItsToolRuns_data()
{
    QTest::addColumn<QByteArray>("tool");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArrayList>("outputs");
    QTest::newRow("ztlpp") << "ztlpp"_ba
                           << "root/a.lua"_ba << QByteArrayList{"obj/root/a.lui"};
    QTest::newRow("ztluac") << "ztluac"_ba
                            << "obj/root/a.lui"_ba << QByteArrayList{"obj/root/a.luo"};
    QTest::newRow("ztmkmtd") << "ztmkmtd"_ba
                             << "demo.mtdef"_ba << QByteArrayList{"made/m.lh", "made/m.lua"};
    QTest::newRow("lrelease") << "lrelease"_ba
                              << "translations/de.ts"_ba
                              << QByteArrayList{"obj/translations/de.qm"};
}

void tst_Interruption::inputEditedWhileItsToolRuns()
{
    QFETCH(QByteArray, tool);
    QFETCH(QByteArray, input);
    QFETCH(QByteArrayList, outputs);
    World world;
    writeProject(world);
    QCOMPARE(world.run({"-q"}).status, 0);
    for (const QByteArray &output : outputs)
        world.remove("project/" + output);
    // Its time is in the distant past, so that the edit has another.
    world.setTime("project/" + input, 5);
    world.plan(tool, planned("1", {"write " + input + " edited"}));
    const Result result = world.run({"-q"});
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(names(result).count(tool), 1);
    for (const QByteArray &output : outputs) {
        SAME(world.read("project/" + output), "made by " + tool + '\n');
        QVERIFY(world.time("project/" + output) < 5);
    }

    world.plan(tool, "");
    QCOMPARE(names(world.run({"-q"})).count(tool), 1);
    QCOMPARE(names(world.run({"-q"})).count(tool), 0);
}

void tst_Interruption::projectFileEditedWhileAToolRuns()
{
    World world;
    writeSmallProject(world);
    const QByteArray text = world.read("project/demo.ztp");
    world.plan("ztlpp", planned("1", {"write demo.ztp " + QByteArray(text).replace('\n', "\\n")}));
    QCOMPARE(world.run({"-q"}).status, 0);
    SAME(world.read("project/demo.ztp"), text);

    world.plan("ztlpp", "");
    const QByteArrayList all{"ztlpp", "ztluac", "ztlpp", "ztluac", "ztmkromfs"};
    QCOMPARE(names(world.run({"-q"})), all);
    QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
}

void tst_Interruption::editOfAnotherFileCostsNothing()
{
    World world;
    writeSmallProject(world);
    world.plan("ztlpp", planned("1", {"write root/unrelated.txt x"}));
    QCOMPARE(world.run({"-q"}).status, 0);
    QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
}

QTEST_GUILESS_MAIN(tst_Interruption)
#include "tst_interruption.moc"
