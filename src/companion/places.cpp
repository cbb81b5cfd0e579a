#include "companion/places.h"

#include <QRegularExpression>
#include <QStringDecoder>
#include <QStringList>
#include <QXmlStreamReader>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// @return a text in UTF-8, or in the other encoding that its first bytes show
QString decoded(const QByteArray &text)
{
    const auto encoding = QStringConverter::encodingForData(text, u'<');
    QStringDecoder decoder(encoding.value_or(QStringConverter::Utf8));
    return decoder(text);
}

/// An editor shows one character for both halves of a pair.
int charactersIn(QStringView text)
{
    const auto begins = [](QChar unit) { return !unit.isLowSurrogate(); };
    return static_cast<int>(std::count_if(text.begin(), text.end(), begins));
}

} // namespace

Places::Places(const QByteArray &text) : m_text(decoded(text))
{
    QXmlStreamReader reader(m_text);
    QStringList path;
    QList<qsizetype> open; // the elements on the way from the root
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            if (open.isEmpty())
                m_nameSpace = reader.namespaceUri().toString();
            else
                path << reader.name().toString();
            open << m_elements.size();
            m_elements.append({path.join(u'/'), reader.characterOffset(),
                               reader.namespaceUri() != m_nameSpace});
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
    return {static_cast<int>(before.count(u'\n')) + 1, charactersIn(before.sliced(lineStart)) + 1};
}

qsizetype Places::startOf(const Element &element) const
{
    // A tag has no other "<"; the reader does not tell where it has begun.
    const qsizetype end = std::min(element.end, m_text.size());
    return std::max(QStringView(m_text).first(end).lastIndexOf(u'<'), 0LL);
}

Place Places::placeOf(const Element &element, const QString &attribute) const
{
    const qsizetype end = std::min(element.end, m_text.size());
    const qsizetype start = startOf(element);
    if (attribute.isEmpty())
        return placeAt(start);
    const QRegularExpression pattern(u"\\s(%1)\\s*="_s.arg(QRegularExpression::escape(attribute)));
    const QRegularExpressionMatch match = pattern.match(m_text.sliced(start, end - start));
    return placeAt(match.hasMatch() ? start + match.capturedStart(1) : start);
}

const Places::Element *Places::find(const QString &path, qsizetype number) const
{
    const auto isIt = [&](const Element &element) {
        return element.path == path && (number == last || number-- == 0);
    };
    if (number == last) {
        const auto found = std::find_if(m_elements.rbegin(), m_elements.rend(), isIt);
        return found == m_elements.rend() ? nullptr : &*found;
    }
    const auto found = std::find_if(m_elements.begin(), m_elements.end(), isIt);
    return found == m_elements.end() ? nullptr : &*found;
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
        return element(path.first(slash), find(path.first(slash), number) ? number : last);
    return m_elements.isEmpty() ? Place{1, 1} : placeOf(m_elements.first(), {});
}

Place Places::child(const QString &path, qsizetype number, const QString &name,
                    const QString &attribute) const
{
    const Element *const parent = find(path, number);
    const Element *found = parent;
    if (parent) {
        const QString childPath = path + u'/' + name;
        const Element *const end = m_elements.constData() + m_elements.size();
        for (const Element *element = parent + 1; element != end && element->path != path;
             ++element) {
            if (element->path == childPath)
                found = element;
        }
    }
    return found ? placeOf(*found, attribute) : element(path);
}

std::optional<Place> Places::elementWithText(const QString &name, const QString &text) const
{
    for (const Element &element : m_elements) {
        if (element.text == text && element.path.endsWith(u'/' + name))
            return placeOf(element, {});
    }
    return {};
}

QString Places::value(const QString &path, const QString &name) const
{
    const Element *const element = find(path, last);
    if (!element)
        return {};
    const QRegularExpression pattern(
            u"\\s%1\\s*=\\s*([\"'])(.*?)\\1"_s.arg(QRegularExpression::escape(name)));
    const qsizetype start = startOf(*element);
    return pattern.match(m_text.sliced(start, std::min(element->end, m_text.size()) - start))
            .captured(2);
}

QString Places::text(const QString &path, qsizetype number) const
{
    const Element *const element = find(path, number);
    return element ? element->text : QString();
}

QList<Place> Places::foreignElements(const QRegularExpression &paths) const
{
    QList<Place> places;
    for (const Element &element : m_elements) {
        if (element.isForeign && paths.match(element.path).hasMatch())
            places.append(placeOf(element, {}));
    }
    return places;
}

Place Places::inDocumentOrder(qsizetype number, const QString &attribute) const
{
    return number >= 0 && number < m_elements.size() ? placeOf(m_elements[number], attribute)
                                                     : Place{1, 1};
}

Place Places::inCharacters(const Place &place) const
{
    QStringView rest = m_text;
    for (int line = 1; line < place.line; ++line)
        rest = rest.sliced(rest.indexOf(u'\n') + 1);
    const QStringView before = rest.first(std::clamp<qsizetype>(place.column - 1, 0, rest.size()));
    const auto pairs = std::count_if(before.begin(), before.end(),
                                     [](QChar unit) { return unit.isLowSurrogate(); });
    return {place.line, place.column - static_cast<int>(pairs)};
}
