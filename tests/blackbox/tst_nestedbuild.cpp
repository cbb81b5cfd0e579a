#include "interruption.h"
#include "rows.h"

using namespace Qt::StringLiterals;

/// Builds that a tool of a build starts.
class TestNestedBuild : public QObject
{
    Q_OBJECT

private slots:
    void buildThatAToolStartsDoesNotWaitForEver_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // before it, project file, what is in use
        row("same environment", "exec", "demo.ztp", "obj");
        row("empty environment", "exec env -i", "demo.ztp", "obj");
        const QByteArray close = "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; exec";
        row("no descriptors", close, "demo.ztp", "obj");
        row("no descriptors, empty environment", close + " env -i", "demo.ztp", "obj");
        row("removed directory", "rm -r obj; exec", "demo.ztp", "obj");
        row("removed directory, empty environment", "rm -r obj; exec env -i", "demo.ztp", "obj");
        row("same definitions", "exec", "other.ztp", "made/m.lh");
        row("same definitions, empty environment", "exec env -i", "other.ztp", "made/m.lh");
    }
    void buildThatAToolStartsDoesNotWaitForEver()
    {
        const auto [before, file, inUse] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        writeProject(world);
        writeProjectOfTheSameDefinitions(world);
        world.remove("sdk/bin/ztmkmtd");
        world.write("sdk/bin/ztmkmtd",
                    "#!/bin/sh\n" + before + " \"${0%/*}/ztmake\" -q " + file + '\n');
        world.setMode("sdk/bin/ztmkmtd", 0755);
        const Result result = world.run({"-q", "demo.ztp"});
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] The build that started this one is still using " + inUse
                                 + "\n[ztmake] Command exited with status 1\n");
    }

    void buildOfAnotherProjectThatAToolStarts()
    {
        World world;
        writeSmallProject(world);
        world.project(R"(Name="Other" SDK="../../sdk")", "", "project/other/demo.ztp");
        world.remove("sdk/bin/ztlpp");
        world.write("sdk/bin/ztlpp", "#!/bin/sh\ncd other && exec ../../sdk/bin/ztmake -q\n");
        world.setMode("sdk/bin/ztlpp", 0755);
        const Result result = world.run({"-q"});
        SAME(result.err, "");
        QCOMPARE(result.status, 0);
    }
};

QTEST_GUILESS_MAIN(TestNestedBuild)
#include "tst_nestedbuild.moc"
