// Preloaded into the program: counts the calls that ask the file system about files or open them,
// and writes the counts to the file that COUNTCALLS_LOG names when the program ends.
//
// A call that the C library makes for itself is not seen; the program's own and Qt's are.

#include "preload.h"

#include <cstdio>
#include <cstdlib>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

using Preload::modeOf;
using Preload::real;

namespace {

long statCalls = 0;
long accessCalls = 0;
long mkdirCalls = 0;
long openCalls = 0;

// The tools inherit the preloaded library; only the first process counts.
[[gnu::constructor]] void leaveTheTools()
{
    unsetenv("LD_PRELOAD");
}

[[gnu::destructor]] void writeCounts()
{
    const char *name = getenv("COUNTCALLS_LOG");
    FILE *log = name ? fopen(name, "w") : nullptr;
    if (!log)
        return;
    fprintf(log, "%ld %ld %ld %ld\n", statCalls, accessCalls, mkdirCalls, openCalls);
    fclose(log);
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
        ++openCalls;                                                                               \
        return function(path, flags, mode);                                                        \
    }

extern "C" {

OPEN(open)
OPEN(open64)

DIR *opendir(const char *path)
{
    static const auto function = real<DIR *(const char *)>("opendir");
    ++openCalls;
    return function(path);
}

int stat(const char *path, struct stat *data) noexcept
{
    static const auto function = real<int(const char *, struct stat *)>("stat");
    ++statCalls;
    return function(path, data);
}

int lstat(const char *path, struct stat *data) noexcept
{
    static const auto function = real<int(const char *, struct stat *)>("lstat");
    ++statCalls;
    return function(path, data);
}

int fstatat(int directory, const char *path, struct stat *data, int flags) noexcept
{
    static const auto function = real<int(int, const char *, struct stat *, int)>("fstatat");
    ++statCalls;
    return function(directory, path, data, flags);
}

int stat64(const char *path, struct stat64 *data) noexcept
{
    static const auto function = real<int(const char *, struct stat64 *)>("stat64");
    ++statCalls;
    return function(path, data);
}

int lstat64(const char *path, struct stat64 *data) noexcept
{
    static const auto function = real<int(const char *, struct stat64 *)>("lstat64");
    ++statCalls;
    return function(path, data);
}

int fstatat64(int directory, const char *path, struct stat64 *data, int flags) noexcept
{
    static const auto function = real<int(int, const char *, struct stat64 *, int)>("fstatat64");
    ++statCalls;
    return function(directory, path, data, flags);
}

int statx(int directory, const char *path, int flags, unsigned mask, struct statx *data) noexcept
{
    static const auto function =
            real<int(int, const char *, int, unsigned, struct statx *)>("statx");
    ++statCalls;
    return function(directory, path, flags, mask, data);
}

int access(const char *path, int mode) noexcept
{
    static const auto function = real<int(const char *, int)>("access");
    ++accessCalls;
    return function(path, mode);
}

int faccessat(int directory, const char *path, int mode, int flags) noexcept
{
    static const auto function = real<int(int, const char *, int, int)>("faccessat");
    ++accessCalls;
    return function(directory, path, mode, flags);
}

int mkdir(const char *path, mode_t mode) noexcept
{
    static const auto function = real<int(const char *, mode_t)>("mkdir");
    ++mkdirCalls;
    return function(path, mode);
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
