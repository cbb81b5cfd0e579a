#include "projects.h"

#include <QtTest>

namespace {

void writeProject(World &world, const QByteArray &attributes = {})
{
    world.project(demo + ' ' + attributes, "<Filesystem/>");
}

} // namespace

class TestCleanFirmware : public QObject
{
    Q_OBJECT

private slots:
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

    void removalIsAnnouncedAboveLevelOne()
    {
        for (const QByteArray &option : QByteArrayList{"-q", "-R", "-v", "-vv"}) {
            World world;
            writeProject(world, R"(Verbose="3")");
            world.write("project/firmware/T1-Demo-firmware.ztf");
            world.write("project/firmware/T2-Else-install.ztf");
            SAME(world.run({option, "--cleanfirmwarefolder"}).text(),
                 report(0, {},
                        option.contains('v') ? "[ztmake] Removing T1-Demo-firmware.ztf\n" : ""));
            SAME(world.tree("project/firmware"), "T2-Else-install.ztf\n");
        }
    }

    void outputDirectoryIsTheProjects()
    {
        World world;
        for (const char *directory : {"project/firmware", "project/out", "home/firmware"})
            world.write(QByteArray(directory) + "/T1-Demo-firmware.ztf");
        writeProject(world, R"(OutputDirectory="out")");
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        QVERIFY(world.exists("project/firmware/T1-Demo-firmware.ztf"));
        SAME(world.tree("project/out"), "");
        writeProject(world);
        SAME(world.run({"--cleanfirmwarefolder", "../project/demo.ztp"}, {.directory = "home"})
                     .text(),
             report(0, {}));
        QVERIFY(world.exists("home/firmware/T1-Demo-firmware.ztf"));
        SAME(world.tree("project/firmware"), "");
    }

    void filesThatCannotBeRemovedStay()
    {
        World world;
        writeProject(world);
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.setMode("project/firmware", 0555);
        SAME(world.run({"-v", "--cleanfirmwarefolder"}, {.ordinaryUser = true}).text(),
             report(0, {}, "[ztmake] Removing T1-Demo-firmware.ztf\n"));
        SAME(world.tree("project/firmware"), "T1-Demo-firmware.ztf\n");
        world.setMode("project/firmware", 0755);
    }

    void buildCleansUpAsWell()
    {
        World world(R"(Name="Demo" Version="2" SDK="../sdk")",
                    "<Target Model=\"T1\"/><Filesystem/>");
        for (const char *name : {"T1-Demo-1-firmware.ztf", "T1-Demo-2-firmware.ztf",
                                 "T9-Demo-1-install.ztf", "T1-Other-1-firmware.ztf"})
            world.write("project/firmware/" + QByteArray(name), "old");
        QCOMPARE(world.run({"-q"}).status, 0);
        SAME(world.tree("project/firmware"), "T1-Demo-2-firmware.ztf\nT1-Other-1-firmware.ztf\n");
        SAME(world.read("project/firmware/T1-Demo-2-firmware.ztf"), "made by ztlink\n");
    }

    // Who puts one there has no other copy of it, perhaps.
    void inputsStay()
    {
        World world(
                R"(Name="Demo" SDK="../sdk" KeyFile="firmware/key-Demo-firmware.ztf")",
                R"(<Filesystem><Merge Type="Archive"><Source>firmware/base-Demo-install.ztf</Source>
</Merge></Filesystem>)");
        for (const char *name :
             {"key-Demo-firmware.ztf", "base-Demo-install.ztf", "T1-Demo-firmware.ztf"})
            world.write("project/firmware/" + QByteArray(name));
        for (const char *option : {"-v", "--cleanfirmwarefolder"}) {
            QCOMPARE(world.run({"-q", option}).status, 0);
            SAME(world.tree("project/firmware"), "base-Demo-install.ztf\nkey-Demo-firmware.ztf\n");
        }
    }

    void nothingElseIsTouched()
    {
        World world;
        writeProject(world, R"(Svnversion="1")");
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
