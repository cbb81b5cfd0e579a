#include "interruption.h"

#include <QDeadlineTimer>
#include <QtTest>

#include <csignal>
#include <cstdlib>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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
        const QDeadlineTimer deadline(300'000);
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
    return QTest::qWaitFor([&] { return world.exists(name); }, 300'000);
}

} // namespace

/// Signals as a terminal sends them.
class TestTerminal : public QObject
{
    Q_OBJECT

private slots:
    void controlCInATerminal()
    {
        World world;
        writeSmallProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        world.write("project/root/a.lua", "edited\n", world.time("project/obj/root/a.lui") + 1);
        world.plan("ztlpp",
                   planned("1", {"partial", "write " + world.path("begun") + " x", "wait"}));
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

    void controlZInATerminal()
    {
        World world;
        writeSmallProject(world);
        world.plan("ztlpp", planned("1", {"write " + world.path("begun") + " x",
                                          "await " + world.path("go")}));
        {
            Terminal terminal(world, "project");
            QVERIFY(terminal.sees("ready> "));
            QVERIFY(terminal.type("../sdk/bin/ztmake -q\n"));
            QVERIFY(appears(world, "begun"));
            QVERIFY(terminal.type("\x1a"));
            QVERIFY(terminal.sees("Stopped"));
            world.write("go");
            QVERIFY(terminal.sees("ready> "));
            QVERIFY(!world.exists("project/obj/root/a.lui")
                    && !world.exists("project/obj/root/b.lui"));
            QVERIFY(terminal.type("fg\n"));
            QVERIFY(terminal.sees("ready> "));
            QVERIFY(terminal.type("echo status=$?\n"));
            QVERIFY(terminal.sees("status=0"));
        }
        SAME(world.tree("project/obj"),
             "root/\nroot/a.lui\nroot/a.luo\nroot/b.lui\nroot/b.luo\nversion.txt\n");
    }
};

QTEST_GUILESS_MAIN(TestTerminal)
#include "tst_terminal.moc"
