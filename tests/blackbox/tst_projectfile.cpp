#include "projects.h"

#include <QtTest>

/// What a user sees of the reading of a project file; the tests of the readers have the rest.
class TestProjectFile : public QObject
{
    Q_OBJECT

private slots:
    void errorIsReportedWithItsPlace()
    {
        World world(demo, "<Startup Interactive=\"On\"/>");
        SAME(world.run({"demo.ztp"}).text(),
             report(1, {},
                    "[ztmake] demo.ztp: Error reading demo.ztp, Line 4, Column 27:\n"
                    "  (<Startup>) Expected \"Interactive\" to be a boolean attribute, but got"
                    " \"on\"\n"));
        QVERIFY(!world.exists("project/obj"));
    }

    void unknownElementsAreSkippedAndAnnounced()
    {
        World world;
        const QByteArray twentyLevels =
                QByteArray("<Deep>").repeated(20) + QByteArray("</Deep>").repeated(20);
        world.project(demo, R"(<Colour/><target/><STARTUP/><!-- c --><?pi x?>
<Filesystem Colour="x" type="y"><Label>x</Label>
<Merge Type="Archive"><Source>a</Source><Paint>x<Target/>y</Paint></Merge></Filesystem>
<Process><Link/><Preprocess Type="Ztlpp"><Define/><Include>x</Include></Preprocess></Process>
<Translation><Tool/></Translation><MTD16><C/></MTD16>)"
                                    + twentyLevels + twentyLevels);
        QByteArray err;
        for (const char *name : {"Colour", "target", "STARTUP", "Label", "Paint", "Link", "Define",
                                 "Tool", "C", "Deep", "Deep"})
            err += "[Debug] <" + QByteArray(name) + "> element ignored\n";
        SAME(world.run({"-q"}).text(), report(0, pack("--merge a "), err));
    }

    void unknownElementsAreNotNestedDeeperThanTwentyLevels()
    {
        World world(demo, "<Process>\n" + QByteArray("<Deep>").repeated(21));
        SAME(world.run({}).text(),
             report(1, {},
                    "[Debug] <Deep> element ignored\n"
                    "[ztmake] demo.ztp: Error reading demo.ztp, Line 5, Column 126:\n"
                    "  (<Deep>) File too deeply nested\n"));
    }
};

QTEST_GUILESS_MAIN(TestProjectFile)
#include "tst_projectfile.moc"
