#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace lua {

/// What a piece of a source is. Directives are the #include and #define lines of the preprocessor,
/// without their line ends; the first line is one that begins with "#", which Lua passes over, with
/// its line end. Line ends within comments, strings and long strings belong to these.
enum class Kind {
    FirstLine,
    Directive,
    Comment,
    String,
    LongString,
    Name,
    Number,
    Space,
    Newline,
    Other
};

/// A piece of a source. Its text is a view into the source; its line is that of its first byte.
struct Token
{
    Kind kind;
    std::string_view text;
    int line;

    bool isLiteral() const { return kind == Kind::String || kind == Kind::LongString; }
    bool isBlank() const { return kind == Kind::Space || kind == Kind::Newline; }
};

/// A source that cannot be taken apart. The text does not name the place.
struct LexicalError : std::runtime_error
{
    LexicalError(const char *text, int where) : std::runtime_error(text), line(where) {}
    int line;
};

/// The pieces of a whole Lua 5.1 source; their texts together are the source again.
/// A piece begins and ends where it does for Lua itself, and lines are counted as Lua counts them:
/// CR, LF, CR LF and LF CR each end one.
std::vector<Token> tokens(std::string_view source);

/// The pieces of a part of a line, where nothing is a first line or a directive.
std::vector<Token> partTokens(std::string_view part, int line);

/// How many line ends there are in a text.
int countLines(std::string_view text);

/// The bytes that a literal stands for.
std::string literalValue(const Token &literal);

} // namespace lua
