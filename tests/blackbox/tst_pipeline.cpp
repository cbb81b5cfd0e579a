#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray oneFilesystem =
        "[ztmake] Project must contain exactly one filesystem, labelled \"root\".\n";

QByteArray merge(const QByteArray &type, const QByteArray &source,
                 const QByteArray &destination = {}, const QByteArray &process = {})
{
    return "<Merge Type=\"" + type + "\"><Source>" + source + "</Source><Destination>" + destination
           + "</Destination><Process>" + process + "</Process></Merge>\n";
}

QByteArray pack(const QByteArray &merges)
{
    return "ztmkromfs -x .svn -o obj/root.romfs --label root " + merges
           + "-D /etc/version -i obj/version.txt\n";
}

/// Both steps for one Lua file of a source tree.
QByteArray compiled(const QByteArray &tree, const QByteArray &name, const QByteArray &objects)
{
    return "ztlpp --strip --trim -I ../sdk/usr/include --out obj/" + objects + '/' + name
           + ".lui --root " + tree + " -- " + tree + '/' + name + ".lua\nztluac -o obj/" + objects
           + '/' + name + ".luo -- obj/" + objects + '/' + name + ".lui\n";
}

/// Response files are the tool runner's matter; here they would only blur the calls.
QByteArray callsOf(Result result)
{
    for (Call &call : result.calls)
        call.responseFile.clear();
    return result.callText();
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

} // namespace

class tst_Pipeline : public QObject
{
    Q_OBJECT

private slots:
    void wholeBuild();
    void secondBuildPacksAndLinksAgain();
    void destinationsAreGivenWhenTheyChange_data();
    void destinationsAreGivenWhenTheyChange();
    void compiledEntriesAreCounted();
    void compiledObjectsFollowTheirEntry();
    void processingOptionsAreLayered_data();
    void processingOptionsAreLayered();
    void filesystemIsTheOneNamedRoot_data();
    void filesystemIsTheOneNamedRoot();
    void projectWithoutFilesystem();
};

