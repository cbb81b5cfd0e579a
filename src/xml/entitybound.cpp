#include "xml/entitybound.h"

#include <QFile>

#include <algorithm>
#include <string_view>

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

bool EntityBound::mayBeParsed(const QString &path)
{
    const QByteArray content = contentOf(path).replace('\0', ""); // half of a UTF-16 character
    const std::string_view text(content.constData(), static_cast<size_t>(content.size()));
    const size_t begin = text.find("<!DOCTYPE");
    if (begin == std::string_view::npos)
        return true;
    int depth = 0;
    for (const char c : text.substr(begin, text.find("]>", begin) - begin)) {
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        if (depth > maximumNesting)
            return false;
    }
    return true;
}

bool EntityBound::declare(const QString &name, const QString &value)
{
    m_values.insert(name, value);
    return m_values.size() <= maximumEntities;
}

qint64 EntityBound::expandedSize(const QString &name, int depth)
{
    const auto known = m_sizes.constFind(name);
    if (known != m_sizes.constEnd())
        return *known;
    const QString value = m_values.value(name);
    if (depth > maximumNesting)
        return maximumCharacters;
    m_sizes.insert(name, 0); // one that refers to itself is refused by the reader
    qint64 size = value.size();
    for (qsizetype at = value.indexOf(u'&'); at != -1; at = value.indexOf(u'&', at + 1)) {
        const qsizetype end = value.indexOf(u';', at);
        if (end == -1)
            break;
        size += expandedSize(value.sliced(at + 1, end - at - 1), depth + 1);
        size = std::min(size, maximumCharacters);
    }
    m_sizes.insert(name, size);
    return size;
}

bool EntityBound::mayBeExpanded(const QString &path)
{
    qint64 longest = 0;
    for (auto entity = m_values.cbegin(); entity != m_values.cend(); ++entity)
        longest = std::max(longest, expandedSize(entity.key(), 0));
    return longest == 0 || contentOf(path).count('&') <= maximumCharacters / longest;
}
