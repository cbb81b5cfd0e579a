#include "xml/entitybound.h"

#include "rows.h"
#include "testfiles.h"

#include <QStringEncoder>

using namespace Qt::StringLiterals;

class TestEntityBound : public QObject
{
    Q_OBJECT

private slots:
    void nestingOfTheDocumentType_data()
    {
        Rows<QByteArray, bool> row; // document, whether it may be parsed
        const QByteArray deep = QByteArray("(").repeated(EntityBound::maximumNesting);
        const QByteArray pairs = QByteArray("()").repeated(2 * EntityBound::maximumNesting);
        row("none", deep + '(', true);
        row("deep", "<!DOCTYPE a [<!ELEMENT a " + deep + "]>", true);
        row("too deep", "<!DOCTYPE a [<!ELEMENT a " + deep + "(]>", false);
        row("too deep without an end", "<!DOCTYPE a [<!ELEMENT a " + deep + '(', false);
        row("too deep after pairs", "<!DOCTYPE a [" + pairs + deep + "(]>", false);
        row("pairs", "<!DOCTYPE a [" + pairs + "]>", true);
        row("deep elsewhere", "<!--]>(--><!DOCTYPE a [" + deep + "]>(", true);
        row("too deep, in UTF-16",
            QStringEncoder(QStringEncoder::Utf16)(u"<!DOCTYPE a ["_s + QString::fromLatin1(deep)
                                                  + u"("_s),
            false);
    }
    void nestingOfTheDocumentType()
    {
        const auto [document, expected] = fetch<QByteArray, bool>();
        QVERIFY(TestFiles::write(path(), document));
        QCOMPARE(EntityBound::mayBeParsed(path()), expected);
    }

    void numberOfEntities()
    {
        EntityBound bound;
        for (int i = 1; i <= EntityBound::maximumEntities; ++i)
            QVERIFY(bound.declare(QString::number(i), {}));
        QVERIFY(bound.declare(u"1"_s, {}));
        QVERIFY(!bound.declare(u"more"_s, {}));
    }

    void expandedSize_data()
    {
        // Values of "a" and "b" ("big" has a quarter of the characters that may be), references,
        // whether they may be expanded
        Rows<QString, QString, int, bool> row;
        row("big", {}, {}, 4, true);
        row("big, too often", {}, {}, 5, false);
        row("references", u"&big;&big;"_s, {}, 1, true);
        row("too many references", u"&big;&big;"_s, {}, 2, false);
        row("references among text", u"x&big;y&none;z&big;"_s, {}, 2, false);
        row("references to references", u"&b;"_s, u"&big;&big;&big;"_s, 2, false);
        row("the same reference twice", u"&b;&b;"_s, u"&big;"_s, 2, false);
        row("reference behind half of one", u"&&big;&b;"_s, u"&&big;"_s, 2, false);
        row("half of a reference", u"&big"_s, u"&"_s, 4, true);
        row("itself", u"&a;"_s, {}, 4, true);
        row("each other", u"&b;"_s, u"&a;"_s, 4, true);
    }
    void expandedSize()
    {
        const auto [a, b, references, expected] = fetch<QString, QString, int, bool>();
        EntityBound bound;
        bound.declare(u"a"_s, a);
        bound.declare(u"b"_s, b);
        bound.declare(u"big"_s, QString(EntityBound::maximumCharacters / 4, u'x'));
        QVERIFY(TestFiles::write(path(), QByteArray("&").repeated(references)));
        QVERIFY(EntityBound().mayBeExpanded(path()));
        QCOMPARE(bound.mayBeExpanded(path()), expected);
    }

private:
    QString path() const { return m_world.filePath(u"box.ztp"_s); }

    QTemporaryDir m_world;
};

QTEST_GUILESS_MAIN(TestEntityBound)
#include "tst_entitybound.moc"
