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
