#include "projects.h"
#include "rows.h"

#include <QTest>

namespace {

const QByteArray oneFilesystem =
        "[ztmake] Project must contain exactly one filesystem, labelled \"root\".\n";

/// Both steps for one Lua file of a source tree.
QByteArray compiled(const QByteArray &tree, const QByteArray &name, const QByteArray &objects)
{
    return preprocess(name, tree, objects) + compile(name, objects);
}

/// A project that uses everything at once.
void writeWholeProject(World &world)
{
    world.project(
            R"(Name="Demo: A/B" Version="2.0" Svnversion="1" SDK="../sdk" KeyFile="keys/demo.key"
               BuildInstaller="1" EncryptInstaller="1" IncludeMBR="1")",
            R"(<Startup File="/usr/bin/main.lua"/>
               <Target Model="T1"/>
               <Target Model="T2" BuildInstaller="0" Verbose="2"/>
               <Target Model="T3" IncludeMBR="0"/>
               <Filesystem IncludeBase="1" Label="root">
                 <Merge Type="Directory"><Source>root</Source></Merge>
                 <Merge Type="Directory"><Source>apps</Source><Destination>/usr/apps</Destination>
                   <Process><Preprocess Type="Ztlpp" Enabled="0"/></Process></Merge>
                 <Merge Type="File"><Source>data/x.cfg</Source>
                   <Destination>/etc/x.cfg</Destination></Merge>
                 <Merge Type="Archive"><Source>$SDK/extra.romfs</Source></Merge>
               </Filesystem>
               <Translation Enabled="1" BaseDir="/usr/lib/lua"><Default>en</Default>
                 <Language>de</Language><Language>fr</Language></Translation>
               <MTD16 Enabled="1"/>)");
    for (const char *name : {"demo.mtdef", "root/bin/main.lua", "apps/a.lua", "data/x.cfg"})
        world.write(QByteArray("project/") + name);
    world.makeDirectory("project/include");
    world.makeDirectory("project/root/usr/lib/lua");
    world.write("project/root/usr/lib/lua/mtd16.lua");
    world.write("project/include/mtd16.lh", "x\n", -1);
    for (const char *model : {"T1", "T2", "T3"})
        world.write("sdk/kernel/" + QByteArray(model) + "-boot.bin");
}

/// The links of the whole project, and its installers.
QByteArray linkWhole(const QByteArray &model, const QByteArray &image, const QByteArray &kind,
                     const QByteArray &name)
{
    return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/" + image
           + ".romfs --output 'firmware/" + model + "-Demo AB-2.0#1234-" + kind
           + ".ztf' -C keys/demo.key --name '" + name + "' --version 2.0#1234\n";
}

QByteArray installer(const QByteArray &model, const QByteArray &boot = {})
{
    return "ztmkromfs -x .svn --out obj/installer.romfs --label root"
           " --merge ../sdk/kernel/install.romfs --destination /usr/share/firmware.ztf --in"
           " 'firmware/"
           + model + "-Demo AB-2.0#1234-firmware.ztf'" + boot + '\n'
           + linkWhole(model, "installer", "install", "Demo: A/B [Installer]");
}

} // namespace

