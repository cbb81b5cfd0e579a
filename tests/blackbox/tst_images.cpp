#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";

QByteArray pack(const QByteArray &letters = {})
{
    return "ztmkromfs " + letters
           + "-x .svn -o obj/root.romfs --label root -D /etc/version -i obj/version.txt\n";
}

QByteArray linkTo(const QByteArray &model, const QByteArray &afterOutput)
{
    return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/root.romfs"
           + " --output firmware/" + model + "-Demo-firmware.ztf " + afterOutput + '\n';
}

QByteArray packInstaller(const QByteArray &content, const QByteArray &letters = {})
{
    return "ztmkromfs " + letters + "-x .svn --out obj/installer.romfs --label root"
           + " --merge ../sdk/kernel/install.romfs" + content + '\n';
}

QByteArray carriedFirmware(const QByteArray &model)
{
    return " --destination /usr/share/firmware.ztf --in firmware/" + model + "-Demo-firmware.ztf";
}

QByteArray carriedBoot(const QByteArray &model)
{
    return " --destination /usr/share/mbr.bin --in ../sdk/kernel/" + model + "-boot.bin";
}

QByteArray linkInstaller(const QByteArray &model,
                         const QByteArray &afterOutput = "--name 'Demo [Installer]'")
{
    return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/installer.romfs"
           + " --output firmware/" + model + "-Demo-install.ztf " + afterOutput + '\n';
}

} // namespace

class tst_Images : public QObject
{
    Q_OBJECT

private slots:
    void installers_data();
    void installers();
    void keyFiles_data();
    void keyFiles();
    void refusedInstallers_data();
    void refusedInstallers();
    void installerWithoutFilesystem();
    void bootBlockMustBeAFile();
    void failingInstallerStopsTheNext_data();
    void failingInstallerStopsTheNext();
    void verbosityOfTheRootImage_data();
    void verbosityOfTheRootImage();
    void verbosityOfTargetsAndInstallers_data();
    void verbosityOfTargetsAndInstallers();
    void verbosityOfAnInstallerWithoutFilesystem();
    void installerWithoutNameAndVersion();
};

void tst_Images::installers_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("targets");
    QTest::addColumn<QByteArray>("installers");

    const QByteArray one = packInstaller(carriedFirmware("T1")) + linkInstaller("T1");
    const QByteArray two = packInstaller(carriedFirmware("T2")) + linkInstaller("T2");
    const QByteArray oneWithBoot =
            packInstaller(carriedFirmware("T1") + carriedBoot("T1")) + linkInstaller("T1");
    const QByteArray both = R"(<Target Model="T1"/><Target Model="T2"/>)";
    const QByteArray on = R"(BuildInstaller="1")";
    const QByteArray mbr = R"(BuildInstaller="1" IncludeMBR="1")";

    const auto row = [](const char *name, const QByteArray &attributes, const QByteArray &targets,
                        const QByteArray &installers) {
        QTest::newRow(name) << attributes << targets << installers;
    };
    row("unset", "", both, "");
    row("off", R"(BuildInstaller="0")", both, "");
    row("on", on, both, one + two);
    row("on for the first", "", R"(<Target Model="T1" BuildInstaller="1"/><Target Model="T2"/>)",
        one);
    row("off for the first", on, R"(<Target Model="T1" BuildInstaller="0"/><Target Model="T2"/>)",
        two);
    row("on against the project", R"(BuildInstaller="0")",
        R"(<Target Model="T1"/><Target Model="T2" BuildInstaller="yes"/>)", two);
    // Only the first target has a boot block.
    row("boot block", mbr, both, oneWithBoot + two);
    row("boot block alone makes no installer", R"(IncludeMBR="1")", both, "");
    row("boot block off for the target", mbr,
        R"(<Target Model="T1" IncludeMBR="0"/><Target Model="T2"/>)", one + two);
    row("boot block on for the target", on,
        R"(<Target Model="T1" IncludeMBR="1"/><Target Model="T2" BuildInstaller="0"/>)",
        oneWithBoot);
    row("boot block on against the project", R"(BuildInstaller="1" IncludeMBR="0")",
        R"(<Target Model="T1" IncludeMBR="1"/><Target Model="T2"/>)", oneWithBoot + two);
}

