#include "xml/xmlfileparser.h"

#include "tools/tools.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

constexpr int maximumNesting = 20;

} // namespace

bool XmlFileParser::openFile(const QString &path)
{
    m_nestingDepth = 0;
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::ReadOnly)) {
        return raiseError(u"Failed to open input file %1."_s.arg(QDir::toNativeSeparators(path)));
    }
    m_fileName = path;
    setDevice(&m_file);
    return true;
}

void XmlFileParser::closeFile()
{
    m_file.close();
    m_nestingDepth = 0;
}

QXmlStreamReader::TokenType XmlFileParser::readNext()
{
    TokenType token;
    do {
        token = QXmlStreamReader::readNext();
    } while (token == Comment || token == ProcessingInstruction
             || (token == Characters && isWhitespace()));
    trace();
    return token;
}

void XmlFileParser::trace() const
{
    if (!m_traceTokens)
        return;
    qDebug("tt=%s name=\"%s\" text=\"%s\"", Tools::tokenName(tokenType()).toLocal8Bit().constData(),
           name().toLocal8Bit().constData(), text().toLocal8Bit().constData());
}

QString XmlFileParser::readCharacters()
{
    const QString element = name().toString();
    const TokenType token = QXmlStreamReader::readNext();
    trace();
    if (token == EndElement)
        return {};
    if (token != Characters) {
        raiseError(u"Characters for %1 element expected."_s.arg(element));
        return {};
    }
    QString characters = text().toString();
    if (readNext() == EndElement)
        return characters;
    // No angle brackets here, unlike in expectNextEndElement(): messages are kept as they are.
    raiseError(u"End of %1 element expected."_s.arg(element));
    return {};
}

bool XmlFileParser::expectStartElement(const char *name)
{
    const QLatin1StringView expected(name);
    if (isStartElement() && this->name() == expected)
        return true;
    return raiseError(u"<%1> expected."_s.arg(expected));
}

bool XmlFileParser::expectNextEndElement(const char *name)
{
    if (hasError())
        return false;
    const QLatin1StringView expected(name);
    if (readNext() == EndElement && this->name() == expected)
        return true;
    return raiseError(u"End of <%1> expected."_s.arg(expected));
}

bool XmlFileParser::skipElement()
{
    if (++m_nestingDepth > maximumNesting)
        return raiseError(u"File too deeply nested"_s);
    while (true) {
        switch (readNext()) {
        case StartElement:
            if (!skipElement())
                return false;
            break;
        case EndElement:
            --m_nestingDepth;
            return true;
        case NoToken:
        case Invalid:
            --m_nestingDepth;
            return false;
        default:
            break;
        }
    }
}

bool XmlFileParser::readChildren(std::initializer_list<Child> children)
{
    while (readNext() != EndElement) {
        if (!isStartElement())
            return raiseError(u"Element expected."_s);
        if (!readChild(children))
            return false;
    }
    return true;
}

bool XmlFileParser::readChild(std::initializer_list<Child> children)
{
    for (const Child &child : children) {
        if (name() == QLatin1StringView(child.name))
            return child.read();
    }
    qDebug("[Debug] <%s> element ignored", name().toLocal8Bit().constData());
    return skipElement();
}

QString XmlFileParser::stringAttribute(const char *name) const
{
    // After an error the token is Invalid, but the base class still holds the attributes.
    if (!isStartElement())
        return {};
    return attributes().value(QLatin1StringView(name)).toString();
}

Tristate XmlFileParser::tristateAttribute(const char *name)
{
    const QString value = stringAttribute(name);
    if (value.isEmpty())
        return {};
    const QString lowerCaseValue = value.toLower();
    const Tristate setting = Tristate::fromWord(lowerCaseValue);
    if (!setting.isSet()) {
        raiseError(u"Expected \"%1\" to be a boolean attribute, but got \"%2\""_s.arg(
                QLatin1StringView(name), lowerCaseValue));
    }
    return setting;
}

bool XmlFileParser::boolAttribute(const char *name, bool defaultValue)
{
    const QString value = stringAttribute(name).toLower();
    if (value.isEmpty())
        return defaultValue;
    const Tristate setting = Tristate::fromWord(value);
    if (setting.isSet())
        return setting.isOn();
    raiseError(
            u"Expected \"%1\" to be a bool, but got \"%2\""_s.arg(QLatin1StringView(name), value));
    return defaultValue;
}

int XmlFileParser::intAttribute(const char *name, int defaultValue)
{
    const QString value = stringAttribute(name);
    if (value.isEmpty())
        return defaultValue;
    bool isNumber = false;
    const int number = value.toInt(&isNumber, 10);
    if (isNumber)
        return number;
    raiseError(u"Expected \"%1\" to be a number, but got \"%2\""_s.arg(QLatin1StringView(name),
                                                                       value));
    return defaultValue;
}

bool XmlFileParser::raiseError(const QString &message)
{
    QString context;
    if (isStartElement())
        context = u"<%1>"_s.arg(name());
    else if (isEndElement())
        context = u"</%1>"_s.arg(name());
    else
        context = Tools::tokenName(tokenType());
    QXmlStreamReader::raiseError(u'(' + context + u") "_s + message);
    return false;
}

QString XmlFileParser::errorString() const
{
    return u"Error reading %1, Line %2, Column %3:\n  %4"_s.arg(
            m_fileName, QString::number(lineNumber()), QString::number(columnNumber()),
            m_file.hasTooManyAttributes() ? u"Too many attributes"_s
                                          : QXmlStreamReader::errorString());
}
