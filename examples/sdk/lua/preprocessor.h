#pragma once

#include "lexer.h"

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace lua {

/// Preprocesses one source: carries out #include and #define, removes comments and blanks.
///
/// Every line of the source stays a line with the same number. Code that is taken in stands on the
/// line of its #include; only the lines of long strings in it count. Line ends outside of comments
/// and strings become LF.
class Preprocessor
{
public:
    /// @param directories  where files to take in are looked for, in this order
    Preprocessor(std::vector<std::string> directories, bool strip, bool trim);

    /// The preprocessed text. Files are read while it is made; a file that cannot be read throws
    /// std::system_error, a source that cannot be processed SourceError.
    std::string process(const std::string &file);

    /// The same for a source that has been read already.
    std::string process(const std::string &file, const std::string &content);

private:
    /// A token of the output.
    struct Piece
    {
        Kind kind;
        std::string_view text;

        bool operator==(const Piece &other) const = default;
    };
    using Pieces = std::vector<Piece>;

    void addFile(const std::string &file, std::string content);
    void addToken(const Token &token, const std::string &file);
    void carryOut(const Token &directive, const std::string &file);
    void include(const std::string &name, const std::string &file, int line);
    bool define(const std::vector<Token> &words, const std::string &file, int line);
    void expand(const Piece &name, std::vector<std::string_view> &active, Pieces &pieces) const;
    static bool wouldJoin(const Piece &left, const Piece &right);
    bool isIncluded() const { return m_openFiles.size() > 1; }
    static Pieces trimmed(const Pieces &pieces);
    static std::string joined(const Pieces &pieces);

    std::vector<std::string> m_directories;
    bool m_strip;
    bool m_trim;
    std::deque<std::string> m_contents; // what pieces and macros are views of
    std::vector<std::string> m_openFiles;
    std::map<std::string_view, Pieces> m_macros;
    Pieces m_output;
};

/// A comment that tells ztluac the source of a preprocessed text. It goes to the very end of the
/// text, where it changes no line; a name that does not fit on a line is not noted.
std::string sourceNote(const std::string &file);

/// The source that such a comment names; empty when there is none.
std::string notedSource(std::string_view text);

} // namespace lua