void tst_Pipeline::wholeBuild()
{
    World world;
    writeWholeProject(world);
    // The file system decides which of the two directories of the root tree comes first.
    const QByteArray bin = "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/bin/main.lui"
                           " --root root -- root/bin/main.lua\n"
                           "ztluac -o obj/root/bin/main.luo -- obj/root/bin/main.lui\n";
    const QByteArray usr =
            "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/usr/lib/lua/mtd16.lui"
            " --root root -- root/usr/lib/lua/mtd16.lua\n"
            "ztluac -o obj/root/usr/lib/lua/mtd16.luo -- obj/root/usr/lib/lua/mtd16.lui\n";
    const bool binFirst = world.entries("project/root").first() == "bin";
    const QByteArray binPair = "-D bin/main.lua -i obj/root/bin/main.luo ";
    const QByteArray usrPair = "-D usr/lib/lua/mtd16.lua -i obj/root/usr/lib/lua/mtd16.luo ";
    const QByteArray binSource = "../root/bin/main.lua";
    const QByteArray usrSource = "../root/usr/lib/lua/mtd16.lua";
    const QByteArray installer = "--label root --merge ../sdk/kernel/install.romfs"
                                 " --destination /usr/share/firmware.ztf --in ";

    const QByteArray update = "(in $W/project/translations) ztlupdate --xml-report"
                              " ../obj/translations/report.xml -B ";
    const QByteArray languages = " --source-language en --target-language de --ts de.ts"
                                 " --target-language fr --ts fr.ts ";
    const QByteArray release = "lrelease -removeidentical -nounfinished -silent ";
    SAME(callsOf(world.run({"-q"})),
         "svnversion ''\n"
         "ztmkmtd --header include/mtd16.lh demo.mtdef\n"
                 + (binFirst ? bin + usr : usr + bin)
                 + "ztluac -o obj/root01/a.luo -- apps/a.lua\n" //
                 + update + "../root/usr/lib/lua" + languages
                 + (binFirst ? binSource + ' ' + usrSource : usrSource + ' ' + binSource) + '\n'
                 + update + "../apps/usr/lib/lua" + languages + "../apps/a.lua\n" //
                 + release + "translations/de.ts -qm obj/translations/de.qm\n"    //
                 + release + "translations/fr.ts -qm obj/translations/fr.qm\n"
                 + "ztmkromfs -x .svn -o obj/root.romfs --label root"
                   " --merge ../sdk/kernel/base.romfs -i root "
                 + (binFirst ? binPair + usrPair : usrPair + binPair)
                 + "-D /usr/apps -i apps -D a.lua -i obj/root01/a.luo -D /etc/x.cfg -i data/x.cfg"
                   " -D / --merge ../sdk/extra.romfs"
                   " -D usr/lib/translations/de.qm -i obj/translations/de.qm"
                   " -D usr/lib/translations/fr.qm -i obj/translations/fr.qm"
                   " -D /etc/version -i obj/version.txt -D /etc/autoexec.lua -i obj/autoexec.lua\n"
                   "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/root.romfs"
                   " --output 'firmware/T1-Demo AB-2.0#1234-firmware.ztf' -C keys/demo.key"
                   " --name 'Demo: A/B' --version 2.0#1234\n"
                   "ztlink --kernel ../sdk/kernel/T2-kernel.bin --data obj/root.romfs"
                   " --output 'firmware/T2-Demo AB-2.0#1234-firmware.ztf' -C keys/demo.key"
                   " --name 'Demo: A/B' --version 2.0#1234\n"
                   "ztlink --kernel ../sdk/kernel/T3-kernel.bin --data obj/root.romfs"
                   " --output 'firmware/T3-Demo AB-2.0#1234-firmware.ztf' -C keys/demo.key"
                   " --name 'Demo: A/B' --version 2.0#1234\n"
                   "ztmkromfs -x .svn --out obj/installer.romfs "
                 + installer
                 + "'firmware/T1-Demo AB-2.0#1234-firmware.ztf'"
                   " --destination /usr/share/mbr.bin --in ../sdk/kernel/T1-boot.bin\n"
                   "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/installer.romfs"
                   " --output 'firmware/T1-Demo AB-2.0#1234-install.ztf' -C keys/demo.key"
                   " --name 'Demo: A/B [Installer]' --version 2.0#1234\n"
                   "ztmkromfs -x .svn --out obj/installer.romfs "
                 + installer
                 + "'firmware/T3-Demo AB-2.0#1234-firmware.ztf'\n"
                   "ztlink --kernel ../sdk/kernel/T3-kernel.bin --data obj/installer.romfs"
                   " --output 'firmware/T3-Demo AB-2.0#1234-install.ztf' -C keys/demo.key"
                   " --name 'Demo: A/B [Installer]' --version 2.0#1234\n");
    SAME(world.tree("project/firmware"),
         "T1-Demo AB-2.0#1234-firmware.ztf\nT1-Demo AB-2.0#1234-install.ztf\n"
         "T2-Demo AB-2.0#1234-firmware.ztf\n"
         "T3-Demo AB-2.0#1234-firmware.ztf\nT3-Demo AB-2.0#1234-install.ztf\n");
    SAME(world.tree("project/obj"),
         "autoexec.lua\ninstaller.romfs\nroot/\nroot/bin/\nroot/bin/main.lui\nroot/bin/main.luo\n"
         "root/usr/\nroot/usr/lib/\nroot/usr/lib/lua/\nroot/usr/lib/lua/mtd16.lui\n"
         "root/usr/lib/lua/mtd16.luo\nroot01/\nroot01/a.luo\nroot02/\ntranslations/\n"
         "translations/de.qm\ntranslations/fr.qm\ntranslations/report.xml\nversion.txt\n");
}

void tst_Pipeline::secondBuildPacksAndLinksAgain()
{
    World world;
    world.project(demo, "<Target Model=\"T1\"/><Filesystem>" + merge("Directory", "root")
                                + "</Filesystem>");
    world.write("project/root/a.lua");
    const QByteArray images = pack("-i root -D a.lua -i obj/root/a.luo ")
                              + "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/root.romfs"
                                " --output firmware/T1-Demo-firmware.ztf --name Demo\n";
    SAME(world.run({"-q"}).text(), report(0, compiled("root", "a", "root") + images));
    SAME(world.run({"-q"}).text(), report(0, images));
    SAME(world.run({"-q", "-A"}).text(), report(0, compiled("root", "a", "root") + images));
}

