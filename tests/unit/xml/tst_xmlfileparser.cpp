#include "xml/xmlfileparser.h"

#include "testfiles.h"

using namespace Qt::StringLiterals;

namespace {

QStringList debugLines;

void keepDebugLines(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtDebugMsg)
        debugLines.append(text);
}

/// A parser on a file with a given text, stopped at its first start tag.
class OpenParser : public XmlFileParser
{
public:
    explicit OpenParser(const QByteArray &text)
    {
        TestFiles::write(path(), text);
        openFile(path());
        while (readNext() != StartElement && !atEnd()) {
        }
    }

    QString path() const { return m_world.filePath(u"file.xml"_s); }

    /// @return what errorString() has behind its first line and the indentation
    QString message() const { return errorString().section(u"\n  "_s, 1); }

    using XmlFileParser::expectStartElement;
    using XmlFileParser::readChildren;

private:
    QTemporaryDir m_world;
};

QByteArray nested(int levels)
{
    return "<r>" + QByteArray("<n>").repeated(levels) + QByteArray("</n>").repeated(levels)
           + "<last/></r>";
}

} // namespace

class TestXmlFileParser : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { debugLines.clear(); }

    void fileThatCannotBeOpened()
    {
        XmlFileParser parser;
        QVERIFY(!parser.openFile(u"/missing/file.ztp"_s));
        QVERIFY(parser.hasError());
        QCOMPARE(parser.errorString(), u"Error reading , Line %1, Column %2:\n"
                                       "  (NoToken) Failed to open input file /missing/file.ztp."_s
                                               .arg(parser.lineNumber())
                                               .arg(parser.columnNumber()));
    }

    void endTagIsNoStartTag()
    {
        OpenParser parser("<r/>");
        QVERIFY(parser.expectStartElement("r"));
        QCOMPARE(parser.readNext(), QXmlStreamReader::EndElement);
        QVERIFY(!parser.expectStartElement("r"));
        QCOMPARE(parser.message(), u"(</r>) <r> expected."_s);
    }

    void fileThatIsTooLarge()
    {
        const QByteArray begin = "<r a='";
        const QByteArray end = "'/>";
        const qsizetype room = (512 << 10) - begin.size() - end.size();
        const OpenParser largest(begin + QByteArray(room, 'x') + end);
        QVERIFY(!largest.hasError());
        const OpenParser parser(begin + QByteArray(room + 1, 'x') + end);
        QVERIFY(parser.hasError());
        QCOMPARE(parser.message(), u"File too large"_s);
    }

    void eachFileHasItsOwnBound()
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"large.xml"_s);
        QVERIFY(TestFiles::write(path, "<r>" + QByteArray(300 << 10, ' ') + "</r>"));
        XmlFileParser parser;
        for (int i = 0; i < 2; ++i) {
            QVERIFY(parser.openFile(path));
            while (!parser.atEnd())
                parser.readNext();
            QCOMPARE(parser.error(), QXmlStreamReader::NoError);
            parser.closeFile();
        }
    }

    void layoutIsHidden()
    {
        OpenParser parser(
                "<?xml version='1.0'?>\n<!-- c --><?pi x?><r> <!-- c --> <a/>\n text</r>");
        QCOMPARE(parser.name(), u"r");
        QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement);
        QCOMPARE(parser.name(), u"a");
        QCOMPARE(parser.readNext(), QXmlStreamReader::EndElement);
        QCOMPARE(parser.readNext(), QXmlStreamReader::Characters);
        QCOMPARE(parser.text(), u"\n text");
    }

    void errorReport()
    {
        OpenParser parser("<r>\n  <a/>\n</r>");
        QVERIFY(!parser.raiseError(u"First."_s));
        QCOMPARE(parser.errorString(),
                 u"Error reading %1, Line 1, Column 3:\n  (<r>) First."_s.arg(parser.path()));
        QCOMPARE(parser.tokenType(), QXmlStreamReader::Invalid);
        QVERIFY(!parser.raiseError(u"Second."_s));
        QCOMPARE(parser.message(), u"(Invalid) Second."_s);
    }

    void errorContextOfEndTagsAndOtherTokens()
    {
        OpenParser endTag("<r></r>");
        endTag.readNext();
        endTag.raiseError(u"Here."_s);
        QCOMPARE(endTag.message(), u"(</r>) Here."_s);
        OpenParser text("<r>x</r>");
        text.readNext();
        text.raiseError(u"Here."_s);
        QCOMPARE(text.message(), u"(Characters) Here."_s);
    }

    void malformedXmlKeepsTheReadersOwnText()
    {
        OpenParser parser("<r><a></r>");
        parser.readNext();
        QCOMPARE(parser.readNext(), QXmlStreamReader::Invalid);
        QVERIFY(!parser.message().isEmpty());
        QVERIFY(!parser.message().startsWith(u'('));
    }

    void expectStartElement()
    {
        OpenParser parser("<r/>");
        QVERIFY(parser.expectStartElement("r"));
        QVERIFY(!parser.expectStartElement("R"));
        QCOMPARE(parser.message(), u"(<r>) <R> expected."_s);
    }

    void expectNextEndElement()
    {
        OpenParser parser("<r> <!-- c --> </r>");
        QVERIFY(parser.expectNextEndElement("r"));
        OpenParser child("<r><a/></r>");
        QVERIFY(!child.expectNextEndElement("r"));
        QCOMPARE(child.message(), u"(<a>) End of <r> expected."_s);
        OpenParser otherName("<r/>");
        QVERIFY(!otherName.expectNextEndElement("s"));
        QCOMPARE(otherName.message(), u"(</r>) End of <s> expected."_s);
    }

    void expectNextEndElementKeepsAnEarlierError()
    {
        OpenParser parser("<r></r>");
        parser.raiseError(u"First."_s);
        QVERIFY(!parser.expectNextEndElement("r"));
        QCOMPARE(parser.message(), u"(<r>) First."_s);
    }

    void readCharacters_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("error");
        QTest::newRow("text as it is") << "<S> a b </S>"_ba << u" a b "_s << u""_s;
        QTest::newRow("empty") << "<S></S>"_ba << u""_s << u""_s;
        QTest::newRow("empty tag") << "<S/>"_ba << u""_s << u""_s;
        QTest::newRow("comment behind the text") << "<S>x<!-- c --></S>"_ba << u"x"_s << u""_s;
        QTest::newRow("comment before the text")
                << "<S><!-- c -->x</S>"_ba << u""_s
                << u"(Comment) Characters for S element expected."_s;
        QTest::newRow("child") << "<S><a/></S>"_ba << u""_s
                               << u"(<a>) Characters for S element expected."_s;
        QTest::newRow("child behind the text")
                << "<S>x<a/></S>"_ba << u""_s << u"(<a>) End of S element expected."_s;
        QTest::newRow("end of file")
                << "<S>x"_ba << u""_s << u"(Invalid) Characters for S element expected."_s;
    }
    void readCharacters()
    {
        QFETCH(QByteArray, text);
        OpenParser parser(text);
        QTEST(parser.readCharacters(), "expected");
        QFETCH(QString, error);
        QCOMPARE(parser.hasError(), !error.isEmpty());
        if (!error.isEmpty())
            QCOMPARE(parser.message(), error);
    }

    void skippedElementsMayNestTwentyLevels()
    {
        OpenParser parser(nested(20));
        QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement);
        QVERIFY(parser.skipElement());
        QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement);
        QCOMPARE(parser.name(), u"last");
    }

    void skippingAnElementTwiceStartsAtLevelOneAgain()
    {
        OpenParser parser("<o>" + nested(20) + nested(20) + "</o>");
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement); // <r>
            QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement);
            QVERIFY(parser.skipElement());
            QVERIFY(parser.readNext() == QXmlStreamReader::StartElement && parser.skipElement());
            QCOMPARE(parser.readNext(), QXmlStreamReader::EndElement);
        }
    }

    void twentyFirstLevelIsAnError()
    {
        OpenParser parser(nested(21));
        parser.readNext();
        QVERIFY(!parser.skipElement());
        QCOMPARE(parser.message(), u"(<n>) File too deeply nested"_s);
    }

    void skippingStopsAtTheEndOfTheFile()
    {
        OpenParser parser("<r><a>text");
        parser.readNext();
        QVERIFY(!parser.skipElement());
        QVERIFY(parser.hasError());
    }

    void tristateAttribute_data()
    {
        QTest::addColumn<QByteArray>("attribute");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("error");
        for (const char *word : {"true", "yes", "1", "TRUE", "Yes", "True", "YES"})
            QTest::newRow(word) << "E='"_ba + word + "'" << 1 << u""_s;
        for (const char *word : {"false", "no", "0", "FALSE", "No"})
            QTest::newRow(word) << "E='"_ba + word + "'" << 0 << u""_s;
        QTest::newRow("empty") << "E=''"_ba << -1 << u""_s;
        QTest::newRow("absent") << "X='1'"_ba << -1 << u""_s;
        QTest::newRow("other word")
                << "E='On'"_ba << -1
                << u"(<r>) Expected \"E\" to be a boolean attribute, but got \"on\""_s;
        QTest::newRow("other number")
                << "E='2'"_ba << -1
                << u"(<r>) Expected \"E\" to be a boolean attribute, but got \"2\""_s;
        QTest::newRow("blanks are not trimmed")
                << "E=' yes'"_ba << -1
                << u"(<r>) Expected \"E\" to be a boolean attribute, but got \" yes\""_s;
    }
    void tristateAttribute()
    {
        QFETCH(QByteArray, attribute);
        OpenParser parser("<r " + attribute + "/>");
        const Tristate value = parser.tristateAttribute("E");
        QTEST(value.value, "expected");
        checkError(parser);
    }

    void boolAttribute_data()
    {
        QTest::addColumn<QByteArray>("attribute");
        QTest::addColumn<bool>("defaultValue");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<QString>("error");
        for (const bool defaultValue : {false, true}) {
            const char *name = defaultValue ? "default true, %s" : "default false, %s";
            for (const char *word : {"true", "YES", "1"})
                QTest::addRow(name, word) << "E='"_ba + word + "'" << defaultValue << true << u""_s;
            for (const char *word : {"false", "No", "0"})
                QTest::addRow(name, word)
                        << "E='"_ba + word + "'" << defaultValue << false << u""_s;
            QTest::addRow(name, "empty") << "E=''"_ba << defaultValue << defaultValue << u""_s;
            QTest::addRow(name, "absent") << ""_ba << defaultValue << defaultValue << u""_s;
            QTest::addRow(name, "other") << "E='On'"_ba << defaultValue << defaultValue
                                         << u"(<r>) Expected \"E\" to be a bool, but got \"on\""_s;
        }
    }
    void boolAttribute()
    {
        QFETCH(QByteArray, attribute);
        QFETCH(bool, defaultValue);
        OpenParser parser("<r " + attribute + "/>");
        QTEST(parser.boolAttribute("E", defaultValue), "expected");
        checkError(parser);
    }

    void intAttribute_data()
    {
        QTest::addColumn<QByteArray>("attribute");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("error");
        QTest::newRow("number") << "E='42'"_ba << 42 << u""_s;
        QTest::newRow("negative") << "E='-3'"_ba << -3 << u""_s;
        QTest::newRow("leading zero is decimal") << "E='010'"_ba << 10 << u""_s;
        QTest::newRow("empty") << "E=''"_ba << 7 << u""_s;
        QTest::newRow("absent") << ""_ba << 7 << u""_s;
        for (const char *word : {"0x10", "Abc", "1.5", "99999999999"})
            QTest::newRow(word) << "E='"_ba + word + "'" << 7
                                << u"(<r>) Expected \"E\" to be a number, but got \"%1\""_s.arg(
                                           QLatin1StringView(word));
    }
    void intAttribute()
    {
        QFETCH(QByteArray, attribute);
        OpenParser parser("<r " + attribute + "/>");
        QTEST(parser.intAttribute("E", 7), "expected");
        checkError(parser);
    }

    void firstFaultyAttributeOfAGroupIsReported()
    {
        OpenParser parser("<r A='x' B='y' C='z' D='v' S='s'/>");
        parser.tristateAttribute("A");
        QCOMPARE(parser.tristateAttribute("B").value, -1);
        QCOMPARE(parser.intAttribute("C", 7), 7);
        QCOMPARE(parser.boolAttribute("D", true), true);
        QCOMPARE(parser.stringAttribute("S"), QString());
        QCOMPARE(parser.message(),
                 u"(<r>) Expected \"A\" to be a boolean attribute, but got \"x\""_s);
    }

    void unknownChildrenAreAnnouncedAndSkipped()
    {
        OpenParser parser("<r><a/><b><c/></b><a/></r>");
        int found = 0;
        const QtMessageHandler previous = qInstallMessageHandler(keepDebugLines);
        const bool ok = parser.readChildren({{"a", [&] {
                                                  ++found;
                                                  return parser.expectNextEndElement("a");
                                              }}});
        qInstallMessageHandler(previous);
        QVERIFY(ok);
        QCOMPARE(found, 2);
        QCOMPARE(debugLines, QStringList{u"[Debug] <b> element ignored"_s});
    }

    void textBetweenChildrenIsAnError()
    {
        OpenParser parser("<r>x</r>");
        QVERIFY(!parser.readChildren({}));
        QCOMPARE(parser.message(), u"(Characters) Element expected."_s);
    }

    void tokensAreTracedOnlyWhenAsked()
    {
        const QtMessageHandler previous = qInstallMessageHandler(keepDebugLines);
        OpenParser parser("<r><a/><!-- c --><S>x</S></r>");
        parser.readNext();
        const qsizetype untraced = debugLines.size();
        parser.setTraceTokens(true);
        parser.readNext(); // </a>
        parser.readNext(); // <S>
        parser.readCharacters();
        qInstallMessageHandler(previous);
        QCOMPARE(untraced, 0);
        const QStringList expected{
                u"tt=EndElement name=\"a\" text=\"\""_s, u"tt=StartElement name=\"S\" text=\"\""_s,
                u"tt=Characters name=\"\" text=\"x\""_s, u"tt=EndElement name=\"S\" text=\"\""_s};
        QCOMPARE(debugLines, expected);
    }

private:
    static void checkError(const OpenParser &parser)
    {
        QFETCH(QString, error);
        QCOMPARE(parser.hasError(), !error.isEmpty());
        if (!error.isEmpty())
            QCOMPARE(parser.message(), error);
    }
};

QTEST_GUILESS_MAIN(TestXmlFileParser)
#include "tst_xmlfileparser.moc"
