#include "companion/places.h"

#include "rows.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr char text[] = R"(<?xml version="1.0"?>
<!-- <Target/> -->
<P:Root xmlns:P="x"
   a="1"><One b="<" c='c="2"'
   d = "3"/><One/>
  <Two>ü<Three>text</Three></Two></P:Root>)";

} // namespace

class TestPlaces : public QObject
{
    Q_OBJECT

private slots:
    void elementsAndAttributesAreFound_data()
    {
        Rows<QString, QString, int, int, int> row; // path, attribute, number, line, column
        row("element", u"One"_s, {}, 0, 4, 10);
        row("second element", u"One"_s, {}, 1, 5, 13);
        row("no third element", u"One"_s, {}, 2, 3, 1);
        row("element within", u"Two/Three"_s, {}, 0, 6, 9);
        row("the one above", u"Two/Four"_s, {}, 0, 6, 3);
        row("the one above with the number", u"One/Four"_s, {}, 1, 5, 13);
        row("attribute on another line", u"One"_s, u"d"_s, 0, 5, 4);
        row("attribute that a value looks like", u"One"_s, u"c"_s, 0, 4, 21);
        row("attribute that is not there", u"One"_s, u"x"_s, 0, 4, 10);
        row("nothing like it", u"Four"_s, {}, 0, 3, 1);
    }
    void elementsAndAttributesAreFound()
    {
        const auto [path, attribute, number, line, column] =
                fetch<QString, QString, int, int, int>();
        const Place place = Places(QByteArray(text).replace("b=\"<\"", "b=\"-\""))
                                    .attribute(path, attribute, number);
        QCOMPARE(place.line, line);
        QCOMPARE(place.column, column);
    }

    void elementIsFoundByItsText()
    {
        const Places places(QByteArray(text).replace("b=\"<\"", "b=\"-\""));
        const auto place = places.elementWithText(u"Three"_s, u"text"_s);
        QVERIFY(place);
        QCOMPARE(place->line, 6);
        QVERIFY(!places.elementWithText(u"Three"_s, u"other"_s));
    }

    void valuesAndTextsAreFound()
    {
        const Places places(QByteArrayLiteral(
                "<R xmlns='n'><P ab='1' b = \"2'\"><M>x<!-- y -->z</M><M/></P></R>"));
        QCOMPARE(places.nameSpace(), u"n"_s);
        QCOMPARE(places.value(u"P"_s, u"b"_s), u"2'"_s);
        QCOMPARE(places.value(u"P"_s, u"a"_s), QString());
        QCOMPARE(places.value(u"Q"_s, u"b"_s), QString());
        QCOMPARE(places.text(u"P/M"_s, 0), u"xz"_s);
        QCOMPARE(places.text(u"P/M"_s, 1), QString());
        QCOMPARE(places.text(u"P/M"_s, 2), QString());
    }

    void foreignElementsAreFound()
    {
        const Places places(QByteArrayLiteral(
                "<R xmlns='n' xmlns:x='y'><P/><x:P/><P xmlns=''/><x:Q><x:P/></x:Q></R>"));
        const QList<Place> found = places.foreignElements(
                QRegularExpression(QRegularExpression::anchoredPattern(u"P"_s)));
        QCOMPARE(found, (QList<Place>{{1, 30}, {1, 36}}));
    }

    void elementsAreCountedInDocumentOrder()
    {
        const Places places(QByteArray(text).replace("b=\"<\"", "b=\"-\""));
        QCOMPARE(places.inDocumentOrder(0, u"a"_s).line, 4);
        QCOMPARE(places.inDocumentOrder(2).column, 13);
        QCOMPARE(places.inDocumentOrder(4).column, 9);
        QCOMPARE(places.inDocumentOrder(5).line, 1);
    }

    void everyEncodingHasTheSamePlaces_data()
    {
        const QString good = QString::fromUtf8(text).replace(u"b=\"<\""_s, u"b=\"-\""_s);
        const auto encoded = [&good](QStringConverter::Encoding encoding,
                                     QStringConverter::Flag flag) -> QByteArray {
            return QStringEncoder(encoding, flag).encode(good);
        };
        using Converter = QStringConverter;
        Rows<QByteArray> row;
        row("UTF-16, little end first", encoded(Converter::Utf16LE, Converter::Flag::WriteBom));
        row("UTF-16, big end first", encoded(Converter::Utf16BE, Converter::Flag::WriteBom));
        row("UTF-16 without a mark", encoded(Converter::Utf16LE, Converter::Flag::Default));
        row("UTF-8 with a mark", encoded(Converter::Utf8, Converter::Flag::WriteBom));
    }
    void everyEncodingHasTheSamePlaces()
    {
        const auto [encoded] = fetch<QByteArray>();
        const Places places(encoded);
        QCOMPARE(places.element(u"Two/Three"_s), (Place{6, 9}));
        QCOMPARE(places.element({}), (Place{3, 1}));
    }

    void columnsCountCharacters()
    {
        const QByteArray line = "<a>\n<b x='\U0001F600\U0001F600ü' y=''/></a>";
        const Places places(line);
        QCOMPARE(places.attribute(u"b"_s, u"y"_s), (Place{2, 12}));
        QCOMPARE(places.inCharacters({2, 14}), (Place{2, 12}));
        QCOMPARE(places.inCharacters({2, 3}), (Place{2, 3}));
        QCOMPARE(places.inCharacters({2, 1000}).line, 2);
        QCOMPARE(places.inCharacters({9, 5}), (Place{9, 5}));
    }

    void attributeMayHaveAnyLetters()
    {
        const Places places("<a><b größe='1' \U0001F600='2'/></a>");
        QCOMPARE(places.attribute(u"b"_s, u"größe"_s), (Place{1, 7}));
    }

    void linesHaveNoEnd()
    {
        const Places places("<a>" + QByteArray(100'000, '\n') + "<b/></a>");
        QCOMPARE(places.element(u"b"_s), (Place{100'001, 1}));
    }

    void brokenTextHasThePlacesInFrontOfTheBreak()
    {
        QCOMPARE(Places(text).element(u"Two"_s).line, 3);
        QCOMPARE(Places("").element(u"Two"_s).line, 1);
    }
};

QTEST_GUILESS_MAIN(TestPlaces)
#include "tst_places.moc"
