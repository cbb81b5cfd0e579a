#pragma once

#include <QtGlobal>

#include <csignal>
#include <functional>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

/// What tests need of processes and their limits.
namespace TestProcess {

/// @return the exit status of a process that does @p work: 0 when it has returned true
inline int inChild(const std::function<bool()> &work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(work() ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// @return a process that has done @p work and waits to be ended
inline pid_t waitingChild(const std::function<void()> &work)
{
    int ends[2];
    if (pipe(ends) != 0)
        qFatal("Cannot make a pipe");
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        close(ends[0]);
        close(ends[1]);
        for (;;)
            pause();
    }
    close(ends[1]);
    char nothing = 0;
    while (read(ends[0], &nothing, 1) > 0) {
    }
    close(ends[0]);
    return child;
}

inline void endChild(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

/// Makes writes beyond so many bytes of a file fail.
/// @return the limit before, to be set again
inline rlimit limitFileSize(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
    return before;
}

} // namespace TestProcess