class TestPipeline : public QObject
{
    Q_OBJECT

private slots:
    void wholeBuild()
    {
        World world;
        writeWholeProject(world);
        // The file system decides which of the two directories of the root tree comes first.
        QByteArrayList modules{"bin/main", "usr/lib/lua/mtd16"};
        if (world.entries("project/root").first() != "bin")
            modules.swapItemsAt(0, 1);
        QByteArray compilations;
        QByteArray sources;
        QByteArray objects;
        for (const QByteArray &name : modules) {
            compilations += compiled("root", name, "root");
            sources += " ../root/" + name + ".lua";
            objects += "-D " + name + ".lua -i obj/root/" + name + ".luo ";
        }
        const QByteArray update = "(in $W/project/translations) ztlupdate --xml-report"
                                  " ../obj/translations/report.xml -B ";
        const QByteArray languages = " --source-language en --target-language de --ts de.ts"
                                     " --target-language fr --ts fr.ts";
        const QByteArray release = "lrelease -removeidentical -nounfinished -silent translations/";
        QByteArray calls = "svnversion ''\nztmkmtd --header include/mtd16.lh demo.mtdef\n";
        calls += compilations + "ztluac -o obj/root01/a.luo -- apps/a.lua\n";
        calls += update + "../root/usr/lib/lua" + languages + sources + '\n';
        calls += update + "../apps/usr/lib/lua" + languages + " ../apps/a.lua\n";
        calls += release + "de.ts -qm obj/translations/de.qm\n";
        calls += release + "fr.ts -qm obj/translations/fr.qm\n";
        calls += pack("--merge ../sdk/kernel/base.romfs -i root " + objects
                      + "-D /usr/apps -i apps -D a.lua -i obj/root01/a.luo"
                        " -D /etc/x.cfg -i data/x.cfg -D / --merge ../sdk/extra.romfs"
                        " -D usr/lib/translations/de.qm -i obj/translations/de.qm"
                        " -D usr/lib/translations/fr.qm -i obj/translations/fr.qm ");
        calls.chop(1);
        calls += " -D /etc/autoexec.lua -i obj/autoexec.lua\n";
        for (const char *model : {"T1", "T2", "T3"})
            calls += linkWhole(model, "root", "firmware", "Demo: A/B");
        calls += installer("T1", " --destination /usr/share/mbr.bin"
                                 " --in ../sdk/kernel/T1-boot.bin")
                 + installer("T3");
        // One target wants to be heard.
        const QByteArray echo = linkWhole("T2", "root", "firmware", "Demo: A/B").replace('\'', "");
        SAME(direct(world.run({"-q"})).text(), report(0, calls, "[ztmake] " + echo));
        const QByteArray stem = "-Demo AB-2.0#1234-";
        SAME(world.tree("project/firmware"),
             "T1" + stem + "firmware.ztf\nT1" + stem + "install.ztf\nT2" + stem + "firmware.ztf\nT3"
                     + stem + "firmware.ztf\nT3" + stem + "install.ztf\n");
        SAME(world.tree("project/obj"),
             "autoexec.lua\ninstaller.romfs\nroot/\nroot/bin/\nroot/bin/main.lui\n"
             "root/bin/main.luo\nroot/usr/\nroot/usr/lib/\nroot/usr/lib/lua/\n"
             "root/usr/lib/lua/mtd16.lui\nroot/usr/lib/lua/mtd16.luo\nroot01/\nroot01/a.luo\n"
             "root02/\ntranslations/\ntranslations/de.qm\ntranslations/fr.qm\n"
             "translations/report.xml\nversion.txt\n");
    }

    void secondBuildPacksAndLinksAgain()
    {
        World world(demo, "<Target Model=\"T1\"/>" + tree());
        world.write("project/root/a.lua");
        const QByteArray images = pack("-i root -D a.lua -i obj/root/a.luo ") + linkTo("T1");
        SAME(world.run({"-q"}).text(), report(0, compiled("root", "a", "root") + images));
        SAME(world.run({"-q"}).text(), report(0, images));
        SAME(world.run({"-q", "-A"}).text(), report(0, compiled("root", "a", "root") + images));
    }

    void destinationsAreGivenWhenTheyChange_data()
    {
        Rows<QByteArray, QByteArray> row; // merges, arguments
        row("none at first", merge("File", "a"), "-i a ");
        row("none twice", merge("File", "a") + merge("File", "b"), "-i a -i b ");
        row("root at first", merge("File", "a", "/"), "-D / -i a ");
        row("two alike", merge("File", "a", "/x") + merge("File", "b", "/x"), "-D /x -i a -i b ");
        row("none after one", merge("File", "a", "/x") + merge("File", "b"),
            "-D /x -i a -D / -i b ");
        row("back again",
            merge("File", "a", "/x") + merge("File", "b", "/y") + merge("File", "c", "/x"),
            "-D /x -i a -D /y -i b -D /x -i c ");
        row("root after none", merge("File", "a") + merge("File", "b", "/"), "-i a -D / -i b ");
        row("none after root", merge("File", "a", "/") + merge("File", "b"),
            "-D / -i a -D / -i b ");
        row("archives count",
            merge("File", "a", "/x") + merge("Archive", "b", "/x") + merge("Archive", "c", "/y"),
            "-D /x -i a --merge b -D /y --merge c ");
        row("as written", merge("File", "a", " x/../y "), "-D ' x/../y ' -i a ");
    }
    void destinationsAreGivenWhenTheyChange()
    {
        const auto [merges, arguments] = fetch<QByteArray, QByteArray>();
        World world(demo, filesystem(merges));
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(direct(result).callText(), pack(arguments));
    }

