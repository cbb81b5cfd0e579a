#include "projects.h"
#include "rows.h"

namespace {

// What no tool tells from more.
const QByteArray tooManyLetters = "-" + QByteArray(1'000, 'v') + " ";

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

/// The same as it is announced.
const QByteArray shownInstaller = linkInstaller("T1", "--name Demo [Installer]");

} // namespace

class TestImages : public QObject
{
    Q_OBJECT

private slots:
    void installers_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // attributes, targets, installers
        const QByteArray one = packInstaller(carriedFirmware("T1")) + linkInstaller("T1");
        const QByteArray two = packInstaller(carriedFirmware("T2")) + linkInstaller("T2");
        const QByteArray oneWithBoot =
                packInstaller(carriedFirmware("T1") + carriedBoot("T1")) + linkInstaller("T1");
        const QByteArray both = R"(<Target Model="T1"/><Target Model="T2"/>)";
        const QByteArray on = R"(BuildInstaller="1")";
        const QByteArray mbr = R"(BuildInstaller="1" IncludeMBR="1")";
        row("unset", "", both, "");
        row("off", R"(BuildInstaller="0")", both, "");
        row("on", on, both, one + two);
        row("on for the first", "",
            R"(<Target Model="T1" BuildInstaller="1"/><Target Model="T2"/>)", one);
        row("off for the first", on,
            R"(<Target Model="T1" BuildInstaller="0"/><Target Model="T2"/>)", two);
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
    void installers()
    {
        const auto [attributes, targets, installers] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        world.write("sdk/kernel/T1-boot.bin");
        world.project(demo + ' ' + attributes, targets + "<Filesystem/>");
        SAME(world.run({"-q"}).text(),
             report(0, pack() + linkTo("T1") + linkTo("T2") + installers));
    }

    void keyFiles_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // attributes, firmware, installer
        row("none", {}, {}, {});
        row("encryption without a key", R"(EncryptInstaller="1")", {}, {});
        row("key", R"(KeyFile="k")", "-C k ", {});
        row("key, encryption off", R"(KeyFile="k" EncryptInstaller="0")", "-C k ", {});
        row("key and encryption", R"(KeyFile="k" EncryptInstaller="1")", "-C k ", "-C k ");
        row("key of the SDK", R"(KeyFile="$SDK/k" EncryptInstaller="1")", "-C ../sdk/k ",
            "-C ../sdk/k ");
    }
    void keyFiles()
    {
        const auto [attributes, firmware, installer] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(demo + ' ' + attributes,
                    R"(<Target Model="T1" BuildInstaller="1"/><Filesystem/>)");
        SAME(world.run({"-q"}).text(),
             report(0, pack() + linkTo("T1", firmware + "--name Demo")
                               + packInstaller(carriedFirmware("T1"))
                               + linkInstaller("T1", installer + "--name 'Demo [Installer]'")));
    }

    void refusedInstallers_data()
    {
        Rows<QByteArray> row; // attributes
        row("no boot block wanted", R"(BuildInstaller="1")");
        row("no boot block wanted, said so", R"(BuildInstaller="1" IncludeMBR="0")");
        row("no boot block there", R"(BuildInstaller="1" IncludeMBR="1")");
    }
    void refusedInstallers()
    {
        const auto [attributes] = fetch<QByteArray>();
        World world;
        world.write("sdk/kernel/T1-boot.bin");
        world.project(demo + ' ' + attributes, "<Target Model=\"T2\"/>");
        SAME(world.run({}).text(),
             report(1, {}, "[ztmake] Refusing to build an installer that installs nothing.\n"));
        SAME(world.tree("project/obj"), "version.txt\n");
    }

