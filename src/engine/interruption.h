#pragma once

#include <QString>

#include <atomic>

#include <sys/types.h>

/// SIGINT, SIGTERM and SIGHUP: the first one that arrives is noted and passed on to the running
/// programs; a second one kills them, or this one when none runs. The same signal again within half
/// a second counts as the first one.
namespace Interruption {

/// Begins to watch for those signals that are not ignored; until then a signal ends the program.
/// SIGPIPE and SIGXFSZ no longer end it either: the write fails.
void watch();

/// @return the number of the signal that has interrupted the program, 0 when none has
int signal();

/// @return the name of signal(), such as "SIGINT"
QString signalName();

/// @return the error text of what signal() has interrupted
QString text();

/// Ends the program by signal(), so that the caller sees the true cause.
[[noreturn]] void finish();

/// A program that signals are passed on to while this exists. It is made before the program is
/// started, so that no signal finds the program without it.
class Target
{
public:
    Target();
    ~Target();
    Target(const Target &) = delete;
    Target &operator=(const Target &) = delete;

    /// @param process  the program has started; 0: it has not
    void set(pid_t process);

    // Safe in the handler of a signal:
    static bool exist() { return first.load() != nullptr; }
    /// Sends a signal to the programs of all targets.
    static void killAll(int number);

private:
    static constexpr pid_t starting = -1;

    // A list that the handler of a signal walks at any moment.
    static std::atomic<Target *> first;
    std::atomic<Target *> m_next;
    std::atomic<pid_t> m_process = starting;
};

} // namespace Interruption
