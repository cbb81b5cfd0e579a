#pragma once

#include <stdexcept>
#include <string>

namespace lua {

/// A source that cannot be processed; the text is the whole report and begins with the place.
struct SourceError : std::runtime_error
{
    using std::runtime_error::runtime_error;
    SourceError(const std::string &text, const std::string &file, int line)
        : std::runtime_error(file + ":" + std::to_string(line) + ": " + text)
    {
    }
};

} // namespace lua
