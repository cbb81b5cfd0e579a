#pragma once

#include "xml/xmlfileparser.h"

#include <QList>

/// Statistics of one translation file.
struct TranslationReport
{
    QString fileName;
    QString sourceLanguage;
    QString language;
    quint32 total = 0;
    quint32 unfinished = 0;
    quint32 obsolete = 0;
};

/// Reads the report that the translation scanner leaves behind.
class TranslationReportParser : public XmlFileParser
{
public:
    /// @return false with errorString() set; the entries before the failure remain in reports()
    bool parse(const QString &fileName);

    /// @return one record for each translation file, in document order
    const QList<TranslationReport> &reports() const { return m_reports; }

    /// Reads from the start tag of a "source" element to its end tag, and appends a record.
    bool readSource();
    /// Reads the counts of the current "stats" element, to its end tag.
    bool readStats(TranslationReport *report);

private:
    bool readRoot();

    QString m_defaultSourceLanguage; ///< for entries that name none
    QList<TranslationReport> m_reports;
};