    void compiledEntriesAreCounted()
    {
        World world;
        QByteArray merges;
        QByteArray calls;
        QByteArray arguments;
        for (int i = 0; i < 12; ++i) {
            const QByteArray tree = 't' + QByteArray::number(i);
            const QByteArray objects =
                    i == 0 ? QByteArray("root")
                           : "root" + QByteArray::number(i).rightJustified(2, '0');
            if (i % 5 == 3) { // an archive is not counted, a file or a missing directory is
                merges += merge("Archive", "x");
                arguments += "--merge x ";
            }
            if (i == 4 || i == 5) {
                merges += merge(i == 4 ? "File" : "Directory", "missing");
                arguments += "-i missing ";
                continue;
            }
            merges += merge("Directory", tree);
            world.write("project/" + tree + "/a.lua");
            calls += compiled(tree, "a", objects);
            arguments += "-i " + tree + " -D a.lua -i obj/" + objects + "/a.luo ";
        }
        world.project(demo, filesystem(merges));
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(direct(result).callText(), calls + pack(arguments));
        QVERIFY(calls.contains(" obj/root/a.luo ") && calls.contains(" obj/root03/")
                && calls.contains(" obj/root06/") && calls.contains(" obj/root11/"));
    }

    void compiledObjectsFollowTheirEntry()
    {
        World world(demo, "<Filesystem>" + merge("Directory", "a", "/x")
                                  + merge("Directory", "b", "/x") + merge("File", "c", "/y")
                                  + "</Filesystem>");
        world.write("project/a/sub/m.lua");
        world.write("project/b/n.lua");
        const Result result = world.run({"-q"});
        SAME(direct(result).callText(),
             compiled("a", "sub/m", "root") + compiled("b", "n", "root01")
                     + pack("-D /x -i a -D sub/m.lua -i obj/root/sub/m.luo -i b -D n.lua"
                            " -i obj/root01/n.luo -D /y -i c "));
    }

    void processingOptionsAreLayered_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, QByteArray>
                row; // project, filesystem, entry, calls

        const auto preprocess = [](const char *attributes) {
            return "<Preprocess Type=\"Ztlpp\" " + QByteArray(attributes) + "/>";
        };
        const auto compile = [](const char *attributes) {
            return "<Compile Type=\"Lua\" " + QByteArray(attributes) + "/>";
        };
        const auto include = [](const char *name) {
            return "<Preprocess Type=\"Ztlpp\"><Include>" + QByteArray(name)
                   + "</Include></Preprocess>";
        };
        const auto lpp = [](const QByteArray &options) {
            return "ztlpp " + options + "--out obj/root/m.lui --root a -- a/m.lua\n";
        };
        const QByteArray luac = "ztluac -o obj/root/m.luo -- obj/root/m.lui\n";
        const QByteArray stripped = "ztluac -s -o obj/root/m.luo -- obj/root/m.lui\n";
        const QByteArray none;
        const QByteArray sdk = "-I ../sdk/usr/include ";

