// Preloaded into the program: makes one of its system calls fail.
//
// ZTTEST_FAULT says which: "<kind> <what> <number>". The kinds are "open" (whatever needs a file
// descriptor), "stat" (the program's own), "write", "close", "mkdir", "unlink", "rename", "start"
// (of a program), "exec" (in Qt's child), and "any". The what is the name of an error; "KILL" or
// "TERM" for a signal to the program right before the call; "SHORT" for a write of half of the
// bytes; or "EDIT" for an edit of the file that ZTTEST_FAULT_FILE names, which gets a time ahead of
// the clock. The number counts the calls of that kind, from 1. At the end the count goes to the
// file that ZTTEST_FAULT_LOG names, with the failed call and its path.
//
// Calls that the C library makes for itself are not seen; the program's own and Qt's are.

#include "preload.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <dirent.h>
#include <spawn.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

using Preload::modeOf;
using Preload::real;

namespace {

struct Plan
{
    char kind[16] = "";
    char what[16] = "";
    long number = 0;
    long count = 0;
    std::string failed; ///< the call and its path
};

Plan *activePlan = nullptr;
pid_t plannedProcess = 0;

int errorNumber(const char *name)
{
    static const struct
    {
        const char *name;
        int number;
    } errors[] = {{"ENOSPC", ENOSPC}, {"EACCES", EACCES}, {"EIO", EIO},
                  {"EMFILE", EMFILE}, {"ENOMEM", ENOMEM}, {"EAGAIN", EAGAIN}};
    for (const auto &error : errors) {
        if (strcmp(error.name, name) == 0)
            return error.number;
    }
    return 0;
}

// The tools inherit the preloaded library; only the first process fails.
[[gnu::constructor]] void readPlan()
{
    unsetenv("LD_PRELOAD");
    const char *text = getenv("ZTTEST_FAULT");
    static Plan plan;
    if (text && sscanf(text, "%15s %15s %ld", plan.kind, plan.what, &plan.number) == 3)
        activePlan = &plan;
    plannedProcess = getpid();
}

[[gnu::destructor]] void writeCount()
{
    const char *name = getenv("ZTTEST_FAULT_LOG");
    if (!activePlan || !name || getpid() != plannedProcess)
        return;
    if (FILE *log = fopen(name, "w")) {
        fprintf(log, "%ld %s\n", activePlan->count, activePlan->failed.c_str());
        fclose(log);
    }
}

void edit(const char *name)
{
    if (FILE *file = fopen(name, "a")) {
        fputs("edited meanwhile\n", file);
        fclose(file);
    }
    timespec times[2];
    clock_gettime(CLOCK_REALTIME, &times[0]);
    times[0].tv_sec += 3600;
    times[1] = times[0];
    utimensat(AT_FDCWD, name, times, 0);
}

/// @return whether this call is the one, in which case errno is set
bool fails(const char *kind, const char *call, const char *path = "")
{
    if (!activePlan
        || (strcmp(activePlan->kind, "any") != 0 && strcmp(activePlan->kind, kind) != 0))
        return false;
    if (++activePlan->count != activePlan->number)
        return false;
    activePlan->failed = std::string(call) + ' ' + (path ? path : "");
    if (strcmp(activePlan->what, "KILL") == 0)
        kill(getpid(), SIGKILL);
    else if (strcmp(activePlan->what, "TERM") == 0)
        raise(SIGTERM);
    else if (strcmp(activePlan->what, "EDIT") == 0)
        edit(getenv("ZTTEST_FAULT_FILE"));
    const int error = errorNumber(activePlan->what);
    if (error != 0)
        errno = error;
    return error != 0;
}

bool isShort()
{
    return activePlan && activePlan->count == activePlan->number
           && strcmp(activePlan->what, "SHORT") == 0;
}

/// What a function returns when it fails.
template <typename Value>
constexpr Value failure = Value(-1);
template <>
constexpr DIR *failure<DIR *> = nullptr;

} // namespace

// The C library calls its parameters by names of its own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

