#include "engine/interruption.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include <unistd.h>
#ifdef ZTMAKE_COVERAGE
extern "C" {
#include <gcov.h>
}
#endif

using namespace Qt::StringLiterals;

namespace {

constexpr std::array watchedSignals{SIGINT, SIGTERM, SIGHUP};

constexpr int64_t nanosecondsInASecond = 1'000'000'000;

// Shared with the handler.
volatile sig_atomic_t pendingSignal = 0;
volatile sig_atomic_t hasSecondSignal = 0;
timespec firstSignalTime; // written once, by the handler, which nothing interrupts

/// timeout(1) and some shells tell a process and then its group, so that a signal arrives twice.
bool isRepeat(int number)
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t passed = (now.tv_sec - firstSignalTime.tv_sec) * nanosecondsInASecond
                           + (now.tv_nsec - firstSignalTime.tv_nsec);
    return number == pendingSignal && passed < nanosecondsInASecond / 2;
}

void handleSignal(int number, siginfo_t *info, void * /*context*/)
{
    const int savedErrno = errno;
    if (pendingSignal == 0) {
        pendingSignal = number;
        clock_gettime(CLOCK_MONOTONIC, &firstSignalTime);
        // A terminal has told the whole process group already.
        if (info->si_code != SI_KERNEL)
            Interruption::Target::killAll(number);
    } else if (isRepeat(number)) {
        // The first one was enough.
    } else if (Interruption::Target::exist()) {
        hasSecondSignal = 1; // for one that is being started
        Interruption::Target::killAll(SIGKILL);
    } else {
        std::signal(number, SIG_DFL);
        raise(number); // arrives when this handler returns
    }
    errno = savedErrno;
}

} // namespace

void Interruption::watch()
{
    // A write to a closed pipe, or beyond a size limit, fails like one to a full disk instead of
    // ending the program. Programs that it starts get the default back, unlike with SIG_IGN.
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        if (std::signal(number, [](int) {}) == SIG_IGN)
            std::signal(number, SIG_IGN);
    }
    // A caller that ignores the end of its children would make waiting for ours fail.
    std::signal(SIGCHLD, SIG_DFL);
    for (const int number : watchedSignals) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) // nohup, or a background job of a script
            continue;
        action.sa_sigaction = handleSignal;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        for (const int other : watchedSignals)
            sigaddset(&action.sa_mask, other);
        sigaction(number, &action, nullptr);
    }
}

int Interruption::signal()
{
    return pendingSignal;
}

QString Interruption::signalName()
{
    switch (pendingSignal) {
    case SIGINT:
        return u"SIGINT"_s;
    case SIGTERM:
        return u"SIGTERM"_s;
    default:
        return u"SIGHUP"_s;
    }
}

QString Interruption::text()
{
    return u"Interrupted by %1"_s.arg(signalName());
}

void Interruption::finish()
{
    const int number = pendingSignal;
    std::signal(number, SIG_DFL);
#ifdef ZTMAKE_COVERAGE
    __gcov_dump(); // a process that a signal ends loses its counts
#endif
    raise(number);
    // The first process of a container is not ended by a signal that it sends to itself.
    _exit(128 + number);
}

std::atomic<Interruption::Target *> Interruption::Target::first = nullptr;

Interruption::Target::Target() : m_next(first.load())
{
    first = this;
}

Interruption::Target::~Target()
{
    std::atomic<Target *> *link = &first;
    while (link->load() != this)
        link = &link->load()->m_next;
    *link = m_next.load();
}

void Interruption::Target::set(pid_t process)
{
    m_process = process;
    // One that came while the program was being started was passed on to nobody.
    if (process > 0 && pendingSignal != 0)
        kill(process, hasSecondSignal != 0 ? SIGKILL : pendingSignal);
}

void Interruption::Target::killAll(int number)
{
    for (const Target *target = first; target; target = target->m_next) {
        if (target->m_process > 0)
            kill(target->m_process, number);
    }
}
