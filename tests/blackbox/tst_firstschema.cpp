#include "projects.h"
#include "rows.h"

#include <QTest>

namespace {

using ProjectRows = Rows<QByteArray, QByteArray, QByteArray>; // attributes, children, calls

QByteArray file(const QByteArray &text, const QByteArray &attributes = {})
{
    return "<Merge Type=\"File\"" + attributes + ">" + text + "</Merge>";
}

} // namespace

class TestFirstSchema : public QObject
{
    Q_OBJECT

private slots:
    void projectElement_data()
    {
        ProjectRows row;
        row("least", demo, minimal, pack() + linkTo("T1"));
        row("no name", R"(SDK="../sdk")", minimal, pack() + linkTo("T1", "", "T1"));
        row("no name but a version", R"(SDK="../sdk" Name="" Version="1.0")", minimal,
            pack() + linkTo("T1", "--version 1.0", "T1-1.0"));
        row("Version", demo + R"( Version="2.0")", minimal,
            pack() + linkTo("T1", "--name Demo --version 2.0", "T1-Demo-2.0"));
        row("Svnversion", demo + R"( Svnversion="TRUE")", minimal,
            "svnversion ''\n" + pack()
                    + linkTo("T1", "--name Demo --version #1234", "T1-Demo-#1234"));
        row("Svnversion off", demo + R"( Svnversion="No")", minimal, pack() + linkTo("T1"));
        row("directories",
            demo + R"( ProjectDirectory="." ObjectDirectory="o" OutputDirectory="f")", minimal,
            QByteArray(pack() + linkTo("T1"))
                    .replace(" obj/", " ./o/")
                    .replace(" firmware/", " ./f/")
                    .replace("../sdk", "./../sdk"));
        row("KeyFile", demo + R"( KeyFile="$SDK/a.key")", minimal,
            pack() + linkTo("T1", "-C ../sdk/a.key --name Demo"));
        row("attributes without effect",
            demo + R"( TagMap="t" StateFile="s" EncryptInstaller="perhaps" Colour="x")", minimal,
            pack() + linkTo("T1"));
        const QByteArray installer =
                "ztmkromfs -x .svn --out obj/installer.romfs --label root"
                " --merge ../sdk/kernel/install.romfs --destination /usr/share/firmware.ztf"
                " --in firmware/T1-Demo-firmware.ztf"
                " --destination /usr/share/mbr.bin --in ../sdk/kernel/T1-boot.bin\n"
                "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/installer.romfs"
                " --output firmware/T1-Demo-install.ztf --name 'Demo [Installer]'\n";
        row("BuildInstaller and IncludeMBR", demo + R"( BuildInstaller="1" IncludeMBR="yes")",
            minimal, pack() + linkTo("T1") + installer);
        row("BuildInstaller and IncludeMBR of the target", demo,
            R"(<Target Model="T1" BuildInstaller="1" IncludeMBR="yes"/><Filesystem/>)",
            pack() + linkTo("T1") + installer);
        row("no installer for the target", demo + R"( BuildInstaller="1")",
            R"(<Target Model="T1" BuildInstaller="no"/><Filesystem/>)", pack() + linkTo("T1"));
    }
    void projectElement() { check(); }

    void children_data()
    {
        ProjectRows row;
        const auto filesystem = [&](const QByteArray &name, const QByteArray &attributes,
                                    const QByteArray &merges, const QByteArray &packed) {
            row(name, demo, "<Filesystem " + attributes + ">" + merges + "</Filesystem>",
                pack(packed));
        };
        row("blank text everywhere", demo,
            " \n\t<Target Model=\"T1\"> \n</Target> <Filesystem>\n</Filesystem><!-- text --> ",
            pack() + linkTo("T1"));
        row("two targets", demo, R"(<Target Model="B"/><Filesystem/><Target Model="A"/>)",
            pack() + linkTo("B") + linkTo("A"));
        row("empty model", demo, "<Target Model=\"\"/><Filesystem/>", pack() + linkTo(""));
        filesystem("filesystem attributes",
                   R"(Type="romfs" Label="root" IncludeBase="yes" Verbose="0")", {},
                   "--merge ../sdk/kernel/base.romfs ");
        filesystem("base off", R"(IncludeBase="0")", {}, {});
        filesystem("file", {}, file("data/x.cfg", R"( Destination="/etc")"),
                   "-D /etc -i data/x.cfg ");
        filesystem("source keeps its blanks", {}, file(" data/x.cfg\n"), "-i ' data/x.cfg\\n' ");
        filesystem("empty source", {}, "<Merge Type=\"File\"/>", "-i '' ");
        filesystem("only the last piece of a source counts", {}, file("one<![CDATA[two]]>"),
                   "-i two ");
        filesystem("archive", {}, R"(<Merge Type="Archive" Destination="/a">$SDK/a.romfs</Merge>)",
                   "-D /a --merge ../sdk/a.romfs ");
        filesystem("one destination for two", {},
                   file("b", R"( Destination="/a")") + '\n' + file("c", R"( Destination="/a")"),
                   "-D /a -i b -i c ");
        filesystem("destination ends with its merge", {},
                   file("b", R"( Destination="/a")") + '\n' + file("c"), "-D /a -i b -D / -i c ");
    }
    void children() { check(); }

    void luaIsCompiledOnlyWhereItIsAskedFor_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, bool> row; // project, filesystem, merge, compiled

