#include "xml/translationreportparser.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

namespace {

const QByteArray head = "<?xml version='1.0'?>\n<!-- c -->\n<!DOCTYPE TSREPORT>\n";
const QByteArray noReport = "This doesn't look like a translation report file.";

QByteArray document(const QByteArray &sources, const QByteArray &attributes = {})
{
    return head + "<TSREPORT" + attributes + ">\n" + sources + "\n</TSREPORT>\n";
}

QByteArray source(const QByteArray &content)
{
    return "<source>" + content + "</source>";
}

QByteArray stats(const QByteArray &attributes)
{
    return document(source("<stats " + attributes + "/>"));
}

QByteArray nested(int levels)
{
    return QByteArray("<x>").repeated(levels) + QByteArray("</x>").repeated(levels);
}

/// The entries, one a line.
QByteArray shown(const QList<TranslationReport> &reports)
{
    QString text;
    for (const TranslationReport &report : reports) {
        text += u"%1 %2->%3 %4 %5 %6\n"_s
                        .arg(report.fileName, report.sourceLanguage, report.language)
                        .arg(report.total)
                        .arg(report.unfinished)
                        .arg(report.obsolete);
    }
    return text.toUtf8();
}

} // namespace

class TestTranslationReportParser : public QObject
{
    Q_OBJECT

private slots:
    void entries_data()
    {
        Rows<QByteArray, QByteArray> row; // text, entries
        const QByteArray one = R"(<source filename="de.ts" language="de" sourcelanguage="en">
                                  <stats total="12" unfinished="3" obsolete="1"/></source>)";
        const QByteArray entry = "de.ts en->de 12 3 1\n";
        row("in document order", document(one + QByteArray(one).replace("de", "cs") + one),
            entry + "cs.ts en->cs 12 3 1\n" + entry);
        row("none", document({}), {});
        row("no children at all", head + "<TSREPORT/>", {});
        row("no declaration", "<!DOCTYPE TSREPORT><TSREPORT>" + one + "</TSREPORT>", entry);
        row("white space and comments around",
            "<!-- c --><!DOCTYPE\n  TSREPORT><!-- c --><TSREPORT>" + one
                    + "</TSREPORT><!-- c -->\n",
            entry);
        row("any namespace", head + "<TSREPORT xmlns='x'><source/></TSREPORT>", " -> 0 0 0\n");
        const QByteArray english = " sourcelanguage='en'";
        row("source language of the report", document("<source filename='a'/>", english),
            "a en-> 0 0 0\n");
        row("source language of the entry", document(one, " sourcelanguage='it'"), entry);
        row("empty is not absent", document("<source sourcelanguage=''/>", english), " -> 0 0 0\n");
        row("no statistics", document(source({})), " -> 0 0 0\n");
        row("some statistics", stats("obsolete='5'"), " -> 0 0 5\n");
        row("only a total", stats("total='5'"), " -> 5 0 0\n");
        row("no numbers", stats("total='x' unfinished='' obsolete='0x10'"), " -> 0 0 0\n");
        row("negative and broken", stats("total='-1' unfinished='1.5' obsolete='2'"),
            " -> 0 0 2\n");
        row("greatest", stats("total='4294967295' unfinished='4294967296' obsolete='2147483648'"),
            " -> 4294967295 0 2147483648\n");
        row("leading zeros", stats("total='010'"), " -> 10 0 0\n");
        row("second statistics win",
            document(source("<stats total='1' unfinished='2'/><stats total='3'/>")), " -> 3 0 0\n");
        row("second without a total", document(source("<stats total='1'/><stats/>")),
            " -> 0 0 0\n");
        row("comments and blanks",
            document(source("<!-- c --> <stats total='1'> <!-- c -->\n</stats> ")), " -> 1 0 0\n");
        row("unknown elements",
            document("<Source/><other><source filename='no'/>text</other>"
                     + source("<Stats total='8'/><x><stats total='9'/></x>") + nested(20)),
            " -> 0 0 0\n");
        row("other languages",
            document("<source filename='größe.ts' language='日本'/>", " sourcelanguage='русский'"),
            "größe.ts русский->日本 0 0 0\n");
    }
    void entries()
    {
        const auto [text, entries] = fetch<QByteArray, QByteArray>();
        TranslationReportParser parser;
        QVERIFY2(parse(&parser, text), qPrintable(parser.errorString()));
        QCOMPARE(shown(parser.reports()), entries);
    }

    void largeReportIsRead()
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"report.xml"_s);
        QVERIFY(TestFiles::write(path,
                                 document("<!--" + QByteArray(780'000, '=') + "-->"
                                          + source("<stats total=\"1\"/>").repeated(50'000))));
        TranslationReportParser parser;
        QVERIFY2(parser.parse(path), qPrintable(parser.errorString()));
        QCOMPARE(parser.reports().size(), 50'000);
    }

    void parserMayBeUsedAgain()
    {
        TranslationReportParser parser;
        QVERIFY(parse(&parser, document("<source/>", " sourcelanguage='en'")));
        QVERIFY(parse(&parser, document("<source/>")));
        QCOMPARE(shown(parser.reports()), " -> 0 0 0\n");
    }

    void errors_data()
    {
        Rows<QByteArray, QByteArray> row; // text, in which reading stops at the mark "^"; message
        const QByteArray elementExpected = "(Characters) Element expected.";
        row("no document type", "<TSREPORT>^</TSREPORT>", "(<TSREPORT>) " + noReport);
        row("other document type", "<?xml version=\"1.0\"?>\n<!DOCTYPE TS>^<TSREPORT/>",
            "(DTD) " + noReport);
        row("document type with more", "<!DOCTYPE TSREPORT SYSTEM \"x\">^<TSREPORT/>",
            "(DTD) " + noReport);
        row("document type in other letters", "<!DOCTYPE tsreport>^<TSREPORT/>",
            "(DTD) " + noReport);
        row("other root", head + "<tsreport>^</tsreport>", "(<tsreport>) " + noReport);
        row("text in the root", head + "<TSREPORT>text<^source/></TSREPORT>", elementExpected);
        row("text in a source", document(source("text<^x/>")), elementExpected);
        row("element in stats", document(source("<stats><x>^</x></stats>")),
            "(<x>) End of <stats> element expected.");
        row("text in stats", document(source("<stats total='1'>1<^/stats>")),
            "(Characters) End of <stats> element expected.");
        const QByteArray deep = QByteArray("<x>").repeated(21) + '^';
        row("too deep", document(deep), "(<x>) File too deeply nested");
        row("too deep in a source", document(source(deep)), "(<x>) File too deeply nested");
    }
    void errors()
    {
        auto [text, message] = fetch<QByteArray, QByteArray>();
        const qsizetype mark = text.indexOf('^');
        text.remove(mark, 1);
        const QByteArray before = text.left(mark);
        TranslationReportParser parser;
        QVERIFY(!parse(&parser, text));
        QCOMPARE(parser.errorString(), u"Error reading %1, Line %2, Column %3:\n  %4"_s.arg(path())
                                               .arg(before.count('\n') + 1)
                                               .arg(mark - before.lastIndexOf('\n') - 1)
                                               .arg(QString::fromUtf8(message)));
    }

    // Where the XML reader gives up, it has its own idea of the place, and at times its own text.
    void malformedReports_data()
    {
        Rows<QByteArray, QByteArray> row; // text, message
        const QByteArray elementExpected = "(Invalid) Element expected.";
        row("empty", {}, "(Invalid) This doesn't look like an XML file.");
        row("cut before the root", head, "(Invalid) " + noReport);
        row("cut in the root", head + "<TSREPORT>", elementExpected);
        row("cut in a source", head + "<TSREPORT><source>", elementExpected);
        row("wrong end tag", document("<source></sauce>"), elementExpected);
        row("wrong end tag in stats", document("<source><stats></sauce>"),
            "(Invalid) End of <stats> element expected.");
        row("element after the root", document({}) + "<x/>", {});
        row("end tag after the root", document({}) + "</TSREPORT>", {});
        row("text after the root", document({}) + "text", {});
    }
    void malformedReports()
    {
        const auto [text, message] = fetch<QByteArray, QByteArray>();
        TranslationReportParser parser;
        QVERIFY(!parse(&parser, text));
        const QString found = parser.errorString().section(u"\n  "_s, 1);
        if (message.isEmpty())
            QVERIFY2(!found.isEmpty() && !found.startsWith(u'('), qPrintable(found));
        else
            QCOMPARE(found, QString::fromUtf8(message));
    }

    void entriesBeforeAFailureRemain()
    {
        TranslationReportParser parser;
        QVERIFY(!parse(&parser, document("<source filename='a'/>x")));
        QCOMPARE(shown(parser.reports()), "a -> 0 0 0\n");
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

private:
    QString path() const { return m_world.filePath(u"report.xml"_s); }
    bool parse(TranslationReportParser *parser, const QByteArray &text) const
    {
        return TestFiles::write(path(), text) && parser->parse(path());
    }

    QTemporaryDir m_world;
};

QTEST_GUILESS_MAIN(TestTranslationReportParser)
#include "tst_translationreportparser.moc"
