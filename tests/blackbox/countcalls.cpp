// Preloaded into the program: counts the calls that ask the file system about files, open them or
// wait for the disk, and writes the counts to the file that COUNTCALLS_LOG names when the program
// ends.
//
// A call that the C library makes for itself is not seen; the program's own and Qt's are.

#include "preload.h"

#include <cstdio>
#include <cstdlib>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

long statCalls = 0;
long accessCalls = 0;
long mkdirCalls = 0;
long openCalls = 0;
long syncCalls = 0;

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
    fprintf(log, "%ld %ld %ld %ld %ld\n", statCalls, accessCalls, mkdirCalls, openCalls, syncCalls);
    fclose(log);
}

} // namespace

// The C library calls its parameters by names of its own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

#define COUNT(result, name, parameters, arguments, type, counter)                                  \
    STAND_BEFORE(result, name, parameters, arguments, type, ++counter > 0, {})

extern "C" {

STAND_BEFORE_OPEN(open, ++openCalls > 0)
STAND_BEFORE_OPEN(open64, ++openCalls > 0)
COUNT(DIR *, opendir, (const char *path), (path), DIR *(const char *), openCalls)
#define COUNT_STAT(name, status)                                                                   \
    COUNT(int, name, (const char *path, status *data) noexcept, (path, data),                      \
          int(const char *, status *), statCalls)
#define COUNT_FSTATAT(name, status)                                                                \
    COUNT(int, name, (int directory, const char *path, status *data, int flags) noexcept,          \
          (directory, path, data, flags), int(int, const char *, status *, int), statCalls)
COUNT_STAT(stat, struct stat)
COUNT_STAT(lstat, struct stat)
COUNT_STAT(stat64, struct stat64)
COUNT_STAT(lstat64, struct stat64)
COUNT_FSTATAT(fstatat, struct stat)
COUNT_FSTATAT(fstatat64, struct stat64)
COUNT(int, statx,
      (int directory, const char *path, int flags, unsigned mask, struct statx *data) noexcept,
      (directory, path, flags, mask, data), int(int, const char *, int, unsigned, struct statx *),
      statCalls)
COUNT(int, access, (const char *path, int mode) noexcept, (path, mode), int(const char *, int),
      accessCalls)
COUNT(int, faccessat, (int directory, const char *path, int mode, int flags) noexcept,
      (directory, path, mode, flags), int(int, const char *, int, int), accessCalls)
COUNT(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode), int(const char *, mode_t),
      mkdirCalls)
COUNT(int, fsync, (int file), (file), int(int), syncCalls)
COUNT(int, fdatasync, (int file), (file), int(int), syncCalls)
COUNT(int, syncfs, (int file) noexcept, (file), int(int), syncCalls)

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