#define OPENAT(name)                                                                               \
    int name(int directory, const char *path, int flags, ...)                                      \
    {                                                                                              \
        static const auto function = real<int(int, const char *, int, ...)>(#name);                \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = modeOf(flags, arguments);                                              \
        va_end(arguments);                                                                         \
        return fails("open", #name, path) ? -1 : function(directory, path, flags, mode);           \
    }

#define FCNTL(name)                                                                                \
    int name(int file, int command, ...)                                                           \
    {                                                                                              \
        static const auto function = real<int(int, int, ...)>(#name);                              \
        va_list arguments;                                                                         \
        va_start(arguments, command);                                                              \
        void *argument = va_arg(arguments, void *);                                                \
        va_end(arguments);                                                                         \
        const bool opens = command == F_DUPFD || command == F_DUPFD_CLOEXEC;                       \
        return opens && fails("open", #name) ? -1 : function(file, command, argument);             \
    }

/// A function that fails with -1, or a null pointer.
#define FAIL(result, name, parameters, arguments, type, kind, path)                                \
    STAND_BEFORE(result, name, parameters, arguments, type, !fails(kind, #name, path),             \
                 failure<result>)

extern "C" {

STAND_BEFORE_OPEN(open, !fails("open", "open", path))
STAND_BEFORE_OPEN(open64, !fails("open", "open64", path))
OPENAT(openat)
OPENAT(openat64)
FCNTL(fcntl)
FCNTL(fcntl64)
FAIL(DIR *, opendir, (const char *path), (path), DIR *(const char *), "open", path)
FAIL(DIR *, fdopendir, (int file), (file), DIR *(int), "open", "")
FAIL(int, pipe, (int files[2]) noexcept, (files), int(int *), "open", "")
FAIL(int, pipe2, (int files[2], int flags) noexcept, (files, flags), int(int *, int), "open", "")
FAIL(int, fstatat, (int directory, const char *path, struct stat *data, int flags) noexcept,
     (directory, path, data, flags), int(int, const char *, struct stat *, int), "stat", path)
FAIL(int, fstatat64, (int directory, const char *path, struct stat64 *data, int flags) noexcept,
     (directory, path, data, flags), int(int, const char *, struct stat64 *, int), "stat", path)

// Whether a write is cut short is known when it has been counted.
FAIL(ssize_t, write, (int file, const void *data, size_t size),
     (file, data, isShort() ? size / 2 : size), ssize_t(int, const void *, size_t), "write", "")
FAIL(ssize_t, pwrite, (int file, const void *data, size_t size, off_t offset),
     (file, data, isShort() ? size / 2 : size, offset), ssize_t(int, const void *, size_t, off_t),
     "write", "")
FAIL(ssize_t, pwrite64, (int file, const void *data, size_t size, off64_t offset),
     (file, data, isShort() ? size / 2 : size, offset), ssize_t(int, const void *, size_t, off64_t),
     "write", "")
FAIL(ssize_t, sendfile, (int out, int in, off_t *offset, size_t size) noexcept,
     (out, in, offset, isShort() ? 1 : size), ssize_t(int, int, off_t *, size_t), "write", "")
FAIL(ssize_t, sendfile64, (int out, int in, off64_t *offset, size_t size) noexcept,
     (out, in, offset, isShort() ? 1 : size), ssize_t(int, int, off64_t *, size_t), "write", "")

int close(int file)
{
    static const auto function = real<int(int)>("close");
    if (!fails("close", "close"))
        return function(file);
    const int error = errno;
    function(file); // it is closed all the same
    errno = error;
    return -1;
}

FAIL(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode), int(const char *, mode_t),
     "mkdir", path)
FAIL(int, mkdirat, (int directory, const char *path, mode_t mode) noexcept, (directory, path, mode),
     int(int, const char *, mode_t), "mkdir", path)
FAIL(int, unlink, (const char *path) noexcept, (path), int(const char *), "unlink", path)
FAIL(int, unlinkat, (int directory, const char *path, int flags) noexcept, (directory, path, flags),
     int(int, const char *, int), "unlink", path)
FAIL(int, remove, (const char *path) noexcept, (path), int(const char *), "unlink", path)
FAIL(int, rename, (const char *from, const char *to) noexcept, (from, to),
     int(const char *, const char *), "rename", to)
FAIL(int, renameat2,
     (int fromDirectory, const char *from, int toDirectory, const char *to,
      unsigned flags) noexcept,
     (fromDirectory, from, toDirectory, to, flags),
     int(int, const char *, int, const char *, unsigned), "rename", to)
FAIL(int, link, (const char *from, const char *to) noexcept, (from, to),
     int(const char *, const char *), "rename", to)
FAIL(int, linkat,
     (int fromDirectory, const char *from, int toDirectory, const char *to, int flags) noexcept,
     (fromDirectory, from, toDirectory, to, flags), int(int, const char *, int, const char *, int),
     "rename", to)
FAIL(pid_t, fork, () noexcept, (), pid_t(), "start", "")

// A function that calls vfork() may not return from the child.
pid_t vfork() noexcept
{
    return fork();
}

// Its result is the error, also of the execution in the child.
int posix_spawn(pid_t *process, const char *path, const posix_spawn_file_actions_t *actions,
                const posix_spawnattr_t *attributes, char *const words[], char *const variables[])
{
    static const auto function = real<decltype(posix_spawn)>("posix_spawn");
    return fails("start", "posix_spawn", path)
                   ? errno
                   : function(process, path, actions, attributes, words, variables);
}

FAIL(int, execve, (const char *path, char *const words[], char *const variables[]) noexcept,
     (path, words, variables), int(const char *, char *const *, char *const *), "exec", path)
FAIL(int, execv, (const char *path, char *const words[]) noexcept, (path, words),
     int(const char *, char *const *), "exec", path)

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
