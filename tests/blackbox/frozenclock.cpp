// Preloaded into the program: its clocks stand still, or (ZTTEST_CLOCK_STEP, in seconds) go on with
// each look at them. Once there is a file that ZTTEST_CLOCK_ARMED names, a look makes the file that
// ZTTEST_CLOCK_SEEN names.

#include "preload.h"

#include <cstdlib>
#include <ctime>

#include <unistd.h>

namespace {

// The tools inherit the preloaded library; only the first process has it.
[[gnu::constructor]] void leaveTheTools()
{
    unsetenv("LD_PRELOAD");
}

} // namespace

// Also called in a signal handler, which may do no more than this.
extern "C" int clock_gettime(clockid_t, timespec *time) noexcept
{
    static long seconds = 1;
    static const char *const step = getenv("ZTTEST_CLOCK_STEP");
    static const char *const armed = getenv("ZTTEST_CLOCK_ARMED");
    static const char *const seen = getenv("ZTTEST_CLOCK_SEEN");
    if (step)
        seconds += *step - '0';
    *time = {seconds, 0};
    if (armed && seen && access(armed, F_OK) == 0)
        close(open(seen, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    return 0;
}
