#pragma once

#include <cstdarg>

#include <dlfcn.h>
#include <fcntl.h>

/// What a preloaded library needs to stand before functions of the C library.
namespace Preload {

/// @return the function that the library stands before
template <typename Function>
Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// @return the mode that follows the flags of an open(2), where there is one
inline mode_t modeOf(int flags, va_list arguments)
{
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE
                   ? static_cast<mode_t>(va_arg(arguments, unsigned))
                   : 0;
}

} // namespace Preload

// Each defines a function of the C library that first evaluates `guard`, and calls the real one
// when that is true; otherwise it returns `failure`. A guard may use the parameters.
// NOLINTBEGIN(bugprone-macro-parentheses)

/// The parameters, with a noexcept where the C library has one, and the arguments are in
/// parentheses; `type` is that of the real function.
#define STAND_BEFORE(result, name, parameters, arguments, type, guard, failure)                    \
    result name parameters                                                                         \
    {                                                                                              \
        static const auto function = Preload::real<type>(#name);                                   \
        if (guard)                                                                                 \
            return function arguments;                                                             \
        return failure;                                                                            \
    }

#define STAND_BEFORE_OPEN(name, guard)                                                             \
    int name(const char *path, int flags, ...)                                                     \
    {                                                                                              \
        static const auto function = Preload::real<int(const char *, int, ...)>(#name);            \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = Preload::modeOf(flags, arguments);                                     \
        va_end(arguments);                                                                         \
        return guard ? function(path, flags, mode) : -1;                                           \
    }
// NOLINTEND(bugprone-macro-parentheses)