void tst_Images::installers()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, targets);
    QFETCH(QByteArray, installers);
    World world;
    world.write("sdk/kernel/T1-boot.bin");
    world.project(demo + ' ' + attributes, targets + "<Filesystem/>");
    SAME(world.run({"-q"}).text(), report(0, pack() + linkTo("T1", "--name Demo")
                                                     + linkTo("T2", "--name Demo") + installers));
}

void tst_Images::keyFiles_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("firmware");
    QTest::addColumn<QByteArray>("installer");

    QTest::newRow("none") << QByteArray() << QByteArray() << QByteArray();
    QTest::newRow("encryption without a key")
            << QByteArray(R"(EncryptInstaller="1")") << QByteArray() << QByteArray();
    QTest::newRow("key") << QByteArray(R"(KeyFile="k")") << QByteArray("-C k ") << QByteArray();
    QTest::newRow("key, encryption off") << QByteArray(R"(KeyFile="k" EncryptInstaller="0")")
                                         << QByteArray("-C k ") << QByteArray();
    QTest::newRow("key and encryption") << QByteArray(R"(KeyFile="k" EncryptInstaller="1")")
                                        << QByteArray("-C k ") << QByteArray("-C k ");
    QTest::newRow("key of the SDK") << QByteArray(R"(KeyFile="$SDK/k" EncryptInstaller="1")")
                                    << QByteArray("-C ../sdk/k ") << QByteArray("-C ../sdk/k ");
}

void tst_Images::keyFiles()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, firmware);
    QFETCH(QByteArray, installer);
    World world;
    world.project(demo + ' ' + attributes,
                  R"(<Target Model="T1" BuildInstaller="1"/><Filesystem/>)");
    SAME(world.run({"-q"}).text(),
         report(0, pack() + linkTo("T1", firmware + "--name Demo")
                           + packInstaller(carriedFirmware("T1"))
                           + linkInstaller("T1", installer + "--name 'Demo [Installer]'")));
}

void tst_Images::refusedInstallers_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::newRow("no boot block wanted") << QByteArray(R"(BuildInstaller="1")");
    QTest::newRow("no boot block wanted, said so")
            << QByteArray(R"(BuildInstaller="1" IncludeMBR="0")");
    QTest::newRow("no boot block there") << QByteArray(R"(BuildInstaller="1" IncludeMBR="1")");
}

void tst_Images::refusedInstallers()
{
    QFETCH(QByteArray, attributes);
    World world;
    world.write("sdk/kernel/T1-boot.bin");
    world.project(demo + ' ' + attributes, "<Target Model=\"T2\"/>");
    SAME(world.run({}).text(),
         report(1, {}, "[ztmake] Refusing to build an installer that installs nothing.\n"));
    SAME(world.tree("project/obj"), "version.txt\n");
}

void tst_Images::installerWithoutFilesystem()
{
    World world;
    world.write("sdk/kernel/T1-boot.bin");
    world.project(demo + R"( Version="1" BuildInstaller="1" IncludeMBR="1" KeyFile="k"
                            EncryptInstaller="1")",
                  "<Target Model=\"T1\"/>");
    SAME(world.run({"-q"}).text(),
         report(0,
                packInstaller(carriedBoot("T1"))
                        + "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/installer.romfs"
                          " --output firmware/T1-Demo-1-install.ztf -C k"
                          " --name 'Demo [Installer]' --version 1\n"));
    SAME(world.tree("project/firmware"), "T1-Demo-1-install.ztf\n");
}

