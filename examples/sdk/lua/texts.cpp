#include "texts.h"

#include "lexer.h"

#include <algorithm>
#include <bit>

namespace lua {

namespace {

bool isUtf8(std::string_view text)
{
    static constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000}; // for each length
    for (size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const int ones = std::countl_one(first);
        const auto end = i + static_cast<size_t>(std::max(ones, 1));
        if (ones == 1 || ones > 4 || end > text.size())
            return false;
        char32_t code = first & (0xffU >> (ones + 1));
        for (++i; i < end; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            if (std::countl_one(byte) != 1)
                return false;
            code = code << 6U | (byte & 0x3fU);
        }
        const bool surrogate = code >= 0xd800 && code < 0xe000;
        if (code < smallest[std::max(ones, 1)] || code > 0x10ffff || surrogate)
            return false;
    }
    return true;
}

/// Why a text cannot be translated; nullptr: it can.
const char *fault(std::string_view text)
{
    const auto isControl = [](char c) { return c >= 0 && c < ' ' && c != '\t' && c != '\n'; };
    if (!isUtf8(text))
        return "string is not UTF-8";
    if (std::any_of(text.begin(), text.end(), isControl))
        return "control character in a text to translate";
    return nullptr;
}

/// The calls of tr among the pieces of a source.
class Scanner
{
public:
    explicit Scanner(std::string_view source)
    {
        for (const Token &token : tokens(source)) {
            if (!token.isBlank() && token.kind != Kind::Comment)
                m_pieces.push_back(token);
        }
    }

    Texts scan()
    {
        for (size_t i = 0; i < m_pieces.size(); ++i) {
            if (is(i, "tr") && m_pieces[i].kind == Kind::Name && !isDefinition(i))
                addCall(i);
        }
        return std::move(m_texts);
    }

private:
    bool is(size_t piece, std::string_view text) const
    {
        return piece < m_pieces.size() && m_pieces[piece].text == text;
    }
    bool isLiteral(size_t piece) const
    {
        return piece < m_pieces.size() && m_pieces[piece].isLiteral();
    }
    bool isDefinition(size_t piece) const;
    void addCall(size_t piece);

    std::vector<Token> m_pieces;
    Texts m_texts;
};

/// Whether a name is that of a function which is defined here, as in "function i18n.tr".
bool Scanner::isDefinition(size_t piece) const
{
    while (piece >= 2 && (is(piece - 1, ".") || is(piece - 1, ":")))
        piece -= 2;
    return piece >= 1 && is(piece - 1, "function");
}

/// Adds the text of a call, or a warning; what follows the name may be no call at all.
void Scanner::addCall(size_t piece)
{
    const int line = m_pieces[piece].line;
    const bool bracket = is(piece + 1, "(");
    if (!bracket && !is(piece + 1, "{") && !isLiteral(piece + 1))
        return;
    const size_t first = piece + (bracket ? 2 : 1);
    const bool alone = !bracket || is(first + 1, ")") || is(first + 1, ",");
    if (!isLiteral(first) || !alone) {
        m_texts.warnings.push_back({"text to translate is not a literal", line});
        return;
    }
    Text text{literalValue(m_pieces[first]), "", line};
    if (bracket && is(first + 1, ",") && isLiteral(first + 2) && is(first + 3, ")"))
        text.comment = literalValue(m_pieces[first + 2]);
    if (text.text.empty())
        m_texts.warnings.push_back({"empty text to translate", line});
    else if (const char *reason = fault(text.text))
        m_texts.warnings.push_back({reason, line});
    else if (const char *commentReason = fault(text.comment))
        m_texts.warnings.push_back({commentReason, line});
    else
        m_texts.found.push_back(std::move(text));
}

} // namespace

Texts textsOf(std::string_view source)
{
    return Scanner(source).scan();
}

} // namespace lua
