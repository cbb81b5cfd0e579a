#include "world.h"

#include <QTest>

#include <algorithm>

namespace {

void writeProject(World &world, const QByteArray &name, const QByteArray &attributes = {})
{
    world.project("Name=\"" + name + "\" SDK=\"../sdk\" " + attributes, "<Filesystem/>");
}

} // namespace

class tst_CleanFirmware : public QObject
{
    Q_OBJECT

private slots:
    void filesOfTheProjectAreRemoved_data();
    void filesOfTheProjectAreRemoved();
    void projectWithoutNameOwnsEverything();
    void onlyVisibleFilesAreRemoved();
    void removalIsAnnouncedAboveLevelOne_data();
    void removalIsAnnouncedAboveLevelOne();
    void outputDirectoryIsTheProjects();
    void missingDirectoryIsNoError();
    void filesThatCannotBeRemovedStay();
    void buildCleansUpAsWell();
    void nothingElseIsTouched();
};

void tst_CleanFirmware::filesOfTheProjectAreRemoved_data()
{
    QTest::addColumn<QByteArray>("project");
    QTest::addColumn<QByteArrayList>("removed");
    QTest::addColumn<QByteArrayList>("kept");

    QTest::newRow("Demo") << QByteArray(
            "Demo") << QByteArrayList{"T1-Demo-1.0-firmware.ztf",  "T2-Demo-2.1-install.ztf",
                                      "T1-Demo-firmware.ztf",      "-Demo-install.ztf",
                                      "a-b-Demo-c-d-firmware.ztf", "T1-Demolition-firmware.ztf"}
                          << QByteArrayList{"T1-Other-1.0-firmware.ztf",    "Demo-firmware.ztf",
                                            "T1-Demo-1.0-firmware.ztf.bak", "T1-Demo-1.0.ztf",
                                            "T1-Demo-1.0-firmware-ztf",     "T1-Demo",
                                            "T1-Dem-firmware.ztf",          "T1-Demo-update.ztf",
                                            "T1Demo-1.0-firmware.ztf"};
    QTest::newRow("capitals do not matter")
            << QByteArray("Demo")
            << QByteArrayList{"t1-dEMO-1.0-FIRMWARE.ZTF", "T1-demo-Install.Ztf"}
            << QByteArrayList{"T1-DMO-install.ztf"};
    QTest::newRow("removed characters")
            << QByteArray("a:b/c\\d?e*f") << QByteArrayList{"T1-abcdef-1-firmware.ztf"}
            << QByteArrayList{"T1-aXbcdef-1-firmware.ztf", "T1-abcdeXf-install.ztf"};
    QTest::newRow("set of characters")
            << QByteArray("D[ae]mo")
            << QByteArrayList{"T1-Demo-firmware.ztf", "T1-Damo-install.ztf"}
            << QByteArrayList{"T1-Dimo-firmware.ztf", "T1-D[ae]mo-firmware.ztf"};
    QTest::newRow("range of characters")
            << QByteArray("R[0-4]") << QByteArrayList{"T1-R2-firmware.ztf", "T1-R4x-install.ztf"}
            << QByteArrayList{"T1-R5-firmware.ztf", "T1-R-firmware.ztf"};
    QTest::newRow("plain other characters")
            << QByteArray("a.b+c(d){2}^$|") << QByteArrayList{"T1-a.b+c(d){2}^$|-1-firmware.ztf"}
            << QByteArrayList{"T1-aXb+c(d){2}^$|-1-firmware.ztf", "T1-a.bbc(d)(d)^$|-install.ztf"};
    QTest::newRow("blanks and other languages")
            << QByteArray("Größe 2") << QByteArrayList{"T1-Größe 2-firmware.ztf"}
            << QByteArrayList{"T1-Größe-firmware.ztf", "T1-Groesse 2-firmware.ztf"};
    QTest::newRow("name made of removed characters")
            << QByteArray("?*:/\\") << QByteArrayList{"T1-Demo-1-firmware.ztf", "x-install.ztf"}
            << QByteArrayList{"T1.ztf", "firmware.ztf", "install.ztf"};
}

