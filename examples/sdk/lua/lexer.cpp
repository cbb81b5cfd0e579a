#include "lexer.h"

#include <algorithm>
#include <cstddef>

namespace lua {

namespace {

// Lua sees letters and digits as the C locale does; the functions of <cctype> depend on the locale.
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNamePart(char c)
{
    return isNameStart(c) || isDigit(c);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

bool isNewline(char c)
{
    return c == '\n' || c == '\r';
}

/// Where the line end that starts at a position ends.
size_t newlineEnd(std::string_view text, size_t position)
{
    const bool pair = position + 1 < text.size() && isNewline(text[position + 1])
                      && text[position + 1] != text[position];
    return position + (pair ? 2 : 1);
}

class Lexer
{
public:
    Lexer(std::string_view source, int line) : m_source(source), m_line(line) {}

    std::vector<Token> wholeSource();
    std::vector<Token> part();

private:
    char at(size_t position) const
    {
        return position < m_source.size() ? m_source[position] : '\0';
    }
    template <typename Predicate>
    size_t skip(size_t position, Predicate predicate) const;
    void add(Kind kind, size_t end);
    void addNext();
    bool addDirective();
    size_t quotedEnd() const;
    size_t numberEnd() const;
    size_t openingEnd(size_t position) const;
    size_t closingEnd(size_t opening, size_t position, const char *unfinished) const;

    std::string_view m_source;
    size_t m_position = 0;
    int m_line;
    std::vector<Token> m_tokens;
};

template <typename Predicate>
size_t Lexer::skip(size_t position, Predicate predicate) const
{
    while (position < m_source.size() && predicate(m_source[position]))
        ++position;
    return position;
}

void Lexer::add(Kind kind, size_t end)
{
    const std::string_view text = m_source.substr(m_position, end - m_position);
    m_tokens.push_back({kind, text, m_line});
    if (kind != Kind::Name && kind != Kind::Number && kind != Kind::Space && kind != Kind::Other)
        m_line += countLines(text);
    m_position = end;
}

std::vector<Token> Lexer::wholeSource()
{
    m_tokens.reserve(m_source.size() / 3);
    // Lua's first line ends at LF alone.
    if (at(0) == '#' && !addDirective()) {
        const size_t end = m_source.find('\n');
        add(Kind::FirstLine,
            end == std::string_view::npos ? m_source.size() : newlineEnd(m_source, end));
    }
    while (m_position < m_source.size()) {
        const bool lineStart = m_tokens.empty() || m_tokens.back().kind == Kind::Newline
                               || m_tokens.back().kind == Kind::FirstLine;
        if (!lineStart || !addDirective())
            addNext();
    }
    return std::move(m_tokens);
}

std::vector<Token> Lexer::part()
{
    while (m_position < m_source.size())
        addNext();
    return std::move(m_tokens);
}

/// Adds an #include or #define line, if one starts here.
bool Lexer::addDirective()
{
    const size_t sign = skip(m_position, isBlank);
    if (at(sign) != '#')
        return false;
    const size_t start = skip(sign + 1, isBlank);
    const size_t end = skip(start, isNamePart);
    const std::string_view word = m_source.substr(start, end - start);
    if (word != "include" && word != "define")
        return false;
    add(Kind::Directive, skip(end, [](char c) { return !isNewline(c); }));
    return true;
}

void Lexer::addNext()
{
    const char c = at(m_position);
    const char next = at(m_position + 1);
    if (isNewline(c)) {
        add(Kind::Newline, newlineEnd(m_source, m_position));
    } else if (isBlank(c)) {
        add(Kind::Space, skip(m_position, isBlank));
    } else if (isNameStart(c)) {
        add(Kind::Name, skip(m_position, isNamePart));
    } else if (isDigit(c) || (c == '.' && isDigit(next))) {
        add(Kind::Number, numberEnd());
    } else if (c == '.') {
        const size_t dots = skip(m_position, [](char other) { return other == '.'; }) - m_position;
        add(Kind::Other, m_position + std::min<size_t>(dots, 3));
    } else if (c == '"' || c == '\'') {
        add(Kind::String, quotedEnd());
    } else if (c == '-' && next == '-') {
        if (const size_t opening = openingEnd(m_position + 2))
            add(Kind::Comment, closingEnd(m_position + 2, opening, "unterminated long comment"));
        else
            add(Kind::Comment, skip(m_position, [](char other) { return !isNewline(other); }));
    } else if (const size_t opening = openingEnd(m_position)) {
        add(Kind::LongString, closingEnd(m_position, opening, "unterminated long string"));
    } else if (c == '[' && next == '=') {
        throw LexicalError("invalid long string delimiter", m_line);
    } else {
        const bool pair = next == '=' && std::string_view("=~<>").find(c) != std::string_view::npos;
        add(Kind::Other, m_position + (pair ? 2 : 1));
    }
}

/// A number is what Lua takes for one, malformed ones too: a sign belongs to it behind an exponent
/// that follows digits and dots, so not in 0xFE+1.
size_t Lexer::numberEnd() const
{
    size_t end = skip(m_position, [](char c) { return isDigit(c) || c == '.'; });
    if (at(end) == 'e' || at(end) == 'E') {
        ++end;
        if (at(end) == '+' || at(end) == '-')
            ++end;
    }
    return skip(end, isNamePart);
}

/// The end of the quoted string that starts here.
size_t Lexer::quotedEnd() const
{
    const char quote = at(m_position);
    size_t end = m_position + 1;
    while (end < m_source.size() && !isNewline(m_source[end])) {
        if (m_source[end] == quote)
            return end + 1;
        if (m_source[end] == '\\')
            ++end;
        if (end < m_source.size())
            end = isNewline(m_source[end]) ? newlineEnd(m_source, end) : end + 1;
    }
    throw LexicalError("unterminated string", m_line);
}

/// The position behind the opening long bracket at a position; 0 when there is none.
size_t Lexer::openingEnd(size_t position) const
{
    if (at(position) != '[')
        return 0;
    const size_t end = skip(position + 1, [](char c) { return c == '='; });
    return at(end) == '[' ? end + 1 : 0;
}

/// The position behind the long bracket that closes the one from opening to position.
size_t Lexer::closingEnd(size_t opening, size_t position, const char *unfinished) const
{
    const std::string closing = "]" + std::string(position - opening - 2, '=') + "]";
    const size_t end = m_source.find(closing, position);
    // Lua 5.1 refuses [[ within [[ ]], where Lua 5.0 counted it.
    if (closing == "]]"
        && m_source.substr(position, end - position).find("[[") != std::string::npos)
        throw LexicalError("nesting of [[...]] is deprecated", m_line);
    if (end == std::string_view::npos)
        throw LexicalError(unfinished, m_line);
    return end + closing.size();
}

/// Appends what the escape sequence stands for that starts behind the backslash at a position;
/// gives the position behind it.
size_t unescape(std::string_view text, size_t position, std::string &value)
{
    static constexpr std::string_view letters = "abfnrtv";
    static constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
    const char c = text[position];
    if (isNewline(c)) {
        value += '\n';
        return newlineEnd(text, position);
    }
    if (isDigit(c)) {
        int code = 0;
        size_t end = position;
        while (end < position + 3 && end < text.size() && isDigit(text[end]))
            code = 10 * code + (text[end++] - '0');
        value += static_cast<char>(code);
        return end;
    }
    const size_t letter = letters.find(c);
    value += letter == std::string_view::npos ? c : meanings[letter];
    return position + 1;
}

} // namespace

std::vector<Token> tokens(std::string_view source)
{
    return Lexer(source, 1).wholeSource();
}

std::vector<Token> partTokens(std::string_view part, int line)
{
    return Lexer(part, line).part();
}

int countLines(std::string_view text)
{
    int lines = 0;
    for (size_t i = 0; i < text.size();) {
        const bool ends = isNewline(text[i]);
        lines += ends ? 1 : 0;
        i = ends ? newlineEnd(text, i) : i + 1;
    }
    return lines;
}

std::string literalValue(const Token &literal)
{
    std::string_view text = literal.text;
    const bool isLong = literal.kind == Kind::LongString;
    const size_t bracket = isLong ? text.find('[', 1) + 1 : 1;
    text = text.substr(bracket, text.size() - 2 * bracket);
    size_t position = isLong && !text.empty() && isNewline(text[0]) ? newlineEnd(text, 0) : 0;
    std::string value;
    while (position < text.size()) {
        if (!isLong && text[position] == '\\') {
            position = unescape(text, position + 1, value);
        } else if (isNewline(text[position])) {
            value += '\n';
            position = newlineEnd(text, position);
        } else {
            value += text[position++];
        }
    }
    return value;
}

} // namespace lua
