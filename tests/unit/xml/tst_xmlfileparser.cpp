#include "xml/xmlfileparser.h"

#include "rows.h"
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

    void elementWithTooManyAttributes()
    {
        const auto element = [](int count) {
            QByteArray text = "<r";
            for (int i = 0; i < count; ++i)
                text += " a" + QByteArray::number(i) + (i % 2 == 0 ? "='==\">'" : "=\"='>\"");
            return text + "/>";
        };
        const auto isRefused = [](const QByteArray &text) {
            OpenParser parser(text);
            while (!parser.atEnd())
                parser.readNext();
            return parser.hasError();
        };
        // What looks like attributes elsewhere does not count, nor does it hide what follows.
        const QByteArray looks = "<r " + QByteArray("a='' ").repeated(20'000);
        for (const QByteArray &before :
             {QByteArray(), "<!-- -> >" + looks + "-->", "<?x ?" + looks + "?>",
              "<![CDATA[ ] ]]" + looks + "]]>" + looks.sliced(1)}) {
            QVERIFY(!isRefused("<t>" + before + element(10'000) + "</t>"));
            QVERIFY(isRefused("<t>" + before + element(10'001) + "</t>"));
        }
        QVERIFY(isRefused("<!DOCTYPE t><t>" + element(10'001) + "</t>"));
        QCOMPARE(OpenParser(element(10'001)).message(), u"Too many attributes"_s);
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
        for (const auto &[text, message] :
             {std::pair{"<r></r>", u"(</r>) Here."_s}, {"<r>x</r>", u"(Characters) Here."_s}}) {
            OpenParser parser(text);
            parser.readNext();
            parser.raiseError(u"Here."_s);
            QCOMPARE(parser.message(), message);
        }
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
        OpenParser endTag("<r/>");
        endTag.readNext();
        QVERIFY(!endTag.expectStartElement("r"));
        QCOMPARE(endTag.message(), u"(</r>) <r> expected."_s);
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
        Rows<QByteArray, QString, QString> row; // text, expected, error
        row("text as it is", "<S> a b </S>", u" a b "_s, {});
        row("empty", "<S></S>", {}, {});
        row("empty tag", "<S/>", {}, {});
        row("comment behind the text", "<S>x<!-- c --></S>", u"x"_s, {});
        row("comment before the text", "<S><!-- c -->x</S>", {},
            u"(Comment) Characters for S element expected."_s);
        row("child", "<S><a/></S>", {}, u"(<a>) Characters for S element expected."_s);
        row("child behind the text", "<S>x<a/></S>", {}, u"(<a>) End of S element expected."_s);
        row("end of file", "<S>x", {}, u"(Invalid) Characters for S element expected."_s);
    }
    void readCharacters()
    {
        const auto [text, expected, error] = fetch<QByteArray, QString, QString>();
        OpenParser parser(text);
        QCOMPARE(parser.readCharacters(), expected);
        QCOMPARE(parser.hasError(), !error.isEmpty());
        if (!error.isEmpty())
            QCOMPARE(parser.message(), error);
    }

    void skippedElementsMayNestTwentyLevels()
    {
        OpenParser parser("<o>" + nested(20) + nested(20) + "</o>");
        for (int i = 0; i < 2; ++i) {                                    // each time from level one
            QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement); // <r>
            QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement);
            QVERIFY(parser.skipElement());
            QCOMPARE(parser.readNext(), QXmlStreamReader::StartElement);
            QCOMPARE(parser.name(), u"last");
            QVERIFY(parser.skipElement());
            QCOMPARE(parser.readNext(), QXmlStreamReader::EndElement);
        }
        OpenParser deeper(nested(21));
        deeper.readNext();
        QVERIFY(!deeper.skipElement());
        QCOMPARE(deeper.message(), u"(<n>) File too deeply nested"_s);
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
        Rows<QByteArray, int, QString> row; // attribute, expected, error
        for (const char *word : {"true", "yes", "1", "TRUE", "Yes", "True", "YES", "yEs"})
            row(word, "E='"_ba + word + "'", 1, {});
        for (const char *word : {"false", "no", "0", "FALSE", "False", "No", "NO", "nO"})
            row(word, "E='"_ba + word + "'", 0, {});
        row("empty", "E=''", -1, {});
        row("absent", "X='1'", -1, {});
        row("other word", "E='On'", -1,
            u"(<r>) Expected \"E\" to be a boolean attribute, but got \"on\""_s);
        row("other number", "E='2'", -1,
            u"(<r>) Expected \"E\" to be a boolean attribute, but got \"2\""_s);
        row("blanks are not trimmed", "E=' yes'", -1,
            u"(<r>) Expected \"E\" to be a boolean attribute, but got \" yes\""_s);
    }
    void tristateAttribute()
    {
        const auto [attribute, expected, error] = fetch<QByteArray, int, QString>();
        OpenParser parser("<r " + attribute + "/>");
        const Tristate value = parser.tristateAttribute("E");
        QCOMPARE(value.value, expected);
        checkError(parser, error);
    }

    void boolAttribute_data()
    {
        Rows<QByteArray, bool, bool, QString> row; // attribute, default value, expected, error
        for (const bool fallback : {false, true}) {
            const QByteArray name = fallback ? "default true, " : "default false, ";
            for (const char *word : {"true", "YES", "1"})
                row(name + word, "E='"_ba + word + "'", fallback, true, {});
            for (const char *word : {"false", "No", "0"})
                row(name + word, "E='"_ba + word + "'", fallback, false, {});
            row(name + "empty", "E=''", fallback, fallback, {});
            row(name + "absent", "", fallback, fallback, {});
            row(name + "other", "E='On'", fallback, fallback,
                u"(<r>) Expected \"E\" to be a bool, but got \"on\""_s);
        }
    }
    void boolAttribute()
    {
        const auto [attribute, defaultValue, expected, error] =
                fetch<QByteArray, bool, bool, QString>();
        OpenParser parser("<r " + attribute + "/>");
        QCOMPARE(parser.boolAttribute("E", defaultValue), expected);
        checkError(parser, error);
    }

    void intAttribute_data()
    {
        Rows<QByteArray, int, QString> row; // attribute, expected, error
        row("number", "E='42'", 42, {});
        row("negative", "E='-3'", -3, {});
        row("leading zero is decimal", "E='010'", 10, {});
        row("empty", "E=''", 7, {});
        row("absent", {}, 7, {});
        for (const char *word : {"0x10", "Abc", "1.5", "99999999999"})
            row(word, "E='"_ba + word + "'", 7,
                u"(<r>) Expected \"E\" to be a number, but got \"%1\""_s.arg(
                        QLatin1StringView(word)));
    }
    void intAttribute()
    {
        const auto [attribute, expected, error] = fetch<QByteArray, int, QString>();
        OpenParser parser("<r " + attribute + "/>");
        QCOMPARE(parser.intAttribute("E", 7), expected);
        checkError(parser, error);
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
    static void checkError(const OpenParser &parser, const QString &error)
    {
        QCOMPARE(parser.hasError(), !error.isEmpty());
        if (!error.isEmpty())
            QCOMPARE(parser.message(), error);
    }
};

QTEST_GUILESS_MAIN(TestXmlFileParser)
#include "tst_xmlfileparser.moc"