void tst_CleanFirmware::filesOfTheProjectAreRemoved()
{
    QFETCH(QByteArray, project);
    QFETCH(QByteArrayList, removed);
    QFETCH(QByteArrayList, kept);
    World world;
    writeProject(world, project);
    for (const QByteArray &name : removed + kept)
        world.write("project/firmware/" + name);
    SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
    std::sort(kept.begin(), kept.end());
    SAME(world.tree("project/firmware"), kept.join('\n') + '\n');
}

void tst_CleanFirmware::projectWithoutNameOwnsEverything()
{
    World world;
    world.firstSchemaProject(R"(SDK="../sdk")", "");
    for (const char *name : {"T1-firmware.ztf", "T1-Other-1-install.ztf", "-firmware.ztf"})
        world.write("project/firmware/" + QByteArray(name));
    world.write("project/firmware/firmware.ztf");
    SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
    SAME(world.tree("project/firmware"), "firmware.ztf\n");
}

void tst_CleanFirmware::onlyVisibleFilesAreRemoved()
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

void tst_CleanFirmware::removalIsAnnouncedAboveLevelOne_data()
{
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<bool>("announced");
    QTest::newRow("quiet") << QByteArray("-q") << false;
    QTest::newRow("default") << QByteArray("-R") << false;
    QTest::newRow("verbose") << QByteArray("-v") << true;
    QTest::newRow("very verbose") << QByteArray("-vv") << true;
}

void tst_CleanFirmware::removalIsAnnouncedAboveLevelOne()
{
    QFETCH(QByteArray, option);
    QFETCH(bool, announced);
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
    SAME(lines.join('\n'),
         announced
                 ? "\n[ztmake] Removing T1-Demo-firmware.ztf\n[ztmake] Removing T2-Demo-install.ztf"
                 : "");
    SAME(world.tree("project/firmware"), "T2-Else-install.ztf\n");
}

void tst_CleanFirmware::outputDirectoryIsTheProjects()
{
    World world;
    for (const char *directory : {"project/firmware", "project/out", "home/firmware"})
        world.write(QByteArray(directory) + "/T1-Demo-firmware.ztf");
    writeProject(world, "Demo", R"(OutputDirectory="out")");
    SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
    QVERIFY(world.exists("project/firmware/T1-Demo-firmware.ztf"));
    SAME(world.tree("project/out"), "");
    writeProject(world, "Demo");
    SAME(world.run({"--cleanfirmwarefolder", "../project/demo.ztp"}, {.directory = "home"}).text(),
         report(0, {}));
    QVERIFY(world.exists("home/firmware/T1-Demo-firmware.ztf"));
    SAME(world.tree("project/firmware"), "");
}

void tst_CleanFirmware::missingDirectoryIsNoError()
{
    World world;
    writeProject(world, "Demo");
    SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(), report(0, {}));
    SAME(world.tree("project"), "demo.ztp\n");
    world.write("project/firmware", "a file");
    SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(), report(0, {}));
    SAME(world.read("project/firmware"), "a file");
}

void tst_CleanFirmware::filesThatCannotBeRemovedStay()
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

void tst_CleanFirmware::buildCleansUpAsWell()
{
    World world;
    world.project(R"(Name="Demo" Version="2" SDK="../sdk")", "<Target Model=\"T1\"/><Filesystem/>");
    for (const char *name : {"T1-Demo-1-firmware.ztf", "T1-Demo-2-firmware.ztf",
                             "T9-Demo-1-install.ztf", "T1-Other-1-firmware.ztf"})
        world.write("project/firmware/" + QByteArray(name), "old");
    QCOMPARE(world.run({"-q"}).status, 0);
    SAME(world.tree("project/firmware"), "T1-Demo-2-firmware.ztf\nT1-Other-1-firmware.ztf\n");
    SAME(world.read("project/firmware/T1-Demo-2-firmware.ztf"), "made by ztlink\n");
}

void tst_CleanFirmware::nothingElseIsTouched()
{
    World world;
    writeProject(world, "Demo", R"(Svnversion="1")");
    world.write("project/firmware/T1-Demo-firmware.ztf");
    world.write("project/obj/root.romfs");
    world.write("project/obj/installer.romfs");
    SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
    SAME(world.tree("project"), "demo.ztp\nfirmware/\nobj/\nobj/installer.romfs\nobj/root.romfs\n");
}

QTEST_GUILESS_MAIN(tst_CleanFirmware)
#include "tst_cleanfirmware.moc"
