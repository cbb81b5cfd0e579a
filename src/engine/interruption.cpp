#include "engine/interruption.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <unistd.h>

namespace {

constexpr std::array watchedSignals{SIGINT, SIGTERM, SIGHUP};

// Shared with the handler.
volatile sig_atomic_t g_signal = 0;
volatile sig_atomic_t g_target = 0;

void handleSignal(int number, siginfo_t *info, void * /*context*/)
{
    const int savedErrno = errno;
    if (g_signal == 0) {
        g_signal = number;
        // A terminal has told the whole process group already.
        if (g_target != 0 && info->si_code != SI_KERNEL)
            kill(g_target, number);
    } else if (g_target != 0) {
        kill(g_target, SIGKILL);
    } else {
        std::signal(number, SIG_DFL);
        raise(number); // arrives when this handler returns
    }
    errno = savedErrno;
}

} // namespace

void Interruption::watch()
{
    // A caller that ignores the end of its children would make waiting for ours fail.
    std::signal(SIGCHLD, SIG_DFL);
    for (const int number : watchedSignals) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) // nohup, or a background job of a script
            continue;
        action.sa_sigaction = handleSignal;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigemptyset(&action.sa_mask);
        for (const int other : watchedSignals)
            sigaddset(&action.sa_mask, other);
        sigaction(number, &action, nullptr);
    }
}

int Interruption::signal()
{
    return g_signal;
}

const char *Interruption::signalName()
{
    switch (g_signal) {
    case SIGINT:
        return "SIGINT";
    case SIGTERM:
        return "SIGTERM";
    default:
        return "SIGHUP";
    }
}

void Interruption::finish()
{
    const int number = g_signal;
    std::signal(number, SIG_DFL);
    raise(number);
    std::abort(); // not reached: the signal is neither ignored nor blocked
}

Interruption::Target::Target(pid_t process)
{
    g_target = process;
    // One that came while the program was being started was passed on to nobody.
    if (process > 0 && g_signal != 0)
        kill(process, g_signal);
}

Interruption::Target::~Target()
{
    g_target = 0;
}
