#include "app/makeproject.h"

#include <QtTest>

#include <memory>

class TestMakeProject : public QObject
{
    Q_OBJECT

private slots:
    void programName()
    {
        for (const auto &[argument, expected] : {std::pair{"ztmake", "ztmake"},
                                                 {"/opt/sdk-2.1/bin/ztmake", "ztmake"},
                                                 {"bin/ztmake.exe", "ztmake"},
                                                 {"ztmake-2.1.bin", "ztmake-2.1"}}) {
            setProgramName(argument);
            const std::unique_ptr<const char[]> name(myname); // the program keeps it for good
            QCOMPARE(QByteArray(myname), expected);
        }
    }
};

QTEST_APPLESS_MAIN(TestMakeProject)
#include "tst_makeproject.moc"
