#include "preprocessor.h"

#include "../tools/files.h"
#include "sourceerror.h"

#include <algorithm>
#include <filesystem>

namespace lua {

namespace {

constexpr std::string_view noteStart = " --ztlpp: ";

/// An absolute path without links, to know a file again.
std::string realPath(const std::string &file)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::weakly_canonical(file, error);
    return error ? file : path.string();
}

} // namespace

Preprocessor::Preprocessor(std::vector<std::string> directories, bool strip, bool trim)
    : m_directories(std::move(directories)), m_strip(strip), m_trim(trim)
{
}

std::string Preprocessor::process(const std::string &file)
{
    return process(file, readFile(file));
}

std::string Preprocessor::process(const std::string &file, const std::string &content)
{
    addFile(file, content);
    return joined(m_trim ? trimmed(m_output) : m_output);
}

void Preprocessor::addFile(const std::string &file, std::string content)
{
    m_openFiles.push_back(realPath(file));
    m_contents.push_back(std::move(content));
    try {
        for (const Token &token : tokens(m_contents.back()))
            addToken(token, file);
    } catch (const LexicalError &error) {
        throw SourceError(error.what(), file, error.line);
    }
    m_openFiles.pop_back();
}

void Preprocessor::addToken(const Token &token, const std::string &file)
{
    const bool isComment = token.kind == Kind::Comment || token.kind == Kind::FirstLine;
    if (token.kind == Kind::Directive) {
        carryOut(token, file);
    } else if (token.kind == Kind::Name) {
        std::vector<std::string_view> active;
        expand({token.kind, token.text}, active, m_output);
    } else if (isComment && (m_strip || isIncluded())) {
        m_output.push_back({Kind::Space, " "});
        // Lua passes over the first line together with its end, even when that is missing.
        const int lines = token.kind == Kind::FirstLine ? 1 : countLines(token.text);
        if (!isIncluded())
            m_output.insert(m_output.end(), static_cast<size_t>(lines), {Kind::Newline, "\n"});
    } else if (token.kind == Kind::Newline) {
        m_output.push_back(isIncluded() ? Piece{Kind::Space, " "} : Piece{Kind::Newline, "\n"});
    } else {
        m_output.push_back({token.kind, token.text});
    }
}

/// Carries out one #include or #define line.
void Preprocessor::carryOut(const Token &directive, const std::string &file)
{
    std::string_view text = directive.text;
    text.remove_prefix(text.find('#'));
    const size_t word = text.find_first_not_of(" \t\v\f", 1);
    const bool isDefine = text[word] == 'd';
    const auto parts = partTokens(text.substr(word + (isDefine ? 6 : 7)), directive.line);
    if (isDefine) {
        if (define(parts, file, directive.line))
            return;
    } else {
        std::vector<Token> words;
        std::copy_if(parts.begin(), parts.end(), std::back_inserter(words), [](const Token &token) {
            return !token.isBlank() && token.kind != Kind::Comment;
        });
        if (words.size() == 1 && words[0].text.size() > 2 && words[0].text[0] == '"') {
            const std::string_view name = words[0].text.substr(1, words[0].text.size() - 2);
            include(std::string(name), file, directive.line);
            return;
        }
    }
    text = text.substr(0, text.find_last_not_of(" \t\v\f") + 1);
    throw SourceError("malformed directive: " + std::string(text), file, directive.line);
}

void Preprocessor::include(const std::string &name, const std::string &file, int line)
{
    for (const std::string &directory : m_directories) {
        const std::string path = (std::filesystem::path(directory) / name).string();
        if (!std::filesystem::is_regular_file(path))
            continue;
        if (std::count(m_openFiles.begin(), m_openFiles.end(), realPath(path)) > 0)
            throw SourceError('"' + name + "\" includes itself", file, line);
        Pieces before;
        before.swap(m_output);
        addFile(path, readFile(path));
        const Pieces included = trimmed(m_output);
        m_output.swap(before);
        m_output.insert(m_output.end(), included.begin(), included.end());
        return;
    }
    throw SourceError("cannot find \"" + name + '"', file, line);
}

