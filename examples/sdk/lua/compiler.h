#pragma once

#include <string>
#include <string_view>

namespace lua {

/// Compiles a source to the byte code that luac 5.1 makes of a file of this name; throws
/// SourceError with a text that begins with the whole name.
/// @param strip  leaves out the debug information, as luac -s does
std::string compile(std::string_view source, const std::string &name, bool strip);

} // namespace lua
