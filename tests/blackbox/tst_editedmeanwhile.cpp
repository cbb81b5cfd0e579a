#include "interruption.h"
#include "rows.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 nanosecondsInAMillisecond = 1'000'000;

} // namespace

/// Inputs that are edited while a tool reads them.
class TestEditedMeanwhile : public QObject
{
    Q_OBJECT

private slots:
    void inputEditedWhileItsToolRuns_data()
    {
        Rows<QByteArray, QByteArray, QByteArrayList> row; // tool, input, outputs
        row("ztlpp", "ztlpp", "root/a.lua", {"obj/root/a.lui"});
        row("ztluac", "ztluac", "obj/root/a.lui", {"obj/root/a.luo"});
        row("ztmkmtd", "ztmkmtd", "demo.mtdef", {"made/m.lh", "made/m.lua"});
        row("lrelease", "lrelease", "translations/de.ts", {"obj/translations/de.qm"});
    }
    void inputEditedWhileItsToolRuns()
    {
        const auto [tool, input, outputs] = fetch<QByteArray, QByteArray, QByteArrayList>();
        World world;
        writeProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        for (const QByteArray &output : outputs)
            world.remove("project/" + output);
        // Its time is in the distant past, so that the edit has another.
        world.setTime("project/" + input, 5);
        world.plan(tool, planned("1", {"write " + input + " edited"}));
        const Result result = world.run({"-q"});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(names(result).count(tool), 1);
        for (const QByteArray &output : outputs) {
            SAME(world.read("project/" + output), "made by " + tool + '\n');
            QVERIFY(world.time("project/" + output) < 5);
        }

        world.plan(tool, "");
        QCOMPARE(names(world.run({"-q"})).count(tool), 1);
        QCOMPARE(names(world.run({"-q"})).count(tool), 0);
    }

    // The compiler reads the new preprocessed file although the old byte code looks current.
    void inputEditedWhileItIsPreprocessed_data()
    {
        Rows<QByteArray> row; // what is edited
        row("source", "root/a.lua");
        row("project file", "demo.ztp");
    }
    void inputEditedWhileItIsPreprocessed()
    {
        const auto [edited] = fetch<QByteArray>();
        World world;
        writeProject(world);
        QCOMPARE(world.run({"-q"}).status, 0);
        // The outputs are from between the two edits.
        world.setTime("project/root/a.lua", 5);
        world.setTime("project/obj/root/a.lui", 4);
        world.setTime("project/obj/root/a.luo", 1000 * nanosecondsInAMillisecond);
        world.setTime("project/demo.ztp", 3);
        const QByteArray text = world.read("project/" + edited);
        world.plan("ztlpp",
                   planned("1", {"write " + edited + ' ' + QByteArray(text).replace('\n', "\\n")}));
        world.plan("ztluac", "1 probe obj/root/a.lui\n1 write obj/root/a.luo new\n1 quiet\n");
        world.write("project/obj/root/a.luo", "old", 1000 * nanosecondsInAMillisecond);
        const Result result = world.run({"-q"});
        SAME(result.err, "");
        QCOMPARE(names(result).count("ztlpp"), 1);
        QCOMPARE(names(result).count("ztluac"), 1);
        SAME(world.read("project/obj/root/a.luo"), "new");

        world.plan("ztlpp", "");
        world.plan("ztluac", "");
        const Result next = world.run({"-q"});
        QCOMPARE(names(next).count("ztlpp"), 1);
        QCOMPARE(names(next).count("ztluac"), 1);
        QCOMPARE(names(world.run({"-q"})).count("ztluac"), 0);
    }

    void projectFileEditedWhileAToolRuns()
    {
        World world;
        writeSmallProject(world);
        const QByteArray text = world.read("project/demo.ztp");
        world.plan("ztlpp",
                   planned("1", {"write demo.ztp " + QByteArray(text).replace('\n', "\\n")}));
        QCOMPARE(world.run({"-q"}).status, 0);
        SAME(world.read("project/demo.ztp"), text);

        world.plan("ztlpp", "");
        const QByteArrayList all{"ztlpp", "ztluac", "ztlpp", "ztluac", "ztmkromfs"};
        QCOMPARE(names(world.run({"-q"})), all);
        QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
    }

    void projectFileEditedBeforeTheFirstTool()
    {
        World world(demo + R"( Svnversion="1")", tree() + process(noPreprocess));
        world.write("project/root/a.lua");
        const QByteArray text = world.read("project/demo.ztp");
        world.plan("svnversion",
                   planned("1", {"write demo.ztp " + QByteArray(text).replace('\n', "\\n")}));
        QCOMPARE(world.run({"-q"}).status, 0);
        QCOMPARE(names(world.run({"-q"})).count("ztluac"), 1);
        QCOMPARE(names(world.run({"-q"})).count("ztluac"), 0);
    }

    void editOfAnotherFileCostsNothing()
    {
        World world;
        writeSmallProject(world);
        world.plan("ztlpp", planned("1", {"write root/unrelated.txt x"}));
        QCOMPARE(world.run({"-q"}).status, 0);
        QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
    }
};

QTEST_GUILESS_MAIN(TestEditedMeanwhile)
#include "tst_editedmeanwhile.moc"
