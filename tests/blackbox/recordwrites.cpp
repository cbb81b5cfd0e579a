// Preloaded into the program and its tools: writes down, in their order, all that they do to the
// files below the directory that ZTTEST_RECORD_ROOT names. With ZTTEST_BOOT_ID, it also puts the
// file named there in place of the kernel's boot id.
//
// The record, ZTTEST_RECORD, is a sequence of fields, each written as "<length>:<bytes>,": the
// operation, the path, the time stamp in nanoseconds behind it, and a value. The operations:
//   open PATH TIME FLAGS      "c": created or found; "t": and cut to nothing
//   data PATH TIME CONTENT    the file's whole content, after a write
//   times PATH TIME
//   rename PATH TIME TO, unlink PATH, mkdir PATH
//   sync PATH                 the file's data and what the journal holds so far, or a directory's
//   syncfs                    everything
// What is done by other means (a mapped file, a call that the C library makes for itself) is not
// seen; powerloss.py checks that the record leads to the files that are really there.

#include "preload.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

using Preload::modeOf;
using Preload::real;

namespace {

std::string variable(const char *name)
{
    const char *value = getenv(name);
    return value ? value : "";
}

std::string absolute(int directory, const char *path)
{
    if (path[0] == '/')
        return path;
    char *name = directory == AT_FDCWD ? getcwd(nullptr, 0) : nullptr;
    std::string base = name ? name : "";
    free(name);
    if (directory != AT_FDCWD) {
        char buffer[4096];
        const std::string link = "/proc/self/fd/" + std::to_string(directory);
        const ssize_t size = readlink(link.c_str(), buffer, sizeof buffer);
        base.assign(buffer, size > 0 ? static_cast<size_t>(size) : 0);
    }
    return path[0] == '\0' ? base : base + '/' + path;
}

std::string pathOf(int file)
{
    return absolute(file, "");
}

bool isWatched(const std::string &path)
{
    static const std::string root = variable("ZTTEST_RECORD_ROOT") + '/';
    return root.size() > 1 && path.compare(0, root.size(), root) == 0;
}

std::string content(const std::string &path)
{
    static const auto openFile = real<int(const char *, int, ...)>("open");
    std::string text;
    const int file = openFile(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return text;
    char buffer[65536];
    for (ssize_t size; (size = read(file, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(size));
    static const auto closeFile = real<int(int)>("close");
    closeFile(file);
    return text;
}

void record(const char *operation, const std::string &path, const std::string &value = {})
{
    static const auto openFile = real<int(const char *, int, ...)>("open");
    static const auto writeFile = real<ssize_t(int, const void *, size_t)>("write");
    const int savedErrno = errno;
    struct stat data = {};
    stat(path.c_str(), &data);
    const long long time = data.st_mtim.tv_sec * 1'000'000'000LL + data.st_mtim.tv_nsec;
    std::string text;
    for (const std::string &field : {std::string(operation), path, std::to_string(time), value})
        text += std::to_string(field.size()) + ':' + field + ',';
    const int log = openFile(variable("ZTTEST_RECORD").c_str(),
                             O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (log < 0 || writeFile(log, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        abort();
    static const auto closeFile = real<int(int)>("close");
    closeFile(log);
    errno = savedErrno;
}

template <typename Value>
Value noteWrite(Value result, int file)
{
    const std::string path = result > 0 ? pathOf(file) : std::string();
    if (isWatched(path) && access(path.c_str(), F_OK) == 0)
        record("data", path, content(path));
    return result;
}

void noteOpen(bool isOpen, const std::string &path, bool creates, bool truncates)
{
    if (isOpen && (creates || truncates) && isWatched(path))
        record("open", path, truncates ? "t" : "c");
}

int openAt(const char *name, int directory, const char *path, int flags, mode_t mode)
{
    static const std::string bootId = variable("ZTTEST_BOOT_ID");
    if (!bootId.empty() && strcmp(path, "/proc/sys/kernel/random/boot_id") == 0)
        path = bootId.c_str();
    const auto function = real<int(int, const char *, int, ...)>(name);
    const int file = function(directory, path, flags, mode);
    if ((flags & O_TMPFILE) != O_TMPFILE)
        noteOpen(file >= 0, absolute(directory, path), (flags & O_CREAT) != 0,
                 (flags & O_TRUNC) != 0);
    return file;
}

FILE *openStream(const char *name, const char *path, const char *mode)
{
    const auto function = real<FILE *(const char *, const char *)>(name);
    FILE *file = function(path, mode);
    noteOpen(file != nullptr, absolute(AT_FDCWD, path), mode[0] != 'r', mode[0] == 'w');
    return file;
}

int noteRename(int result, const std::string &from, const std::string &to)
{
    if (result == 0 && isWatched(to))
        record("rename", from, to);
    return result;
}

int notePath(int result, const char *operation, const std::string &path)
{
    if (result == 0 && isWatched(path))
        record(operation, path);
    return result;
}

} // namespace

// The C library calls its parameters by names of its own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

#define OPEN(name, at)                                                                             \
    int name(const char *path, int flags, ...)                                                     \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = modeOf(flags, arguments);                                              \
        va_end(arguments);                                                                         \
        return openAt(#at, AT_FDCWD, path, flags, mode);                                           \
    }

#define OPENAT(name)                                                                               \
    int name(int directory, const char *path, int flags, ...)                                      \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = modeOf(flags, arguments);                                              \
        va_end(arguments);                                                                         \
        return openAt(#name, directory, path, flags, mode);                                        \
    }

/// A function that is called first, and noted with its result.
#define NOTED(result, name, parameters, arguments, type, note)                                     \
    result name parameters                                                                         \
    {                                                                                              \
        static const auto function = real<type>(#name);                                            \
        const auto call = [&] { return function arguments; };                                      \
        return note;                                                                               \
    }

extern "C" {

OPEN(open, openat)
OPEN(open64, openat64)
OPENAT(openat)
OPENAT(openat64)

FILE *fopen(const char *path, const char *mode)
{
    return openStream("fopen", path, mode);
}

FILE *fopen64(const char *path, const char *mode)
{
    return openStream("fopen64", path, mode);
}

NOTED(ssize_t, write, (int file, const void *data, size_t size), (file, data, size),
      ssize_t(int, const void *, size_t), noteWrite(call(), file))
NOTED(ssize_t, writev, (int file, const iovec *parts, int count), (file, parts, count),
      ssize_t(int, const iovec *, int), noteWrite(call(), file))
NOTED(ssize_t, pwrite, (int file, const void *data, size_t size, off_t offset),
      (file, data, size, offset), ssize_t(int, const void *, size_t, off_t),
      noteWrite(call(), file))
NOTED(ssize_t, pwrite64, (int file, const void *data, size_t size, off64_t offset),
      (file, data, size, offset), ssize_t(int, const void *, size_t, off64_t),
      noteWrite(call(), file))
NOTED(ssize_t, sendfile, (int out, int in, off_t *offset, size_t size) noexcept,
      (out, in, offset, size), ssize_t(int, int, off_t *, size_t), noteWrite(call(), out))
NOTED(ssize_t, sendfile64, (int out, int in, off64_t *offset, size_t size) noexcept,
      (out, in, offset, size), ssize_t(int, int, off64_t *, size_t), noteWrite(call(), out))
NOTED(ssize_t, copy_file_range,
      (int in, off64_t *from, int out, off64_t *to, size_t size, unsigned flags),
      (in, from, out, to, size, flags), ssize_t(int, off64_t *, int, off64_t *, size_t, unsigned),
      noteWrite(call(), out))

NOTED(int, rename, (const char *from, const char *to) noexcept, (from, to),
      int(const char *, const char *),
      noteRename(call(), absolute(AT_FDCWD, from), absolute(AT_FDCWD, to)))
NOTED(int, renameat2,
      (int fromDirectory, const char *from, int toDirectory, const char *to,
       unsigned flags) noexcept,
      (fromDirectory, from, toDirectory, to, flags),
      int(int, const char *, int, const char *, unsigned),
      noteRename(call(), absolute(fromDirectory, from), absolute(toDirectory, to)))
int mkostemp(char *path, int flags)
{
    static const auto function = real<int(char *, int)>("mkostemp");
    const int file = function(path, flags);
    noteOpen(file >= 0, absolute(AT_FDCWD, path), true, false);
    return file;
}

int linkat(int fromDirectory, const char *from, int toDirectory, const char *to, int flags) noexcept
{
    static const auto function = real<int(int, const char *, int, const char *, int)>("linkat");
    const int result = function(fromDirectory, from, toDirectory, to, flags);
    // So a temporary file without a name gets one.
    const std::string path = absolute(toDirectory, to);
    if (result == 0 && isWatched(path)) {
        record("open", path, "c");
        record("data", path, content(path));
    }
    return result;
}

NOTED(int, unlink, (const char *path) noexcept, (path), int(const char *),
      notePath(call(), "unlink", absolute(AT_FDCWD, path)))
NOTED(int, remove, (const char *path) noexcept, (path), int(const char *),
      notePath(call(), "unlink", absolute(AT_FDCWD, path)))
NOTED(int, unlinkat, (int directory, const char *path, int flags) noexcept,
      (directory, path, flags), int(int, const char *, int),
      notePath(call(), "unlink", absolute(directory, path)))
NOTED(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode), int(const char *, mode_t),
      notePath(call(), "mkdir", absolute(AT_FDCWD, path)))
NOTED(int, mkdirat, (int directory, const char *path, mode_t mode) noexcept,
      (directory, path, mode), int(int, const char *, mode_t),
      notePath(call(), "mkdir", absolute(directory, path)))
NOTED(int, utimensat,
      (int directory, const char *path, const timespec times[2], int flags) noexcept,
      (directory, path, times, flags), int(int, const char *, const timespec *, int),
      notePath(call(), "times", absolute(directory, path)))
NOTED(int, futimens, (int file, const timespec times[2]) noexcept, (file, times),
      int(int, const timespec *), notePath(call(), "times", pathOf(file)))

NOTED(int, fsync, (int file), (file), int(int), notePath(call(), "sync", pathOf(file)))
NOTED(int, fdatasync, (int file), (file), int(int), notePath(call(), "sync", pathOf(file)))
NOTED(int, syncfs, (int file) noexcept, (file), int(int),
      notePath(call(), "syncfs", pathOf(file) + '/'))

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