/// Takes over a macro from what follows the word "define"; false when that is malformed.
bool Preprocessor::define(const std::vector<Token> &words, const std::string &file, int line)
{
    if (words.size() < 2 || words[0].kind != Kind::Space || words[1].kind != Kind::Name
        || (words.size() > 2 && words[2].kind != Kind::Space))
        return false;
    Pieces pieces;
    for (size_t i = 3; i < words.size(); ++i) {
        const bool isComment = words[i].kind == Kind::Comment;
        pieces.push_back(isComment ? Piece{Kind::Space, " "} : Piece{words[i].kind, words[i].text});
    }
    while (!pieces.empty() && pieces.back().kind == Kind::Space)
        pieces.pop_back();
    const auto [macro, isNew] = m_macros.try_emplace(words[1].text, pieces);
    if (!isNew && macro->second != pieces)
        throw SourceError(std::string(words[1].text) + " is already defined as something else",
                          file, line);
    return true;
}

/// Appends what an identifier stands for; a macro is not expanded within itself.
void Preprocessor::expand(const Piece &name, std::vector<std::string_view> &active,
                          Pieces &pieces) const
{
    const auto macro = m_macros.find(name.text);
    if (macro == m_macros.end() || std::count(active.begin(), active.end(), name.text) > 0) {
        pieces.push_back(name);
        return;
    }
    active.push_back(name.text);
    for (const Piece &piece : macro->second) {
        if (piece.kind == Kind::Name)
            expand(piece, active, pieces);
        else
            pieces.push_back(piece);
    }
    active.pop_back();
}

/// Collapses the blanks between pieces, and drops those at both ends of lines.
Preprocessor::Pieces Preprocessor::trimmed(const Pieces &pieces)
{
    Pieces result;
    for (const Piece &piece : pieces) {
        const bool afterSpace = !result.empty() && result.back().kind == Kind::Space;
        if (piece.kind == Kind::Newline && afterSpace)
            result.pop_back();
        if (piece.kind != Kind::Space)
            result.push_back(piece);
        else if (!afterSpace && !result.empty() && result.back().kind != Kind::Newline)
            result.push_back({Kind::Space, " "});
    }
    if (!result.empty() && result.back().kind == Kind::Space)
        result.pop_back();
    return result;
}

/// Whether two pieces that touch each other would be read as something else. That happens where a
/// macro was expanded, never between neighbours in a source.
bool Preprocessor::wouldJoin(const Piece &left, const Piece &right)
{
    const auto isWord = [](const Piece &piece) {
        return piece.kind == Kind::Name || piece.kind == Kind::Number;
    };
    const char last = left.text.back();
    const char first = right.text.front();
    if (left.kind == Kind::Number && first == '.')
        return true;
    if (left.text == "." || left.text == "..")
        return first == '.' || (left.text == "." && right.kind == Kind::Number);
    if (left.kind == Kind::Other && left.text.size() == 1)
        return (last == '-' && first == '-') || (last == '[' && (first == '[' || first == '='))
               || (first == '=' && std::string_view("=<>~").find(last) != std::string_view::npos);
    return isWord(left) && isWord(right);
}

std::string Preprocessor::joined(const Pieces &pieces)
{
    std::string text;
    for (size_t i = 0; i < pieces.size(); ++i) {
        // At the start of a text, Lua takes the operator "#" for a first line.
        if (i == 0 ? pieces[i].text == "#" && pieces[i].kind == Kind::Other
                   : wouldJoin(pieces[i - 1], pieces[i]))
            text += ' ';
        text += pieces[i].text;
    }
    return text;
}

std::string sourceNote(const std::string &file)
{
    const bool fits = file.find_first_of("\r\n") == std::string::npos;
    return fits ? std::string(noteStart) + file : std::string();
}

std::string notedSource(std::string_view text)
{
    const size_t start = text.rfind(noteStart);
    if (start == std::string_view::npos)
        return {};
    const std::string_view name = text.substr(start + noteStart.size());
    return name.find_first_of("\r\n") == std::string_view::npos ? std::string(name) : std::string();
}

} // namespace lua