    void installerWithoutFilesystem()
    {
        World world;
        world.write("sdk/kernel/T1-boot.bin");
        world.project(demo + R"( Version="1" BuildInstaller="1" IncludeMBR="1" KeyFile="k"
                                 EncryptInstaller="1")",
                      "<Target Model=\"T1\"/>");
        SAME(world.run({"-q"}).text(),
             report(0, packInstaller(carriedBoot("T1"))
                               + linkInstaller("T1", "-C k --name 'Demo [Installer]' --version 1")
                                         .replace("Demo-install", "Demo-1-install")));
        SAME(world.tree("project/firmware"), "T1-Demo-1-install.ztf\n");
    }

    void bootBlockMustBeAFile()
    {
        World world;
        world.makeDirectory("sdk/kernel/T1-boot.bin");
        world.link("missing", "sdk/kernel/T2-boot.bin");
        world.write("sdk/kernel/real.bin");
        world.link("real.bin", "sdk/kernel/T3-boot.bin");
        world.project(
                demo + R"( BuildInstaller="1" IncludeMBR="1")",
                R"(<Target Model="T1"/><Target Model="T2"/><Target Model="T3"/><Filesystem/>)");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        const QByteArray calls = result.callText();
        SAME(calls.mid(calls.indexOf("ztmkromfs -x .svn --out")),
             packInstaller(carriedFirmware("T1")) + linkInstaller("T1")
                     + packInstaller(carriedFirmware("T2")) + linkInstaller("T2")
                     + packInstaller(carriedFirmware("T3") + carriedBoot("T3"))
                     + linkInstaller("T3"));
    }

    void failingInstallerStopsTheNext_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // tool, plan, installers
        row("packing", "ztmkromfs", "2 exit 5\n", packInstaller(carriedFirmware("T1")));
        row("linking", "ztlink", "3 exit 5\n",
            packInstaller(carriedFirmware("T1")) + linkInstaller("T1"));
    }
    void failingInstallerStopsTheNext()
    {
        const auto [tool, plan, installers] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(demo + R"( BuildInstaller="1")",
                    R"(<Target Model="T1"/><Target Model="T2"/><Filesystem/>)");
        world.plan(tool, plan);
        SAME(world.run({"-q"}).text(), report(1, pack() + linkTo("T1") + linkTo("T2") + installers,
                                              "[ztmake] Command exited with status 5\n"));
        SAME(world.tree("project/firmware"), "T1-Demo-firmware.ztf\nT2-Demo-firmware.ztf\n");
    }

    void verbosityOfTheRootImage_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, bool> row; // option, filesystem, letters, echoed
        row("default", "-R", "", "", true);
        row("quiet", "-q", "", "", false);
        row("verbose", "-v", "", "-v ", true);
        row("very verbose", "-vvv", "", "-vvv ", true);
        row("filesystem quiet", "-R", R"(Verbose="0")", "", false);
        row("filesystem quiet against -v", "-vv", R"(Verbose="0")", "", false);
        row("filesystem one against -v", "-vv", R"(Verbose="1")", "", true);
        row("filesystem verbose", "-q", R"(Verbose="3")", "-vv ", true);
        row("filesystem beyond all measure", "-q", R"(Verbose="2000000000")", tooManyLetters, true);
        row("filesystem unset", "-vv", R"(Verbose="-1")", "-vv ", true);
        row("filesystem negative", "-vv", R"(Verbose="-7")", "-vv ", true);
    }
    void verbosityOfTheRootImage()
    {
        const auto [option, filesystem, letters, echoed] =
                fetch<QByteArray, QByteArray, QByteArray, bool>();
        World world;
        world.write("project/root/a.lua");
        world.project(demo, "<Filesystem " + filesystem + '>' + merge("Directory", "root")
                                    + process(noPreprocess) + "</Filesystem>");
        // The compiler's calls are echoed at the image's level, too.
        const QByteArray compilation = "ztluac -o obj/root/a.luo -- root/a.lua\n";
        const QByteArray calls = compilation + pack("-i root -D a.lua -i obj/root/a.luo ", letters);
        SAME(direct(world.run({option})).text(),
             report(0, calls, echoed ? echoOf(calls) : QByteArray()));
    }

    void verbosityOfTargetsAndInstallers_data()
    {
        // option, target, whether the link is echoed, letters of the installer image, whether
        // that is echoed
        Rows<QByteArray, QByteArray, bool, QByteArray, bool> row;
        row("default", "-R", "", true, "", false);
        row("quiet", "-q", "", false, "", false);
        row("verbose", "-v", "", true, "", true);
        row("very verbose", "-vv", "", true, "-v ", true);
        row("target 0", "-vv", R"(Verbose="0")", false, "", false);
        row("target 1", "-vv", R"(Verbose="1")", true, "", false);
        row("target 2", "-q", R"(Verbose="2")", true, "", true);
        row("target 3", "-q", R"(Verbose="3")", true, "-v ", true);
        row("target 4", "-q", R"(Verbose="4")", true, "-vv ", true);
        row("target beyond all measure", "-q", R"(Verbose="2000000000")", true, tooManyLetters,
            true);
        row("target unset", "-vv", R"(Verbose="-1")", true, "-v ", true);
    }
    void verbosityOfTargetsAndInstallers()
    {
        const auto [option, target, linkEchoed, letters, installerEchoed] =
                fetch<QByteArray, QByteArray, bool, QByteArray, bool>();
        World world(demo, "<Target Model=\"T1\" BuildInstaller=\"1\" " + target
                                  + "/><Filesystem Verbose=\"0\"/>");
        const QByteArray image = packInstaller(carriedFirmware("T1"), letters);
        SAME(world.run({option}).text(),
             report(0, pack() + linkTo("T1") + image + linkInstaller("T1"),
                    (linkEchoed ? echoOf(linkTo("T1")) : "")
                            + (installerEchoed ? echoOf(image + shownInstaller) : "")));
    }

    void verbosityOfAnInstallerWithoutFilesystem()
    {
        World world;
        world.write("sdk/kernel/T1-boot.bin");
        for (const auto &[level, letters] : {std::pair{"1", ""}, {"3", "-vv "}}) {
            world.project(demo + " BuildInstaller=\"1\" IncludeMBR=\"1\"",
                          "<Target Model=\"T1\" Verbose=\"" + QByteArray(level) + "\"/>");
            const QByteArray image = packInstaller(carriedBoot("T1"), letters);
            SAME(world.run({"-q"}).text(),
                 report(0, image + linkInstaller("T1"), echoOf(image + shownInstaller)));
        }
    }

    void installerWithoutNameAndVersion()
    {
        World world;
        world.firstSchemaProject(R"(SDK="../sdk" BuildInstaller="1")", minimal);
        SAME(world.run({"-q"}).text(),
             report(0,
                    pack() + linkTo("T1", {}, "T1")
                            + packInstaller(carriedFirmware("T1")).replace("-Demo", "")
                            + linkInstaller("T1", {}).replace("-Demo", "").replace(" \n", "\n")));
    }
};

QTEST_GUILESS_MAIN(TestImages)
#include "tst_images.moc"
