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

} // namespace

// The C library calls its parameters by names of its own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

#define OPEN(name)                                                                                 \
    int name(const char *path, int flags, ...)                                                     \
    {                                                                                              \
        static const auto function = real<int(const char *, int, ...)>(#name);                     \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = modeOf(flags, arguments);                                              \
        va_end(arguments);                                                                         \
        return fails("open", #name, path) ? -1 : function(path, flags, mode);                      \
    }

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

extern "C" {

OPEN(open)
OPEN(open64)
OPENAT(openat)
OPENAT(openat64)
FCNTL(fcntl)
FCNTL(fcntl64)

DIR *opendir(const char *path)
{
    static const auto function = real<DIR *(const char *)>("opendir");
    return fails("open", "opendir", path) ? nullptr : function(path);
}

DIR *fdopendir(int file)
{
    static const auto function = real<DIR *(int)>("fdopendir");
    return fails("open", "fdopendir") ? nullptr : function(file);
}

int pipe(int files[2]) noexcept
{
    static const auto function = real<int(int *)>("pipe");
    return fails("open", "pipe") ? -1 : function(files);
}

int pipe2(int files[2], int flags) noexcept
{
    static const auto function = real<int(int *, int)>("pipe2");
    return fails("open", "pipe2") ? -1 : function(files, flags);
}

int fstatat(int directory, const char *path, struct stat *data, int flags) noexcept
{
    static const auto function = real<int(int, const char *, struct stat *, int)>("fstatat");
    return fails("stat", "fstatat", path) ? -1 : function(directory, path, data, flags);
}

int fstatat64(int directory, const char *path, struct stat64 *data, int flags) noexcept
{
    static const auto function = real<int(int, const char *, struct stat64 *, int)>("fstatat64");
    return fails("stat", "fstatat64", path) ? -1 : function(directory, path, data, flags);
}

ssize_t write(int file, const void *data, size_t size)
{
    static const auto function = real<ssize_t(int, const void *, size_t)>("write");
    if (fails("write", "write"))
        return -1;
    return function(file, data, isShort() ? size / 2 : size);
}

ssize_t pwrite(int file, const void *data, size_t size, off_t offset)
{
    static const auto function = real<ssize_t(int, const void *, size_t, off_t)>("pwrite");
    if (fails("write", "pwrite"))
        return -1;
    return function(file, data, isShort() ? size / 2 : size, offset);
}

ssize_t pwrite64(int file, const void *data, size_t size, off64_t offset)
{
    static const auto function = real<ssize_t(int, const void *, size_t, off64_t)>("pwrite64");
    if (fails("write", "pwrite64"))
        return -1;
    return function(file, data, isShort() ? size / 2 : size, offset);
}

ssize_t sendfile(int out, int in, off_t *offset, size_t size) noexcept
{
    static const auto function = real<ssize_t(int, int, off_t *, size_t)>("sendfile");
    if (fails("write", "sendfile"))
        return -1;
    return function(out, in, offset, isShort() ? 1 : size);
}

ssize_t sendfile64(int out, int in, off64_t *offset, size_t size) noexcept
{
    static const auto function = real<ssize_t(int, int, off64_t *, size_t)>("sendfile64");
    if (fails("write", "sendfile64"))
        return -1;
    return function(out, in, offset, isShort() ? 1 : size);
}

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

int mkdir(const char *path, mode_t mode) noexcept
{
    static const auto function = real<int(const char *, mode_t)>("mkdir");
    return fails("mkdir", "mkdir", path) ? -1 : function(path, mode);
}

int mkdirat(int directory, const char *path, mode_t mode) noexcept
{
    static const auto function = real<int(int, const char *, mode_t)>("mkdirat");
    return fails("mkdir", "mkdirat", path) ? -1 : function(directory, path, mode);
}

int unlink(const char *path) noexcept
{
    static const auto function = real<int(const char *)>("unlink");
    return fails("unlink", "unlink", path) ? -1 : function(path);
}

int unlinkat(int directory, const char *path, int flags) noexcept
{
    static const auto function = real<int(int, const char *, int)>("unlinkat");
    return fails("unlink", "unlinkat", path) ? -1 : function(directory, path, flags);
}

int remove(const char *path) noexcept
{
    static const auto function = real<int(const char *)>("remove");
    return fails("unlink", "remove", path) ? -1 : function(path);
}

int rename(const char *from, const char *to) noexcept
{
    static const auto function = real<int(const char *, const char *)>("rename");
    return fails("rename", "rename", to) ? -1 : function(from, to);
}

int renameat2(int fromDirectory, const char *from, int toDirectory, const char *to,
              unsigned flags) noexcept
{
    static const auto function =
            real<int(int, const char *, int, const char *, unsigned)>("renameat2");
    return fails("rename", "renameat2", to) ? -1
                                            : function(fromDirectory, from, toDirectory, to, flags);
}

int link(const char *from, const char *to) noexcept
{
    static const auto function = real<int(const char *, const char *)>("link");
    return fails("rename", "link", to) ? -1 : function(from, to);
}

int linkat(int fromDirectory, const char *from, int toDirectory, const char *to, int flags) noexcept
{
    static const auto function = real<int(int, const char *, int, const char *, int)>("linkat");
    return fails("rename", "linkat", to) ? -1
                                         : function(fromDirectory, from, toDirectory, to, flags);
}

pid_t fork() noexcept
{
    static const auto function = real<pid_t()>("fork");
    return fails("start", "fork") ? -1 : function();
}

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

int execve(const char *path, char *const words[], char *const variables[]) noexcept
{
    static const auto function = real<int(const char *, char *const *, char *const *)>("execve");
    return fails("exec", "execve", path) ? -1 : function(path, words, variables);
}

int execv(const char *path, char *const words[]) noexcept
{
    static const auto function = real<int(const char *, char *const *)>("execv");
    return fails("exec", "execv", path) ? -1 : function(path, words);
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
