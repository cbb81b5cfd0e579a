#include "companion/schemacheck.h"

#include "xml/projectnamespaces.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <memory>
#include <numeric>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlschemas.h>

using namespace Qt::StringLiterals;

namespace {

template <auto Function>
struct Free
{
    template <typename T>
    void operator()(T *object) const
    {
        Function(object);
    }
};

using Document = std::unique_ptr<xmlDoc, Free<xmlFreeDoc>>;
using Schema = std::unique_ptr<xmlSchema, Free<xmlSchemaFree>>;
using ParserContext = std::unique_ptr<xmlParserCtxt, Free<xmlFreeParserCtxt>>;
using SchemaParserContext = std::unique_ptr<xmlSchemaParserCtxt, Free<xmlSchemaFreeParserCtxt>>;
using ValidationContext = std::unique_ptr<xmlSchemaValidCtxt, Free<xmlSchemaFreeValidCtxt>>;

/// Takes the first mistake; most of the others follow from it.
void takeSyntaxError(void *context, xmlErrorPtr error)
{
    auto *findings = static_cast<QList<Finding> *>(static_cast<xmlParserCtxt *>(context)->_private);
    if (!findings->isEmpty() || error->level < XML_ERR_ERROR)
        return;
    findings->append({.severity = Finding::Severity::Error,
                      .file = {},
                      .place = {error->line, error->int2},
                      .check = u"xml"_s,
                      .text = QString::fromUtf8(error->message).trimmed(),
                      .cure = u"Write well-formed XML; look at the quotes, the < and the end tags "
                              "from here upwards."_s});
}

/// Loads no other file, as the readers of ztmake do not.
xmlParserInputPtr loadNothing(const char *, const char *, xmlParserCtxtPtr context)
{
    return xmlNewStringInputStream(context, BAD_CAST "");
}

/// @return the document; null with the mistake in @p findings
Document parse(const QByteArray &text, QList<Finding> *findings)
{
    xmlSetExternalEntityLoader(loadNothing);
    // The library bounds what entities expand to, but only together with the size of all else.
    const int bound = text.contains("<!ENTITY") ? XML_PARSE_NOENT : XML_PARSE_HUGE;
    const ParserContext context(xmlNewParserCtxt());
    context->_private = findings;
    context->sax->serror = takeSyntaxError;
    return Document(xmlCtxtReadMemory(context.get(), text.constData(),
                                      static_cast<int>(text.size()), nullptr, nullptr,
                                      XML_PARSE_NONET | bound));
}

/// @return the number of an element in document order
qsizetype numberOf(const xmlNode *element)
{
    qsizetype count = -1;
    for (const xmlNode *node = xmlDocGetRootElement(element->doc); node;) {
        count += node->type == XML_ELEMENT_NODE ? 1 : 0;
        if (node == element)
            break;
        if (node->type == XML_ELEMENT_NODE && node->children) {
            node = node->children;
            continue;
        }
        while (node && !node->next)
            node = node->parent && node->parent->type == XML_ELEMENT_NODE ? node->parent : nullptr;
        if (node)
            node = node->next;
    }
    return count;
}

struct Validation
{
    const Places &places;
    QStringList names; ///< that the schema knows
    QList<Finding> *findings;
    bool isDetail = false; ///< the last finding tells what a part of a value may be like
};

QString cureFor(const QString &text, const QStringList &names)
{
    static const QRegularExpression unknown(
            u"attribute '([^']+)' is not allowed|Element '([^']+)': This element is not expected"_s);
    const QRegularExpressionMatch match = unknown.match(text);
    if (!match.hasMatch())
        return u"Correct it as project-file.md describes; ztmake takes it differently, or ignores "
               "it."_s;
    const QString word = match.captured(match.captured(1).isEmpty() ? 2 : 1);
    const QString nearest = nearestWord(word, names);
    if (nearest == word) {
        return u"Remove it, or put it where project-file.md has it: ztmake takes the last of "
               "several, or ignores it."_s;
    }
    return nearest.isEmpty()
                   ? u"Remove it, or put it where project-file.md has it: ztmake ignores it."_s
                   : u"Write %1: ztmake ignores %2."_s.arg(nearest, word);
}

void takeError(void *data, xmlErrorPtr error)
{
    auto *validation = static_cast<Validation *>(data);
    static const QRegularExpression nameSpace(u"\\{(?!')[^}]*\\}"_s); // not the words in {'root'}
    static const QRegularExpression attribute(u"attribute '([^']+)'"_s);
    const QString text = QString::fromUtf8(error->message)
                                 .remove(nameSpace)
                                 .section(u" Expected is"_s, 0, 0)
                                 .simplified();
    const auto *node = static_cast<const xmlNode *>(error->node);
    while (node && node->type != XML_ELEMENT_NODE)
        node = node->parent;
    Place place{error->line, 1};
    if (node)
        place = validation->places.inDocumentOrder(numberOf(node),
                                                   attribute.match(text).captured(1));
    if (text.contains("No precomputed value"_L1))
        return; // about the library's own work, behind an error
    // What a value may be can be said twice: what its parts are like, and that it is none of them.
    const bool isDetail = error->code == XML_SCHEMAV_CVC_PATTERN_VALID
                          || error->code == XML_SCHEMAV_CVC_ENUMERATION_VALID;
    if (validation->isDetail && validation->findings->last().place == place)
        validation->findings->removeLast();
    validation->isDetail = isDetail;
    validation->findings->append({.severity = Finding::Severity::Warning,
                                  .file = {},
                                  .place = place,
                                  .check = u"schema"_s,
                                  .text = text,
                                  .cure = cureFor(text, validation->names)});
}

QByteArray schemaFor(const xmlDoc *document)
{
    const xmlNode *root = xmlDocGetRootElement(document);
    const char *uri = root && root->ns ? reinterpret_cast<const char *>(root->ns->href) : "";
    QString name;
    if (qstrcmp(uri, ProjectNamespaces::current) == 0)
        name = u":/schema/zelta-project-2009-42.xsd"_s;
    else if (qstrcmp(uri, ProjectNamespaces::first) == 0)
        name = u":/schema/zelta-project-2009.xsd"_s;
    QFile file(name);
    return !name.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList namesIn(const QByteArray &schema)
{
    static const QRegularExpression name(u"<xs:(?:attribute|element) name=\"(\\w+)\""_s);
    QStringList names;
    for (const auto &match : name.globalMatch(QString::fromUtf8(schema)))
        names << match.captured(1);
    names.removeDuplicates();
    return names;
}

qsizetype distance(const QString &a, const QString &b)
{
    QList<qsizetype> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 1; i <= a.size(); ++i) {
        qsizetype diagonal = row[0];
        row[0] = i;
        for (qsizetype j = 1; j <= b.size(); ++j) {
            const qsizetype above = row[j];
            row[j] = std::min({above + 1, row[j - 1] + 1,
                               diagonal + (a[i - 1].toLower() == b[j - 1].toLower() ? 0 : 1)});
            diagonal = above;
        }
    }
    return row.last();
}

} // namespace

QString nearestWord(const QString &word, const QStringList &words)
{
    QString nearest;
    qsizetype best = word.size() / 3 + 1;
    for (const QString &candidate : words) {
        const qsizetype length = distance(word, candidate);
        if (length < best) {
            best = length;
            nearest = candidate;
        }
    }
    return nearest;
}

QList<Finding> checkSchema(const QByteArray &text, const Places &places)
{
    QList<Finding> findings;
    const Document document = parse(text, &findings);
    if (!document)
        return findings;
    const QByteArray source = schemaFor(document.get());
    if (source.isEmpty())
        return findings; // the readers say that it is no project file
    const SchemaParserContext parser(
            xmlSchemaNewMemParserCtxt(source.constData(), static_cast<int>(source.size())));
    const Schema schema(xmlSchemaParse(parser.get()));
    const ValidationContext context(xmlSchemaNewValidCtxt(schema.get()));
    Validation validation{places, namesIn(source), &findings};
    xmlSchemaSetValidStructuredErrors(context.get(), takeError, &validation);
    xmlSchemaValidateDoc(context.get(), document.get());
    return findings;
}