void tst_Images::bootBlockMustBeAFile()
{
    World world;
    world.makeDirectory("sdk/kernel/T1-boot.bin");
    world.link("missing", "sdk/kernel/T2-boot.bin");
    world.write("sdk/kernel/real.bin");
    world.link("real.bin", "sdk/kernel/T3-boot.bin");
    world.project(demo + R"( BuildInstaller="1" IncludeMBR="1")",
                  R"(<Target Model="T1"/><Target Model="T2"/><Target Model="T3"/><Filesystem/>)");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    const QByteArray calls = result.callText();
    SAME(calls.mid(calls.indexOf("ztmkromfs -x .svn --out")),
         packInstaller(carriedFirmware("T1")) + linkInstaller("T1")
                 + packInstaller(carriedFirmware("T2")) + linkInstaller("T2")
                 + packInstaller(carriedFirmware("T3") + carriedBoot("T3")) + linkInstaller("T3"));
}

void tst_Images::failingInstallerStopsTheNext_data()
{
    QTest::addColumn<QByteArray>("tool");
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QByteArray>("installers");
    QTest::newRow("packing") << QByteArray("ztmkromfs") << QByteArray("2 exit 5\n")
                             << packInstaller(carriedFirmware("T1"));
    QTest::newRow("linking") << QByteArray("ztlink") << QByteArray("3 exit 5\n")
                             << packInstaller(carriedFirmware("T1")) + linkInstaller("T1");
}

void tst_Images::failingInstallerStopsTheNext()
{
    QFETCH(QByteArray, tool);
    QFETCH(QByteArray, plan);
    QFETCH(QByteArray, installers);
    World world;
    world.project(demo + R"( BuildInstaller="1")",
                  R"(<Target Model="T1"/><Target Model="T2"/><Filesystem/>)");
    world.plan(tool, plan);
    SAME(world.run({"-q"}).text(),
         report(1, pack() + linkTo("T1", "--name Demo") + linkTo("T2", "--name Demo") + installers,
                "[ztmake] Command exited with status 5\n"));
    SAME(world.tree("project/firmware"), "T1-Demo-firmware.ztf\nT2-Demo-firmware.ztf\n");
}

void tst_Images::verbosityOfTheRootImage_data()
{
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<QByteArray>("filesystem");
    QTest::addColumn<QByteArray>("letters");
    QTest::addColumn<bool>("echoed");

    const auto row = [](const char *name, const char *option, const char *filesystem,
                        const char *letters, bool echo) {
        QTest::newRow(name) << QByteArray(option) << QByteArray(filesystem) << QByteArray(letters)
                            << echo;
    };
    row("default", "-R", "", "", true);
    row("quiet", "-q", "", "", false);
    row("verbose", "-v", "", "-v ", true);
    row("very verbose", "-vvv", "", "-vvv ", true);
    row("filesystem quiet", "-R", R"(Verbose="0")", "", false);
    row("filesystem quiet against -v", "-vv", R"(Verbose="0")", "", false);
    row("filesystem one against -v", "-vv", R"(Verbose="1")", "", true);
    row("filesystem verbose", "-q", R"(Verbose="3")", "-vv ", true);
    row("filesystem unset", "-vv", R"(Verbose="-1")", "-vv ", true);
    row("filesystem negative", "-vv", R"(Verbose="-7")", "-vv ", true);
}

void tst_Images::verbosityOfTheRootImage()
{
    QFETCH(QByteArray, option);
    QFETCH(QByteArray, filesystem);
    QFETCH(QByteArray, letters);
    QFETCH(bool, echoed);
    World world;
    world.write("project/root/a.lua");
    world.project(demo, "<Filesystem " + filesystem
                                + R"(><Merge Type="Directory"><Source>root</Source></Merge>
                                     <Process><Preprocess Type="Ztlpp" Enabled="0"/></Process>
                                     </Filesystem>)");
    // The compiler's calls are echoed at the image's level, too.
    const QByteArray compile = "ztluac -o obj/root/a.luo -- root/a.lua\n";
    const QByteArray image =
            "ztmkromfs " + letters
            + "-x .svn -o obj/root.romfs --label root -i root -D a.lua -i obj/root/a.luo"
              " -D /etc/version -i obj/version.txt\n";
    const QByteArray sent =
            letters.isEmpty() ? image : QByteArray(image).replace("fs -v", "fs@ -v");
    SAME(world.run({option}).text(),
         report(0, compile + sent, echoed ? echoOf(compile + image) : QByteArray()));
}

