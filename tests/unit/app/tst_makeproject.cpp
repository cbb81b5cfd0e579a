#include "app/makeproject.h"

#include "rows.h"

#include <memory>

class TestMakeProject : public QObject
{
    Q_OBJECT

private slots:
    void programName_data()
    {
        Rows<QByteArray, QByteArray> row; // argument, expected
        row("plain", "ztmake", "ztmake");
        row("path", "/opt/sdk-2.1/bin/ztmake", "ztmake");
        row("extension", "bin/ztmake.exe", "ztmake");
        row("complete base name", "ztmake-2.1.bin", "ztmake-2.1");
    }
    void programName()
    {
        const auto [argument, expected] = fetch<QByteArray, QByteArray>();
        setProgramName(argument.constData());
        const std::unique_ptr<const char[]> name(myname); // the program has one for its whole life
        QCOMPARE(QByteArray(myname), expected);
    }
};

QTEST_APPLESS_MAIN(TestMakeProject)
#include "tst_makeproject.moc"
