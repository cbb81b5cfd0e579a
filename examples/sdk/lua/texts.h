#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lua {

/// A text to translate: the literal argument of a call of tr.
struct Text
{
    std::string text;
    std::string comment; // a literal second argument, which tells equal texts apart
    int line;
};

/// A call of tr that gives no text, and why.
struct Warning
{
    std::string text;
    int line;
};

struct Texts
{
    std::vector<Text> found;
    std::vector<Warning> warnings;
};

/// The texts of a source; throws LexicalError.
Texts textsOf(std::string_view source);

} // namespace lua
