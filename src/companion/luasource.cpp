#include "companion/luasource.h"

#include "companion/contentof.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

bool isWordPart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'
           || static_cast<unsigned char>(c) >= 0x80;
}

class LuaReader
{
public:
    explicit LuaReader(LuaSource *source) : m_source(source), m_text(source->text) {}

    void read()
    {
        if (at(0) == '#' && !takeDirective())
            m_position = lineEnd(0); // as for a shell
        while (m_position < m_text.size()) {
            if (!m_isLineStart || !takeDirective())
                takeNext();
        }
    }

private:
    char at(qsizetype position) const { return position < m_text.size() ? m_text[position] : '\0'; }

    qsizetype lineEnd(qsizetype position) const
    {
        while (position < m_text.size() && at(position) != '\n' && at(position) != '\r')
            ++position;
        return position;
    }

    template <typename Predicate>
    qsizetype skip(qsizetype position, Predicate predicate) const
    {
        while (position < m_text.size() && predicate(at(position)))
            ++position;
        return position;
    }

    void advance(qsizetype end)
    {
        m_line += static_cast<int>(m_text.sliced(m_position, end - m_position).count('\n'));
        m_position = end;
    }

    bool takeDirective()
    {
        const qsizetype sign = skip(m_position, isBlank);
        if (at(sign) != '#')
            return false;
        const qsizetype start = skip(sign + 1, isBlank);
        const qsizetype end = skip(start, isWordPart);
        const QByteArrayView word = m_text.sliced(start, end - start);
        const QByteArrayView rest = m_text.sliced(end, lineEnd(end) - end);
        static constexpr std::array<QByteArrayView, 7> conditions{"if",   "ifdef", "ifndef", "elif",
                                                                  "else", "endif", "undef"};
        if (word == "include")
            addInclusion(rest);
        else if (word == "define")
            addMacro(rest);
        else if (std::find(conditions.begin(), conditions.end(), word) != conditions.end())
            m_source->isConditional = true;
        else
            return false;
        m_position = end + rest.size();
        return true;
    }

    void addInclusion(QByteArrayView rest)
    {
        static const QRegularExpression header(u"^\\s*\"([^\"]+)\"\\s*(--.*)?$"_s);
        const auto match = header.match(QString::fromUtf8(rest));
        if (match.hasMatch())
            m_source->inclusions.append({match.captured(1), m_line});
    }

    void addMacro(QByteArrayView rest)
    {
        const QByteArrayView name = rest.trimmed();
        const auto end = std::find_if_not(name.begin(), name.end(), isWordPart);
        m_source->macros.append(name.first(end - name.begin()));
    }

    void takeNext()
    {
        const char c = at(m_position);
        if (c == '\n' || c == '\r') {
            m_isLineStart = true;
            advance(m_position + 1);
        } else if (isBlank(c)) {
            ++m_position;
        } else {
            m_isLineStart = false;
            takeCode(c);
        }
    }

    void takeCode(char c)
    {
        const bool isComment = c == '-' && at(m_position + 1) == '-';
        const qsizetype start = isComment ? m_position + 2 : m_position;
        qsizetype end = longEnd(start);
        if (end < 0 && isComment)
            end = lineEnd(start);
        else if (end < 0 && (c == '"' || c == '\''))
            end = quotedEnd();
        else if (end < 0)
            end = std::max(skip(m_position, isWordPart), m_position + 1);
        if (!isComment)
            m_source->tokens.append(m_text.sliced(m_position, end - m_position));
        advance(end);
    }

    /// @return where the long bracket ends that begins there; -1 when none does
    qsizetype longEnd(qsizetype start) const
    {
        if (at(start) != '[')
            return -1;
        const qsizetype inner = skip(start + 1, [](char c) { return c == '='; });
        if (at(inner) != '[')
            return -1;
        const QByteArray closing = ']' + QByteArray(inner - start - 1, '=') + ']';
        const qsizetype end = m_text.indexOf(closing, inner + 1);
        return end < 0 ? m_text.size() : end + closing.size();
    }

    qsizetype quotedEnd() const
    {
        const char quote = at(m_position);
        qsizetype end = m_position + 1;
        while (end < m_text.size() && at(end) != quote && at(end) != '\n')
            end += at(end) == '\\' ? 2 : 1;
        return std::min(end + 1, m_text.size());
    }

    LuaSource *m_source;
    QByteArrayView m_text;
    qsizetype m_position = 0;
    int m_line = 1;
    bool m_isLineStart = true;
};

} // namespace

LuaSource LuaSource::of(const QByteArray &text)
{
    LuaSource source;
    source.text = text;
    LuaReader(&source).read();
    return source;
}

LuaSource LuaSource::read(const QString &path)
{
    return of(contentOf(path).value_or(QByteArray()));
}