        row("nothing set", none, none, none, lpp("--strip --trim " + sdk) + luac);
        row("project", preprocess("RemoveComments=\"0\"") + compile("Strip=\"1\""), none, none,
            lpp("--trim " + sdk) + stripped);
        row("filesystem over project",
            preprocess("RemoveComments=\"0\" SimplifyWhitespace=\"0\"") + compile("Strip=\"1\""),
            preprocess("RemoveComments=\"1\"") + compile("Strip=\"0\""), none,
            lpp("--strip " + sdk) + luac);
        row("entry over filesystem over project",
            preprocess("RemoveComments=\"0\" SimplifyWhitespace=\"1\""),
            preprocess("RemoveComments=\"1\" SimplifyWhitespace=\"0\"") + compile("Strip=\"0\""),
            preprocess("RemoveComments=\"0\"") + compile("Strip=\"1\""), lpp(sdk) + stripped);
        row("unset does not override", preprocess("SimplifyWhitespace=\"0\""),
            compile("Strip=\"1\""), preprocess("") + compile(""), lpp("--strip " + sdk) + stripped);
        row("off and on again", preprocess("Enabled=\"0\"") + compile("Enabled=\"0\""), none,
            preprocess("Enabled=\"1\"") + compile("Enabled=\"1\""),
            lpp("--strip --trim " + sdk) + luac);
        row("preprocessing off for the entry", none, preprocess("Enabled=\"1\""),
            preprocess("Enabled=\"0\""), "ztluac -o obj/root/m.luo -- a/m.lua\n");
        row("compiling off for the filesystem", compile("Enabled=\"1\""), compile("Enabled=\"0\""),
            none, lpp("--strip --trim " + sdk));
        row("includes add up", include("p"), include("f"), include("e"),
            lpp("--strip --trim " + sdk + "-I p -I f -I e ") + luac);
        row("includes are not unified", include("x"), include("x"), none,
            lpp("--strip --trim " + sdk + "-I x -I x ") + luac);
        row("strict changes nothing", compile("Strict=\"1\""), none, compile("Strict=\"1\""),
            lpp("--strip --trim " + sdk) + luac);
    }
    void processingOptionsAreLayered()
    {
        const auto [project, filesystem, entry, calls] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        World world;
        world.write("project/a/m.lua");
        world.write("project/b/m.lua");
        world.project(demo, "<Process>" + project + "</Process><Filesystem><Process>" + filesystem
                                    + "</Process>" + merge("Directory", "a", {}, entry)
                                    + "</Filesystem>");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        const QByteArray all = direct(result).callText();
        SAME(all.left(all.indexOf("ztmkromfs")), calls);

        // An entry's options end with it.
        world.project(demo, "<Process>" + project + "</Process><Filesystem><Process>" + filesystem
                                    + "</Process>"
                                    + merge("Directory", "b", {},
                                            "<Compile Type=\"Lua\" Strip=\"1\"/>"
                                            "<Preprocess Type=\"Ztlpp\">"
                                            "<Include>of b</Include></Preprocess>")
                                    + merge("Directory", "a", {}, entry) + "</Filesystem>");
        const QByteArray both = direct(world.run({"-q", "-A"})).callText();
        const qsizetype second =
                both.indexOf(calls.left(calls.indexOf(" obj/root/")) + " obj/root01/");
        QVERIFY2(second >= 0, both.constData());
        SAME(both.mid(second, both.indexOf("ztmkromfs") - second),
             QByteArray(calls).replace("obj/root/", "obj/root01/"));
    }

    void filesystemIsTheOneNamedRoot_data()
    {
        Rows<QByteArray, bool> row; // filesystems, accepted
        row("no label", "<Filesystem/>", true);
        row("empty label", "<Filesystem Label=\"\"/>", true);
        row("root", "<Filesystem Label=\"root\"/>", true);
        row("other capitals", "<Filesystem Label=\"Root\"/>", false);
        row("blank", "<Filesystem Label=\" root\"/>", false);
        row("other label", "<Filesystem Label=\"data\"/>", false);
        row("two", "<Filesystem/><Filesystem/>", false);
        row("two, one of them root", "<Filesystem Label=\"root\"/><Filesystem Label=\"data\"/>",
            false);
    }
    void filesystemIsTheOneNamedRoot()
    {
        const auto [filesystems, accepted] = fetch<QByteArray, bool>();
        World world;
        world.write("project/obj/root.romfs");
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.project(demo + R"( Svnversion="1")", filesystems);
        SAME(world.run({"-q"}).text(), accepted ? report(0, "svnversion ''\n" + pack({}))
                                                : report(1, "svnversion ''\n", oneFilesystem));
        if (!accepted)
            SAME(world.tree("project"), "demo.ztp\nfirmware/\nfirmware/T1-Demo-firmware.ztf\nobj/\n"
                                        "obj/root.romfs\n");
    }

    void projectWithoutFilesystem()
    {
        World world;
        world.write("project/obj/root.romfs");
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.project(demo + R"( Version="3")", "<Startup File=\"a.lua\"/><Target Model=\"T1\"/>");
        SAME(world.run({}).text(), report(0, {}));
        SAME(world.tree("project"),
             "demo.ztp\nfirmware/\nobj/\nobj/autoexec.lua\nobj/version.txt\n");
        SAME(world.read("project/obj/version.txt"), "3\n");
    }
};

QTEST_GUILESS_MAIN(TestPipeline)
#include "tst_pipeline.moc"