void tst_Images::verbosityOfTargetsAndInstallers_data()
{
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<bool>("linkEchoed");
    QTest::addColumn<QByteArray>("letters"); // of the installer image
    QTest::addColumn<bool>("installerEchoed");

    const auto row = [](const char *name, const char *option, const char *target, bool linkEchoed,
                        const char *letters, bool installerEchoed) {
        QTest::newRow(name) << QByteArray(option) << QByteArray(target) << linkEchoed
                            << QByteArray(letters) << installerEchoed;
    };
    row("default", "-R", "", true, "", false);
    row("quiet", "-q", "", false, "", false);
    row("verbose", "-v", "", true, "", true);
    row("very verbose", "-vv", "", true, "-v ", true);
    row("target 0", "-vv", R"(Verbose="0")", false, "", false);
    row("target 1", "-vv", R"(Verbose="1")", true, "", false);
    row("target 2", "-q", R"(Verbose="2")", true, "", true);
    row("target 3", "-q", R"(Verbose="3")", true, "-v ", true);
    row("target 4", "-q", R"(Verbose="4")", true, "-vv ", true);
    row("target unset", "-vv", R"(Verbose="-1")", true, "-v ", true);
}

void tst_Images::verbosityOfTargetsAndInstallers()
{
    QFETCH(QByteArray, option);
    QFETCH(QByteArray, target);
    QFETCH(bool, linkEchoed);
    QFETCH(QByteArray, letters);
    QFETCH(bool, installerEchoed);
    World world;
    world.project(demo, "<Target Model=\"T1\" BuildInstaller=\"1\" " + target
                                + "/><Filesystem Verbose=\"0\"/>");
    const Result result = world.run({option});
    SAME(result.callText(), pack() + linkTo("T1", "--name Demo")
                                    + packInstaller(carriedFirmware("T1"), letters)
                                    + linkInstaller("T1"));
    const QByteArray echoOfLink = linkEchoed ? echoOf(linkTo("T1", "--name Demo")) : QByteArray();
    const QByteArray echoOfInstaller =
            installerEchoed ? echoOf(packInstaller(carriedFirmware("T1"), letters)
                                     + linkInstaller("T1", "--name Demo [Installer]"))
                            : QByteArray();
    SAME(result.err, echoOfLink + echoOfInstaller);
}

void tst_Images::verbosityOfAnInstallerWithoutFilesystem()
{
    World world;
    world.write("sdk/kernel/T1-boot.bin");
    world.project(demo, R"(<Target Model="T1" BuildInstaller="1" IncludeMBR="1" Verbose="3"/>)");
    SAME(world.run({"-q"}).text(),
         report(0, packInstaller(carriedBoot("T1"), "-vv ") + linkInstaller("T1"),
                echoOf(packInstaller(carriedBoot("T1"), "-vv ")
                       + linkInstaller("T1", "--name Demo [Installer]"))));
    world.project(demo, R"(<Target Model="T1" BuildInstaller="1" IncludeMBR="1" Verbose="1"/>)");
    SAME(world.run({"-q"}).err,
         echoOf(packInstaller(carriedBoot("T1")) + linkInstaller("T1", "--name Demo [Installer]")));
}

void tst_Images::installerWithoutNameAndVersion()
{
    World world;
    world.firstSchemaProject(R"(SDK="../sdk" BuildInstaller="1")",
                             "<Target Model=\"T1\"/><Filesystem/>");
    SAME(world.run({"-q"}).text(),
         report(0,
                pack()
                        + "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/root.romfs"
                          " --output firmware/T1-firmware.ztf\n"
                        + packInstaller(" --destination /usr/share/firmware.ztf"
                                        " --in firmware/T1-firmware.ztf")
                        + "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/installer.romfs"
                          " --output firmware/T1-install.ztf\n"));
}

QTEST_GUILESS_MAIN(tst_Images)
#include "tst_images.moc"
