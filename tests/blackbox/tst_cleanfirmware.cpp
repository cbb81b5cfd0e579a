#include "projects.h"
#include "rows.h"

#include <algorithm>

namespace {

void writeProject(World &world, const QByteArray &name, const QByteArray &attributes = {})
{
    world.project("Name=\"" + name + "\" SDK=\"../sdk\" " + attributes, "<Filesystem/>");
}

} // namespace

class TestCleanFirmware : public QObject
{
    Q_OBJECT

private slots:
    void filesOfTheProjectAreRemoved_data()
    {
        Rows<QByteArray, QByteArrayList, QByteArrayList> row; // project, removed, kept
        row("Demo", "Demo",
            {"T1-Demo-1.0-firmware.ztf", "T2-Demo-2.1-install.ztf", "T1-Demo-firmware.ztf",
             "-Demo-install.ztf", "a-b-Demo-c-d-firmware.ztf", "T1-Demolition-firmware.ztf"},
            {"T1-Other-1.0-firmware.ztf", "Demo-firmware.ztf", "T1-Demo-1.0-firmware.ztf.bak",
             "T1-Demo-1.0.ztf", "T1-Demo-1.0-firmware-ztf", "T1-Demo", "T1-Dem-firmware.ztf",
             "T1-Demo-update.ztf", "T1Demo-1.0-firmware.ztf"});
        row("capitals do not matter", "Demo", {"t1-dEMO-1.0-FIRMWARE.ZTF", "T1-demo-Install.Ztf"},
            {"T1-DMO-install.ztf"});
        row("removed characters", "a:b/c\\d?e*f", {"T1-abcdef-1-firmware.ztf"},
            {"T1-aXbcdef-1-firmware.ztf", "T1-abcdeXf-install.ztf"});
        row("set of characters", "D[ae]mo", {"T1-Demo-firmware.ztf", "T1-Damo-install.ztf"},
            {"T1-Dimo-firmware.ztf", "T1-D[ae]mo-firmware.ztf"});
        row("range of characters", "R[0-4]", {"T1-R2-firmware.ztf", "T1-R4x-install.ztf"},
            {"T1-R5-firmware.ztf", "T1-R-firmware.ztf"});
        row("plain other characters", "a.b+c(d){2}^$|", {"T1-a.b+c(d){2}^$|-1-firmware.ztf"},
            {"T1-aXb+c(d){2}^$|-1-firmware.ztf", "T1-a.bbc(d)(d)^$|-install.ztf"});
        row("blanks and other languages", "Größe 2", {"T1-Größe 2-firmware.ztf"},
            {"T1-Größe-firmware.ztf", "T1-Groesse 2-firmware.ztf"});
        row("name made of removed characters", "?*:/\\",
            {"T1-Demo-1-firmware.ztf", "x-install.ztf"}, {"T1.ztf", "firmware.ztf", "install.ztf"});
    }
    void filesOfTheProjectAreRemoved()
    {
        auto [project, removed, kept] = fetch<QByteArray, QByteArrayList, QByteArrayList>();
        World world;
        writeProject(world, project);
        for (const QByteArray &name : removed + kept)
            world.write("project/firmware/" + name);
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        std::sort(kept.begin(), kept.end());
        SAME(world.tree("project/firmware"), kept.join('\n') + '\n');
    }

    void projectWithoutNameOwnsEverything()
    {
        World world;
        world.firstSchemaProject(R"(SDK="../sdk")", "");
        for (const char *name : {"T1-firmware.ztf", "T1-Other-1-install.ztf", "-firmware.ztf"})
            world.write("project/firmware/" + QByteArray(name));
        world.write("project/firmware/firmware.ztf");
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        SAME(world.tree("project/firmware"), "firmware.ztf\n");
    }

