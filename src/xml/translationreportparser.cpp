#include "xml/translationreportparser.h"

using namespace Qt::StringLiterals;

bool TranslationReportParser::parse(const QString &fileName)
{
    m_reports.clear();
    m_defaultSourceLanguage.clear();
    m_fileName = fileName;
    m_file.setFileName(fileName);
    if (!m_file.open(QIODevice::ReadOnly))
        return raiseError(m_file.errorString());
    setDevice(&m_file);
    const bool ok = readRoot();
    closeFile();
    return ok;
}

bool TranslationReportParser::readRoot()
{
    const QString wrongKind = u"This doesn't look like a translation report file."_s;
    if (readNext() != StartDocument)
        return raiseError(u"This doesn't look like an XML file."_s);
    if (readNext() != DTD || text().toString().simplified() != "<!DOCTYPE TSREPORT>"_L1)
        return raiseError(wrongKind);
    if (readNext() != StartElement || name() != "TSREPORT"_L1)
        return raiseError(wrongKind);
    m_defaultSourceLanguage = stringAttribute("sourcelanguage");

    while (readNext() != EndElement) {
        if (!isStartElement())
            return raiseError(u"Element expected."_s);
        if (!(name() == "source"_L1 ? readSource() : skipElement()))
            return false;
    }
    // Only a second end tag is refused; whatever else follows is left to the stream reader.
    if (readNext() == EndElement)
        return raiseError(u"End of document expected"_s);
    return !hasError();
}

bool TranslationReportParser::readSource()
{
    TranslationReport report;
    report.fileName = stringAttribute("filename");
    report.language = stringAttribute("language");
    report.sourceLanguage = attributes().hasAttribute("sourcelanguage"_L1)
                                    ? stringAttribute("sourcelanguage")
                                    : m_defaultSourceLanguage;

    while (readNext() != EndElement) {
        if (!isStartElement())
            return raiseError(u"Element expected."_s);
        if (!(name() == "stats"_L1 ? readStats(&report) : skipElement()))
            return false;
    }
    m_reports.append(report);
    return true;
}

bool TranslationReportParser::readStats(TranslationReport *report)
{
    report->total = stringAttribute("total").toUInt();
    report->unfinished = stringAttribute("unfinished").toUInt();
    report->obsolete = stringAttribute("obsolete").toUInt();
    if (readNext() != EndElement)
        return raiseError(u"End of <stats> element expected."_s);
    return true;
}
