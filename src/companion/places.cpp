#include "companion/places.h"

#include <QRegularExpression>
#include <QStringList>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

Places::Places(const QByteArray &text) : m_text(QString::fromUtf8(text))
{
    QXmlStreamReader reader(m_text);
    QStringList path;
    QList<qsizetype> open; // the elements on the way from the root
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            if (!open.isEmpty())
                path << reader.name().toString();
            open << m_elements.size();
            m_elements.append({path.join(u'/'), reader.characterOffset(), {}});
        } else if (reader.isEndElement()) {
            open.removeLast();
            if (!path.isEmpty())
                path.removeLast();
        } else if (reader.isCharacters() && !open.isEmpty()) {
            m_elements[open.last()].text += reader.text();
        }
    }
}

Place Places::placeAt(qsizetype offset) const
{
    const QStringView before = QStringView(m_text).first(std::min(offset, m_text.size()));
    const qsizetype lineStart = before.lastIndexOf(u'\n') + 1;
    return {static_cast<int>(before.count(u'\n')) + 1, static_cast<int>(offset - lineStart) + 1};
}

Place Places::placeOf(const Element &element, const QString &attribute) const
{
    // A tag has no other "<"; the reader does not tell where it has begun.
    const qsizetype end = std::min(element.end, m_text.size());
    const qsizetype start = std::max(QStringView(m_text).first(end).lastIndexOf(u'<'), 0LL);
    if (attribute.isEmpty())
        return placeAt(start);
    const QRegularExpression pattern(u"\\s(%1)\\s*="_s.arg(QRegularExpression::escape(attribute)));
    const QRegularExpressionMatch match = pattern.match(m_text.sliced(start, end - start));
    return placeAt(match.hasMatch() ? start + match.capturedStart(1) : start);
}

const Places::Element *Places::find(const QString &path, qsizetype number) const
{
    for (const Element &element : m_elements) {
        if (element.path == path && number-- == 0)
            return &element;
    }
    return nullptr;
}

Place Places::element(const QString &path, qsizetype number) const
{
    return attribute(path, {}, number);
}

Place Places::attribute(const QString &path, const QString &name, qsizetype number) const
{
    if (const Element *element = find(path, number))
        return placeOf(*element, name);
    const qsizetype slash = path.lastIndexOf(u'/');
    if (slash > 0)
        return element(path.first(slash), find(path.first(slash), number) ? number : 0);
    return m_elements.isEmpty() ? Place{1, 1} : placeOf(m_elements.first(), {});
}

std::optional<Place> Places::elementWithText(const QString &name, const QString &text) const
{
    for (const Element &element : m_elements) {
        if (element.text == text && element.path.endsWith(u'/' + name))
            return placeOf(element, {});
    }
    return {};
}

Place Places::inDocumentOrder(qsizetype number, const QString &attribute) const
{
    return number >= 0 && number < m_elements.size() ? placeOf(m_elements[number], attribute)
                                                     : Place{1, 1};
}
