#pragma once

#include <QString>

#include <sys/types.h>

/// SIGINT, SIGTERM and SIGHUP: the first one that arrives is noted and passed on to the running
/// program; a second one kills that program, or this one when none runs. The same signal again
/// within half a second counts as the first one.
namespace Interruption {

/// Begins to take note, of those signals that are not ignored; before, a signal ends the program.
/// SIGPIPE and SIGXFSZ no longer end it either: the write fails.
void watch();

/// @return the number of the signal that has interrupted the program, 0 when none has
int signal();

/// @return the name of signal(), such as "SIGINT"
QString signalName();

/// Ends the program by signal(), so that the caller sees the true cause.
[[noreturn]] void finish();

/// The program that signals are passed on to while this exists; one at a time. It is made before
/// the program is started, so that no signal finds the program without it.
class Target
{
public:
    Target();
    ~Target();
    Target(const Target &) = delete;
    Target &operator=(const Target &) = delete;

    /// @param process  the program has started; 0: it has not
    void set(pid_t process);
};

} // namespace Interruption