void tst_Pipeline::destinationsAreGivenWhenTheyChange_data()
{
    QTest::addColumn<QByteArray>("merges");
    QTest::addColumn<QByteArray>("arguments");

    QTest::newRow("none at first") << merge("File", "a") << QByteArray("-i a ");
    QTest::newRow("none twice") << merge("File", "a") + merge("File", "b")
                                << QByteArray("-i a -i b ");
    QTest::newRow("root at first") << merge("File", "a", "/") << QByteArray("-D / -i a ");
    QTest::newRow("two alike") << merge("File", "a", "/x") + merge("File", "b", "/x")
                               << QByteArray("-D /x -i a -i b ");
    QTest::newRow("none after one")
            << merge("File", "a", "/x") + merge("File", "b") << QByteArray("-D /x -i a -D / -i b ");
    QTest::newRow("back again") << merge("File", "a", "/x") + merge("File", "b", "/y")
                                           + merge("File", "c", "/x")
                                << QByteArray("-D /x -i a -D /y -i b -D /x -i c ");
    QTest::newRow("root after none")
            << merge("File", "a") + merge("File", "b", "/") << QByteArray("-i a -D / -i b ");
    QTest::newRow("none after root")
            << merge("File", "a", "/") + merge("File", "b") << QByteArray("-D / -i a -D / -i b ");
    QTest::newRow("archives count")
            << merge("File", "a", "/x") + merge("Archive", "b", "/x") + merge("Archive", "c", "/y")
            << QByteArray("-D /x -i a --merge b -D /y --merge c ");
    QTest::newRow("as written") << merge("File", "a", " x/../y ")
                                << QByteArray("-D ' x/../y ' -i a ");
}

void tst_Pipeline::destinationsAreGivenWhenTheyChange()
{
    QFETCH(QByteArray, merges);
    QFETCH(QByteArray, arguments);
    World world;
    world.project(demo, "<Filesystem>" + merges + "</Filesystem>");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(callsOf(result), pack(arguments));
}

