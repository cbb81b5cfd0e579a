#include "app/statusline.h"

#include "rows.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestStatusLine : public QObject
{
    Q_OBJECT

private slots:
    void textIsFitted_data()
    {
        Rows<QString, int, QString> row; // text, width, expected
        row("as wide", u"abcdefghij"_s, 10, u"abcdefghij"_s);
        row("odd room", u"abcdefghij"_s, 8, u"abc...ij"_s);
        row("even room", u"abcdefghij"_s, 9, u"abc...hij"_s);
        row("least room", u"abcdefghij"_s, 5, u"a...j"_s);
        row("no room", u"abcdefghij"_s, 4, {});
        row("control characters", u"a\tb\u001bc"_s, 5, u"a?b?c"_s);
        row("narrow letters", u"\u02ff\u02ff"_s, 2, u"\u02ff\u02ff"_s);
        row("wide letters", u"世界世界世界世界"_s, 16, u"世界世界世界世界"_s);
        row("too wide letters", u"世界世界世界世界"_s, 12, u"世界...界"_s);
        row("first letter that counts as wide", u"\u0300"_s, 1, {});
    }
    void textIsFitted()
    {
        const auto [text, width, expected] = fetch<QString, int, QString>();
        QCOMPARE(StatusLine::fitted(text, width), expected);
    }
};

QTEST_GUILESS_MAIN(TestStatusLine)
#include "tst_statusline.moc"
