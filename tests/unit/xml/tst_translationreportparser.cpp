#include "xml/translationreportparser.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

namespace {

struct Reading
{
    explicit Reading(const QByteArray &text)
    {
        path = world.filePath(u"report.xml"_s);
        TestFiles::write(path, text);
        ok = parser.parse(path);
    }

    QString message() const { return parser.errorString().section(u"\n  "_s, 1); }

    QTemporaryDir world;
    QString path;
    TranslationReportParser parser;
    bool ok = false;
};

constexpr char head[] = "<?xml version='1.0'?>\n<!-- c -->\n<!DOCTYPE TSREPORT>\n";

} // namespace

class TestTranslationReportParser : public QObject
{
    Q_OBJECT

private slots:
    void entriesInDocumentOrder()
    {
        const Reading reading(
                head
                + "<TSREPORT sourcelanguage='en'>\n"
                  "<source filename='de.ts' language='de'>"
                  "<other><deep/></other><stats total='3' unfinished='2' obsolete='1'/></source>"
                  "<other/>"
                  "<source filename='fr.ts' language='fr' sourcelanguage='C'>"
                  "<stats total='4'/></source>"
                  "<source filename='it.ts' language='it' sourcelanguage=''/>"
                  "</TSREPORT>"_ba);
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        const QList<TranslationReport> &reports = reading.parser.reports();
        QCOMPARE(reports.size(), 3);
        QCOMPARE(reports[0].fileName, u"de.ts"_s);
        QCOMPARE(reports[0].sourceLanguage, u"en"_s);
        QCOMPARE(reports[0].language, u"de"_s);
        QCOMPARE(reports[0].total, 3u);
        QCOMPARE(reports[0].unfinished, 2u);
        QCOMPARE(reports[0].obsolete, 1u);
        QCOMPARE(reports[1].sourceLanguage, u"C"_s);
        QCOMPARE(reports[1].total, 4u);
        QCOMPARE(reports[1].unfinished, 0u);
        QCOMPARE(reports[1].obsolete, 0u);
        QCOMPARE(reports[2].sourceLanguage, QString()); // empty is not absent
        QCOMPARE(reports[2].total, 0u);
    }

    void parserMayBeUsedAgain()
    {
        Reading reading(head
                        + "<TSREPORT sourcelanguage='en'><source><stats unfinished='70000'/>"
                          "</source></TSREPORT>"_ba);
        QVERIFY(reading.ok);
        QCOMPARE(reading.parser.reports()[0].unfinished, 70000u);
        QVERIFY(TestFiles::write(reading.path, head + "<TSREPORT><source/></TSREPORT>"_ba));
        QVERIFY(reading.parser.parse(reading.path));
        QCOMPARE(reading.parser.reports().size(), 1);
        QCOMPARE(reading.parser.reports()[0].sourceLanguage, QString());
    }

    void emptyReport()
    {
        const Reading reading(head + "<TSREPORT/>"_ba);
        QVERIFY(reading.ok);
        QVERIFY(reading.parser.reports().isEmpty());
    }

    void counters_data()
    {
        Rows<QByteArray, quint32> row; // stats, total
        row("largest", "<stats total='4294967295'/>", 4294967295u);
        row("too large", "<stats total='4294967296'/>", 0u);
        row("no number", "<stats total='x'/>", 0u);
        row("negative", "<stats total='-1'/>", 0u);
        row("absent", "<stats/>", 0u);
        row("second overwrites", "<stats total='1'/><stats total='2'/>", 2u);
        row("second without overwrites", "<stats total='1'/><stats/>", 0u);
    }
    void counters()
    {
        const auto [stats, total] = fetch<QByteArray, quint32>();
        const Reading reading(head + "<TSREPORT><source>"_ba + stats + "</source></TSREPORT>");
        QVERIFY(reading.ok);
        QCOMPARE(reading.parser.reports().first().total, total);
    }

    void errors_data()
    {
        Rows<QByteArray, QString> row; // text, message
        const QString wrongKind = u"This doesn't look like a translation report file."_s;
        row("no XML", {}, u"(Invalid) This doesn't look like an XML file."_s);
        row("no document type", "<TSREPORT/>", u"(<TSREPORT>) "_s + wrongKind);
        row("other document type", "<!DOCTYPE TS><TSREPORT/>", u"(DTD) "_s + wrongKind);
        row("other root", head + "<TS/>"_ba, u"(<TS>) "_s + wrongKind);
        row("text in the root", head + "<TSREPORT>x</TSREPORT>"_ba,
            u"(Characters) Element expected."_s);
        row("text in a source", head + "<TSREPORT><source>x</source></TSREPORT>"_ba,
            u"(Characters) Element expected."_s);
        row("stats with content",
            head + "<TSREPORT><source><stats><x/></stats></source></TSREPORT>"_ba,
            u"(<x>) End of <stats> element expected."_s);
        row("too deep", head + "<TSREPORT>"_ba + QByteArray("<n>").repeated(21),
            u"(<n>) File too deeply nested"_s);
        row("too deep in a source", head + "<TSREPORT><source>"_ba + QByteArray("<n>").repeated(21),
            u"(<n>) File too deeply nested"_s);
    }
    void errors()
    {
        const auto [text, message] = fetch<QByteArray, QString>();
        const Reading reading(text);
        QVERIFY(!reading.ok);
        QCOMPARE(reading.message(), message);
    }

    void documentTypeIsComparedWithWhiteSpaceSimplified()
    {
        QVERIFY(Reading("<!DOCTYPE\n  TSREPORT>\n<TSREPORT/>").ok);
    }

    void contentBehindTheRootIsAnError()
    {
        QVERIFY(!Reading(head + "<TSREPORT/><x/>"_ba).ok);
        QVERIFY(!Reading(head + "<TSREPORT/></TSREPORT>"_ba).ok);
        QVERIFY(Reading(head + "<TSREPORT/><!-- c -->\n"_ba).ok);
    }

    void entriesBeforeAFailureRemain()
    {
        const Reading reading(head + "<TSREPORT><source filename='a'/>x</TSREPORT>"_ba);
        QVERIFY(!reading.ok);
        QCOMPARE(reading.parser.reports().size(), 1);
    }

    void unreadableFileIsReportedWithTheDevicesText()
    {
        TranslationReportParser parser;
        QVERIFY(!parser.parse(u"/missing/report.xml"_s));
        QCOMPARE(parser.errorString(),
                 u"Error reading /missing/report.xml, Line %1, Column %2:\n"
                 "  (NoToken) No such file or directory"_s.arg(parser.lineNumber())
                         .arg(parser.columnNumber()));
    }
};

QTEST_GUILESS_MAIN(TestTranslationReportParser)
#include "tst_translationreportparser.moc"
