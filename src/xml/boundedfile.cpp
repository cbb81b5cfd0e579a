#include "xml/boundedfile.h"

#include <algorithm>
#include <cstring>
#include <iterator>

bool BoundedFile::open(OpenMode mode)
{
    m_state = State::Text;
    m_attributes = 0;
    std::fill(std::begin(m_last), std::end(m_last), '\0');
    return QFile::open(mode);
}

qint64 BoundedFile::readData(char *data, qint64 maxSize)
{
    const qint64 count = hasTooManyAttributes() ? -1 : QFile::readData(data, maxSize);
    for (const char c : QByteArrayView(data, std::max<qint64>(count, 0))) {
        if (c == '\0') // half of a character in UTF-16
            continue;
        std::copy(m_last + 1, std::end(m_last), m_last);
        m_last[2] = c;
        m_state = next(c);
        if (hasTooManyAttributes())
            break;
    }
    return hasTooManyAttributes() ? -1 : count;
}

bool BoundedFile::endsWith(const char *mark) const
{
    const size_t size = std::strlen(mark);
    return std::equal(mark, mark + size, std::end(m_last) - size);
}

BoundedFile::State BoundedFile::next(char c)
{
    switch (m_state) {
    case State::Text:
        return c == '<' ? State::Opened : State::Text;
    case State::Opened:
        m_attributes = 0;
        if (c == '!' || c == '?')
            return c == '!' ? State::Declaration : State::Instruction;
        return c == '>' ? State::Text : State::Tag;
    case State::Declaration:
        if (endsWith("<!["))
            return State::CData;
        if (endsWith("!--"))
            return State::Comment;
        return c == '-' ? State::Declaration : State::Text;
    case State::Tag:
        if (c == '=')
            ++m_attributes;
        m_quote = c;
        if (c == '"' || c == '\'')
            return State::Value;
        return c == '>' ? State::Text : State::Tag;
    case State::Value:
        return c == m_quote ? State::Tag : State::Value;
    case State::Comment:
        return endsWith("-->") ? State::Text : State::Comment;
    case State::CData:
        return endsWith("]]>") ? State::Text : State::CData;
    case State::Instruction:
        return endsWith("?>") ? State::Text : State::Instruction;
    }
    return State::Text;
}