void tst_Pipeline::compiledEntriesAreCounted()
{
    World world;
    QByteArray merges;
    QByteArray calls;
    QByteArray arguments;
    for (int i = 0; i < 12; ++i) {
        const QByteArray tree = 't' + QByteArray::number(i);
        const QByteArray objects =
                i == 0 ? QByteArray("root") : "root" + QByteArray::number(i).rightJustified(2, '0');
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
    world.project(demo, "<Filesystem>" + merges + "</Filesystem>");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(callsOf(result), calls + pack(arguments));
    QVERIFY(calls.contains(" obj/root/a.luo ") && calls.contains(" obj/root03/")
            && calls.contains(" obj/root06/") && calls.contains(" obj/root11/"));
}

void tst_Pipeline::compiledObjectsFollowTheirEntry()
{
    World world;
    world.project(demo, "<Filesystem>" + merge("Directory", "a", "/x")
                                + merge("Directory", "b", "/x") + merge("File", "c", "/y")
                                + "</Filesystem>");
    world.write("project/a/sub/m.lua");
    world.write("project/b/n.lua");
    const Result result = world.run({"-q"});
    SAME(callsOf(result),
         compiled("a", "sub/m", "root") + compiled("b", "n", "root01")
                 + pack("-D /x -i a -D sub/m.lua -i obj/root/sub/m.luo -i b -D n.lua"
                        " -i obj/root01/n.luo -D /y -i c "));
}

void tst_Pipeline::processingOptionsAreLayered_data()
{
    QTest::addColumn<QByteArray>("project");
    QTest::addColumn<QByteArray>("filesystem");
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QByteArray>("calls");

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

    QTest::newRow("nothing set") << none << none << none << lpp("--strip --trim " + sdk) + luac;
    QTest::newRow("project") << preprocess("RemoveComments=\"0\"") + compile("Strip=\"1\"") << none
                             << none << lpp("--trim " + sdk) + stripped;
    QTest::newRow("filesystem over project")
            << preprocess("RemoveComments=\"0\" SimplifyWhitespace=\"0\"") + compile("Strip=\"1\"")
            << preprocess("RemoveComments=\"1\"") + compile("Strip=\"0\"") << none
            << lpp("--strip " + sdk) + luac;
    QTest::newRow("entry over filesystem over project")
            << preprocess("RemoveComments=\"0\" SimplifyWhitespace=\"1\"")
            << preprocess("RemoveComments=\"1\" SimplifyWhitespace=\"0\"") + compile("Strip=\"0\"")
            << preprocess("RemoveComments=\"0\"") + compile("Strip=\"1\"") << lpp(sdk) + stripped;
    QTest::newRow("unset does not override")
            << preprocess("SimplifyWhitespace=\"0\"") << compile("Strip=\"1\"")
            << preprocess("") + compile("") << lpp("--strip " + sdk) + stripped;
    QTest::newRow("off and on again")
            << preprocess("Enabled=\"0\"") + compile("Enabled=\"0\"") << none
            << preprocess("Enabled=\"1\"") + compile("Enabled=\"1\"")
            << lpp("--strip --trim " + sdk) + luac;
    QTest::newRow("preprocessing off for the entry")
            << none << preprocess("Enabled=\"1\"") << preprocess("Enabled=\"0\"")
            << QByteArray("ztluac -o obj/root/m.luo -- a/m.lua\n");
    QTest::newRow("compiling off for the filesystem")
            << compile("Enabled=\"1\"") << compile("Enabled=\"0\"") << none
            << lpp("--strip --trim " + sdk);
    QTest::newRow("includes add up") << include("p") << include("f") << include("e")
                                     << lpp("--strip --trim " + sdk + "-I p -I f -I e ") + luac;
    QTest::newRow("includes are not unified") << include("x") << include("x") << none
                                              << lpp("--strip --trim " + sdk + "-I x -I x ") + luac;
    QTest::newRow("strict changes nothing")
            << compile("Strict=\"1\"") << none << compile("Strict=\"1\"")
            << lpp("--strip --trim " + sdk) + luac;
}

void tst_Pipeline::processingOptionsAreLayered()
{
    QFETCH(QByteArray, project);
    QFETCH(QByteArray, filesystem);
    QFETCH(QByteArray, entry);
    QFETCH(QByteArray, calls);
    World world;
    world.write("project/a/m.lua");
    world.write("project/b/m.lua");
    world.project(demo, "<Process>" + project + "</Process><Filesystem><Process>" + filesystem
                                + "</Process>" + merge("Directory", "a", {}, entry)
                                + "</Filesystem>");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    const QByteArray all = callsOf(result);
    SAME(all.left(all.indexOf("ztmkromfs")), calls);

    // An entry's options end with it.
    world.project(demo, "<Process>" + project + "</Process><Filesystem><Process>" + filesystem
                                + "</Process>"
                                + merge("Directory", "b", {},
                                        "<Compile Type=\"Lua\" Strip=\"1\"/>"
                                        "<Preprocess Type=\"Ztlpp\">"
                                        "<Include>of b</Include></Preprocess>")
                                + merge("Directory", "a", {}, entry) + "</Filesystem>");
    const QByteArray both = callsOf(world.run({"-q", "-A"}));
    const qsizetype second = both.indexOf(calls.left(calls.indexOf(" obj/root/")) + " obj/root01/");
    QVERIFY2(second >= 0, both.constData());
    SAME(both.mid(second, both.indexOf("ztmkromfs") - second),
         QByteArray(calls).replace("obj/root/", "obj/root01/"));
}

void tst_Pipeline::filesystemIsTheOneNamedRoot_data()
{
    QTest::addColumn<QByteArray>("filesystems");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("no label") << QByteArray("<Filesystem/>") << true;
    QTest::newRow("empty label") << QByteArray("<Filesystem Label=\"\"/>") << true;
    QTest::newRow("root") << QByteArray("<Filesystem Label=\"root\"/>") << true;
    QTest::newRow("other capitals") << QByteArray("<Filesystem Label=\"Root\"/>") << false;
    QTest::newRow("blank") << QByteArray("<Filesystem Label=\" root\"/>") << false;
    QTest::newRow("other label") << QByteArray("<Filesystem Label=\"data\"/>") << false;
    QTest::newRow("two") << QByteArray("<Filesystem/><Filesystem/>") << false;
    QTest::newRow("two, one of them root")
            << QByteArray("<Filesystem Label=\"root\"/><Filesystem Label=\"data\"/>") << false;
}

void tst_Pipeline::filesystemIsTheOneNamedRoot()
{
    QFETCH(QByteArray, filesystems);
    QFETCH(bool, accepted);
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

void tst_Pipeline::projectWithoutFilesystem()
{
    World world;
    world.write("project/obj/root.romfs");
    world.write("project/firmware/T1-Demo-firmware.ztf");
    world.project(demo + R"( Version="3")", "<Startup File=\"a.lua\"/><Target Model=\"T1\"/>");
    SAME(world.run({}).text(), report(0, {}));
    SAME(world.tree("project"), "demo.ztp\nfirmware/\nobj/\nobj/autoexec.lua\nobj/version.txt\n");
    SAME(world.read("project/obj/version.txt"), "3\n");
}

QTEST_GUILESS_MAIN(tst_Pipeline)
#include "tst_pipeline.moc"
