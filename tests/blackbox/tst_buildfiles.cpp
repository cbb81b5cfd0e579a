#include "projects.h"
#include "rows.h"

class TestBuildFiles : public QObject
{
    Q_OBJECT

private slots:
    void directoriesAreMade()
    {
        World world(demo + R"( ObjectDirectory="a/b/c" OutputDirectory="x/y")",
                    "<Translation Enabled=\"1\"/>");
        SAME(world.run({"-q"}).text(), report(0, {}));
        SAME(world.tree("project"), "a/\na/b/\na/b/c/\na/b/c/translations/\na/b/c/version.txt\n"
                                    "demo.ztp\ntranslations/\n");
    }

    void directoryThatCannotBeMade_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, QByteArray>
                row; // obstacle, directory, calls, left
        row("objects", "a", "a/obj", {}, "a\n");
        row("translations", "translations", "translations", {}, "a/\na/obj/\ntranslations\n");
        row("compiled translations", "a/obj/translations", "a/obj/translations", {},
            "a/\na/obj/\na/obj/translations\ntranslations/\n");
        row("objects of an entry", "a/obj/root", "a/obj/root", "svnversion ''\n",
            "a/\na/obj/\na/obj/root\na/obj/translations/\ntranslations/\n");
    }
    void directoryThatCannotBeMade()
    {
        const auto [obstacle, directory, calls, left] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        World world(demo + R"( Svnversion="1" ObjectDirectory="a/obj")",
                    "<Translation Enabled=\"1\"/>" + tree());
        world.write("project/root/m.lua");
        world.write("project/" + obstacle);
        SAME(world.run({}).text(),
             report(1, calls, "[ztmake] Cannot make directory " + directory + '\n'));
        const QByteArray sources = "demo.ztp\nroot/\nroot/m.lua\n";
        SAME(world.tree("project").replace(sources, ""), left);
    }

    void reservedImages()
    {
        World world(demo, R"(<Target Model="T1" BuildInstaller="1"/><Filesystem/>)");
        world.write("project/obj/root.romfs", "old");
        world.write("project/obj/installer.romfs", "old");
        world.plan("ztmkromfs", "* probe obj/root.romfs\n* probe obj/installer.romfs\n");
        world.plan("ztlink", "* probe obj/root.romfs\n* probe obj/installer.romfs\n");
        const Result result = world.run({"-q"});
        QCOMPARE(result.calls.size(), 4);
        const QByteArrayList before{"obj/root.romfs missing", "obj/installer.romfs file old"};
        const QByteArrayList packed{"obj/root.romfs file made by ztmkromfs\n",
                                    "obj/installer.romfs file old"};
        const QByteArrayList reserved{"obj/root.romfs missing", "obj/installer.romfs missing"};
        const QByteArrayList installer{"obj/root.romfs missing",
                                       "obj/installer.romfs file made by ztmkromfs\n"};
        QCOMPARE(result.calls[0].probes, before);
        QCOMPARE(result.calls[1].probes, packed);
        QCOMPARE(result.calls[2].probes, reserved);
        QCOMPARE(result.calls[3].probes, installer);
        SAME(world.tree("project/obj"), "installer.romfs\nversion.txt\n");

        world.project(demo, minimal);
        QCOMPARE(world.run({"-q"}).status, 0);
        SAME(world.tree("project/obj"), "version.txt\n");

        // A build that fails leaves what is there.
        world.plan("ztlink", "* exit 1\n");
        QCOMPARE(world.run({"-q"}).status, 1);
        SAME(world.tree("project/obj"), "root.romfs\nversion.txt\n");
    }

    void reservedImageThatIsNoFile_data()
    {
        Rows<QByteArray, int> row; // name, calls
        row("root image", "obj/root.romfs", 0);
        row("installer image", "obj/installer.romfs", 2);
    }
    void reservedImageThatIsNoFile()
    {
        const auto [name, calls] = fetch<QByteArray, int>();
        World world(demo, minimal);
        world.makeDirectory("project/" + name);
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 1);
        QCOMPARE(result.calls.size(), calls);
        SAME(result.err, "[ztmake] Refusing to overwrite non-file " + name + '\n');
        QVERIFY(world.exists("project/" + name));
    }

    void reservedImageThatCannotBeRemoved()
    {
        World world(demo, minimal);
        world.write("project/obj/root.romfs");
        world.setMode("project/obj", 0555);
        SAME(world.run({"-q"}, {.ordinaryUser = true}).text(),
             report(1, {}, "[ztmake] Cannot remove %s\n"));
        world.setMode("project/obj", 0755);
    }

    void versionIsFoundOnce()
    {
        World world(demo + R"( Svnversion="1" BuildInstaller="1")",
                    R"(<Target Model="T1"/><Target Model="T2"/><Filesystem/>)");
        world.plan("svnversion", "1 out 1\n2 out 2\n");
        const Result result = world.run({"-q"});
        QCOMPARE(result.calls.size(), 8);
        QCOMPARE(result.callText().count("svnversion"), 1);
        QCOMPARE(result.callText().count("--version #1\n"), 4);
        SAME(world.read("project/obj/version.txt"), "#1\n");
    }

    void fileNames_data()
    {
        // name, version, revision, stem, ending of the link's arguments
        Rows<QByteArray, QByteArray, QByteArray, QByteArray, QByteArray> row;
        row("name alone", "Demo", "", "", "T1-Demo", "--name|Demo");
        row("name and version", "Demo", "1.0", "", "T1-Demo-1.0", "--name|Demo|--version|1.0");
        row("removed characters", "a:b/c\\d?e*f", "1:2/3\\4?5*6", "", "T1-abcdef-123456",
            "--name|a:b/c\\d?e*f|--version|1:2/3\\4?5*6");
        row("nothing is left", "*?", "/", "", "T1", "--name|*?|--version|/");
        row("other characters stay", "a b[c]{d}'#%ü", "v-1.0+2;~", "", "T1-a b[c]{d}'#%ü-v-1.0+2;~",
            "--name|a b[c]{d}'#%ü|--version|v-1.0+2;~");
        row("revision", "Demo", "1.0", "4:5M", "T1-Demo-1.0#45M", "--name|Demo|--version|1.0#4:5M");
        row("revision alone", "Demo", "", "12", "T1-Demo-#12", "--name|Demo|--version|#12");
        row("unknown revision", "Demo", "1.0", "?", "T1-Demo-1.0", "--name|Demo|--version|1.0#?");
        row("unknown revision alone", "Demo", "", "?", "T1-Demo", "--name|Demo|--version|#?");
        row("version that ends so by itself", "Demo", "1.0#?", "", "T1-Demo-1.0",
            "--name|Demo|--version|1.0#?");
        row("only the last one is cut", "Demo", "1.0#?#?", "", "T1-Demo-1.0#",
            "--name|Demo|--version|1.0#?#?");
        row("not at the end", "Demo", "1#?0", "", "T1-Demo-1#0", "--name|Demo|--version|1#?0");
    }
    void fileNames()
    {
        const auto [name, version, revision, stem, ending] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray, QByteArray>();
        World world;
        QByteArray attributes = "Name=\"" + name + "\" Version=\"" + version + "\" SDK=\"../sdk\"";
        if (!revision.isEmpty())
            attributes += " Svnversion=\"1\"";
        world.plan("svnversion", "* out " + (revision == "?" ? "Unversioned" : revision) + '\n');
        world.project(attributes, R"(<Target Model="T1" BuildInstaller="1"/><Filesystem/>)");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(world.tree("project/firmware"), stem + "-firmware.ztf\n" + stem + "-install.ztf\n");
        const Call link = result.calls.value(result.calls.size() - 3);
        SAME(link.arguments.mid(4).join('|'),
             "--output|firmware/" + stem + "-firmware.ztf|" + ending);
        SAME(result.calls.last().arguments.mid(4).join('|'),
             "--output|firmware/" + stem + "-install.ztf|"
                     + QByteArray(ending).replace("--name|" + name,
                                                  "--name|" + name + " [Installer]"));
        SAME(world.read("project/obj/version.txt"),
             version + (revision.isEmpty() ? QByteArray() : '#' + revision) + '\n');
    }

    void oldFirmwareIsRemovedBetweenPackingAndLinking()
    {
        World world;
        const QByteArray old = "firmware/T0-Demo-0.1-firmware.ztf";
        world.project(demo, minimal);
        world.write("project/" + old, "old");
        world.plan("ztmkromfs", "* probe " + old + '\n');
        world.plan("ztlink", "* probe " + old + '\n');
        const Result result = world.run({"-q"});
        QCOMPARE(result.calls.size(), 2);
        QCOMPARE(result.calls[0].probes, QByteArrayList{old + " file old"});
        QCOMPARE(result.calls[1].probes, QByteArrayList{old + " missing"});

        world.write("project/" + old, "old");
        world.plan("ztmkromfs", "* exit 1\n");
        QCOMPARE(world.run({"-q"}).status, 1);
        QVERIFY(world.exists("project/" + old));
    }
};

QTEST_GUILESS_MAIN(TestBuildFiles)
#include "tst_buildfiles.moc"