        const QByteArray on = R"( CompileLua="true")";
        const QByteArray off = R"( CompileLua="false")";
        const QByteArray unset;
        row("nowhere", unset, unset, unset, false);
        row("the project's word does not count", on, unset, unset, false);
        row("filesystem", unset, on, unset, true);
        row("filesystem against the project", off, on, unset, true);
        row("merge", unset, unset, on, true);
        row("merge against the filesystem", unset, off, on, true);
        row("filesystem on, merge off", on, on, off, false);
    }
    void luaIsCompiledOnlyWhereItIsAskedFor()
    {
        const auto [project, filesystem, merge, compiled] =
                fetch<QByteArray, QByteArray, QByteArray, bool>();
        World world;
        world.write("project/root/a.lua", "source\n");
        world.write("project/more/b.lua", "source\n");
        world.firstSchemaProject(demo + project, "<Filesystem" + filesystem
                                                         + "><Merge Type=\"Directory\"" + merge
                                                         + ">root</Merge></Filesystem>");
        const QByteArray object = compiled ? "obj/root/a.luo" : "obj/root/a.lua";
        SAME(world.run({"-q"}).text(),
             report(0, (compiled ? "ztluac -o obj/root/a.luo -- root/a.lua\n" : QByteArray())
                               + pack("-i root -D a.lua -i " + object + ' ')));
        SAME(world.tree("project/obj"), (compiled ? "root/\nroot/a.luo\n" : "root/\nroot/a.lua\n")
                                                + QByteArray("version.txt\n"));
        if (!compiled)
            SAME(world.read("project/obj/root/a.lua"), "source\n");

        // What one merge says does not hold for the next.
        world.firstSchemaProject(demo,
                                 R"(<Filesystem><Merge Type="Directory" CompileLua="1">root</Merge>
                                      <Merge Type="Directory">more</Merge></Filesystem>)");
        world.run({"-q", "-A"});
        QVERIFY(world.exists("project/obj/root01/b.lua"));
        QVERIFY(!world.exists("project/obj/root01/b.luo"));
    }

    void verboseIsRead_data()
    {
        Rows<QByteArray, QByteArray> row; // verbose, letters

        row("absent", {}, {});
        row("one", R"(Verbose="1")", {});
        row("two", R"(Verbose="2")", "-v ");
        row("three", R"(Verbose="3")", "-vv ");
        row("no number", R"(Verbose="abc")", {});
        row("not decimal", R"(Verbose="0x3")", {});
        row("empty", R"(Verbose="")", {});
    }
    void verboseIsRead()
    {
        const auto [verbose, letters] = fetch<QByteArray, QByteArray>();
        World world;
        world.firstSchemaProject(demo + " Verbose=\"x\"", "<Target Model=\"T1\" " + verbose
                                                                  + " BuildInstaller=\"1\"/>"
                                                                    "<Filesystem "
                                                                  + verbose + "/>");
        const Result result = world.run({});
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.size(), 4);
        SAME(result.calls[0].arguments.join(' '),
             letters + "-x .svn -o obj/root.romfs --label root -D /etc/version -i obj/version.txt");
        QVERIFY(result.err.contains("ztlink --kernel"));
        QCOMPARE(result.calls[2].arguments.first(), letters == "-vv " ? QByteArray("-v") : "-x");
    }

    // Which mistakes there are is the matter of the reader's own tests.
    void nothingElseIsAccepted_data()
    {
        Rows<QByteArray, QByteArray> row; // attributes, children
        row("element of the current schema", {}, "<Process/>");
        row("malformed", {}, "<Filesystem></Target>");
        row("no boolean word", " Svnversion=\"on\"", "<Filesystem/>");
    }
    void nothingElseIsAccepted()
    {
        const auto [attributes, children] = fetch<QByteArray, QByteArray>();
        World world;
        world.firstSchemaProject(demo + attributes, children);
        SAME(world.run({"demo.ztp"}).text(),
             report(1, {}, "[ztmake] demo.ztp: This is not a ZeltaManager project file.\n"));
        QVERIFY(!world.exists("project/obj"));
    }

    void pathsFollowTheProjectFile()
    {
        World world;
        world.firstSchemaProject(R"(Name="Demo" SDK="2.1")",
                                 "<Target Model=\"T1\"/><Filesystem>"
                                 "<Merge Type=\"File\">a</Merge></Filesystem>",
                                 "project/sub/demo.ztp");
        world.makeDirectory("project/sub/sdk-2.1");
        SAME(world.run({"-q", "sub/demo.ztp"}).text(),
             report(0, "ztmkromfs -x .svn -o sub/obj/root.romfs --label root -i sub/a"
                       " -D /etc/version -i sub/obj/version.txt\n"
                       "ztlink --kernel sub/sdk-2.1/kernel/T1-kernel.bin --data sub/obj/root.romfs"
                       " --output sub/firmware/T1-Demo-firmware.ztf --name Demo\n"));
    }

    void otherOperationsWork()
    {
        World world;
        world.firstSchemaProject(demo, "<Filesystem/>");
        world.makeDirectory("project/translations");
        world.write("project/firmware/T1-Demo-1-install.ztf");
        SAME(world.run({"-q", "--clearobsolete"}).text(),
             report(0, "(in $W/project/translations) ztlupdate --clearobsolete"
                       " --xml-report ../obj/translations/report.xml\n"));
        SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(),
             report(0, {}, "[ztmake] Removing T1-Demo-1-install.ztf\n"));
    }

private:
    static void check()
    {
        const auto [attributes, children, calls] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        world.write("sdk/kernel/T1-boot.bin");
        world.firstSchemaProject(attributes, children);
        SAME(direct(world.run({"-q"})).text(), report(0, calls));
    }
};

QTEST_GUILESS_MAIN(TestFirstSchema)
#include "tst_firstschema.moc"