    void onlyVisibleFilesAreRemoved()
    {
        World world;
        writeProject(world, "Demo");
        world.write("project/firmware/.T1-Demo-firmware.ztf");
        world.write("project/firmware/T1-Demo-firmware.ztf/T2-Demo-firmware.ztf");
        world.write("project/firmware/sub/T1-Demo-firmware.ztf");
        world.write("project/T1-Demo-firmware.ztf");
        const QByteArray before = world.tree("project");
        SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(), report(0, {}));
        SAME(world.tree("project"), before);
    }

    void removalIsAnnouncedAboveLevelOne_data()
    {
        Rows<QByteArray, bool> row; // option, announced
        row("quiet", "-q", false);
        row("default", "-R", false);
        row("verbose", "-v", true);
        row("very verbose", "-vv", true);
    }
    void removalIsAnnouncedAboveLevelOne()
    {
        const auto [option, announced] = fetch<QByteArray, bool>();
        World world;
        writeProject(world, "Demo", R"(Verbose="3")");
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.write("project/firmware/T2-Demo-install.ztf");
        world.write("project/firmware/T2-Else-install.ztf");
        const Result result = world.run({option, "--cleanfirmwarefolder"});
        QCOMPARE(result.status, 0);
        SAME(result.out, "");
        QByteArrayList lines = result.err.split('\n');
        std::sort(lines.begin(), lines.end()); // the files come in no particular order
        SAME(lines.join('\n'), announced ? "\n[ztmake] Removing T1-Demo-firmware.ztf\n[ztmake] "
                                           "Removing T2-Demo-install.ztf"
                                         : "");
        SAME(world.tree("project/firmware"), "T2-Else-install.ztf\n");
    }

    void outputDirectoryIsTheProjects()
    {
        World world;
        for (const char *directory : {"project/firmware", "project/out", "home/firmware"})
            world.write(QByteArray(directory) + "/T1-Demo-firmware.ztf");
        writeProject(world, "Demo", R"(OutputDirectory="out")");
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        QVERIFY(world.exists("project/firmware/T1-Demo-firmware.ztf"));
        SAME(world.tree("project/out"), "");
        writeProject(world, "Demo");
        SAME(world.run({"--cleanfirmwarefolder", "../project/demo.ztp"}, {.directory = "home"})
                     .text(),
             report(0, {}));
        QVERIFY(world.exists("home/firmware/T1-Demo-firmware.ztf"));
        SAME(world.tree("project/firmware"), "");
    }

    void missingDirectoryIsNoError()
    {
        World world;
        writeProject(world, "Demo");
        SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(), report(0, {}));
        SAME(world.tree("project"), "demo.ztp\n");
        world.write("project/firmware", "a file");
        SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(), report(0, {}));
        SAME(world.read("project/firmware"), "a file");
    }

    void filesThatCannotBeRemovedStay()
    {
        World world;
        writeProject(world, "Demo");
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.setMode("project/firmware", 0555);
        SAME(world.run({"-v", "--cleanfirmwarefolder"}, {.ordinaryUser = true}).text(),
             report(0, {}, "[ztmake] Removing T1-Demo-firmware.ztf\n"));
        SAME(world.tree("project/firmware"), "T1-Demo-firmware.ztf\n");
        world.setMode("project/firmware", 0755);
    }

    void buildCleansUpAsWell()
    {
        World world;
        world.project(R"(Name="Demo" Version="2" SDK="../sdk")",
                      "<Target Model=\"T1\"/><Filesystem/>");
        for (const char *name : {"T1-Demo-1-firmware.ztf", "T1-Demo-2-firmware.ztf",
                                 "T9-Demo-1-install.ztf", "T1-Other-1-firmware.ztf"})
            world.write("project/firmware/" + QByteArray(name), "old");
        QCOMPARE(world.run({"-q"}).status, 0);
        SAME(world.tree("project/firmware"), "T1-Demo-2-firmware.ztf\nT1-Other-1-firmware.ztf\n");
        SAME(world.read("project/firmware/T1-Demo-2-firmware.ztf"), "made by ztlink\n");
    }

    void nothingElseIsTouched()
    {
        World world;
        writeProject(world, "Demo", R"(Svnversion="1")");
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.write("project/obj/root.romfs");
        world.write("project/obj/installer.romfs");
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        SAME(world.tree("project"),
             "demo.ztp\nfirmware/\nobj/\nobj/installer.romfs\nobj/root.romfs\n");
    }
};

QTEST_GUILESS_MAIN(TestCleanFirmware)
#include "tst_cleanfirmware.moc"
