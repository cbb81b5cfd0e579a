#include "app/joblimit.h"

#include "engine/processors.h"
#include "rows.h"

using namespace Qt::StringLiterals;

class TestJobLimit : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { qunsetenv("ZTMAKE_JOBS"); }

    void oneWhenItIsNotSet()
    {
        QString error;
        QCOMPARE(jobLimit(&error), 1);
    }

    void numberOfTools_data()
    {
        const Rows<QByteArray, int> row;
        row("empty", "", 1);
        row("one", "1", 1);
        row("several", "69", 69);
        row("very many", "2147483647", 2147483647);
        row("with zeros", "008", 8);
        row("auto", "auto", availableProcessors());
    }
    void numberOfTools()
    {
        const auto &[value, limit] = fetch<QByteArray, int>();
        QVERIFY(qputenv("ZTMAKE_JOBS", value));
        QString error;
        QCOMPARE(jobLimit(&error), limit);
        QCOMPARE(error, QString());
    }

    void anythingElseIsAnError_data()
    {
        const Rows<QByteArray> row;
        for (const char *value : {"0", "-1", "+2", " 2", "2 ", "2x", "0x2", "1.5", "AUTO", "auto ",
                                  "2147483648", "-", " "})
            row(value, value);
    }
    void anythingElseIsAnError()
    {
        const auto &[value] = fetch<QByteArray>();
        QVERIFY(qputenv("ZTMAKE_JOBS", value));
        QString error;
        QVERIFY(!jobLimit(&error));
        QCOMPARE(error, u"ZTMAKE_JOBS must be a number from 1 on, or \"auto\", but is \"%1\""_s.arg(
                                QLatin1StringView(value)));
    }
};

QTEST_GUILESS_MAIN(TestJobLimit)
#include "tst_joblimit.moc"
