#include "app/makeproject.h"

#include <QtTest>

#include <memory>

class TestMakeProject : public QObject
{
    Q_OBJECT

private slots:
    void programName_data()
    {
        QTest::addColumn<QByteArray>("argument");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("plain") << QByteArray("ztmake") << QByteArray("ztmake");
        QTest::newRow("path") << QByteArray("/opt/sdk-2.1/bin/ztmake") << QByteArray("ztmake");
        QTest::newRow("extension") << QByteArray("bin/ztmake.exe") << QByteArray("ztmake");
        QTest::newRow("complete base name")
                << QByteArray("ztmake-2.1.bin") << QByteArray("ztmake-2.1");
    }
    void programName()
    {
        QFETCH(QByteArray, argument);
        setProgramName(argument.constData());
        const std::unique_ptr<const char[]> name(myname); // the program has one for its whole life
        QTEST(QByteArray(myname), "expected");
    }
};

QTEST_APPLESS_MAIN(TestMakeProject)
#include "tst_makeproject.moc"
