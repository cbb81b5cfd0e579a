#include "start.h"

#include <csignal>

#include <grp.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

void giveUpRights()
{
    if (geteuid() != 0)
        return;
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)
        _exit(126);
}

void limitFileSize(qint64 bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = static_cast<rlim_t>(bytes);
    setrlimit(RLIMIT_FSIZE, &limit);
}

void limitFiles(int count)
{
    const rlimit limit{static_cast<rlim_t>(count), static_cast<rlim_t>(count)};
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// Signals are as in a shell, whatever this test was started from.
void setSignals(int ignored)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, number == ignored ? SIG_IGN : SIG_DFL);
}

} // namespace

void Start::setUpChild() const
{
    if (fileSizeLimit >= 0)
        limitFileSize(fileSizeLimit);
    if (fileLimit >= 0)
        limitFiles(fileLimit);
    if (ownGroup)
        setpgid(0, 0);
    setSignals(ignoredSignal);
    if (ordinaryUser)
        giveUpRights();
}
