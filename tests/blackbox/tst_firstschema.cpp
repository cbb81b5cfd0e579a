#include "projects.h"
#include "rows.h"

#include <QTest>

/// What a file of the first schema comes to; the reader's own tests have each of its elements.
class TestFirstSchema : public QObject
{
    Q_OBJECT

private slots:
    void everythingThatAProjectCanHave()
    {
        World world;
        world.write("sdk/kernel/A-boot.bin");
        world.firstSchemaProject(
                R"(Name="Demo" SDK="../sdk" Version="2.0-" Svnversion="TRUE" ProjectDirectory="."
                   ObjectDirectory="o" OutputDirectory="f" KeyFile="$SDK/a.key" TagMap="t"
                   StateFile="s" EncryptInstaller="perhaps" Colour="x" BuildInstaller="1"
                   IncludeMBR="0")",
                R"(<Target Model="B" BuildInstaller="no"> </Target><!-- text -->
                   <Target Model="A" IncludeMBR="yes"/>
                   <Filesystem Type="romfs" Label="root" IncludeBase="yes" Verbose="0">
                   <Merge Type="File" Destination="/etc"> data/x.cfg</Merge>
                   <Merge Type="File" Destination="/etc">one<![CDATA[two]]></Merge>
                   <Merge Type="Archive">$SDK/a.romfs</Merge><Merge Type="File"/>
                   </Filesystem>)");
        const QByteArray version = " --name Demo --version 2.0-#1234\n";
        const QByteArray stem = "-Demo-2.0-#1234-";
        const auto link = [&](const QByteArray &model) {
            return "ztlink --kernel ./../sdk/kernel/" + model + "-kernel.bin --data ./o/";
        };
        const auto firmware = [&](const QByteArray &model) {
            return link(model) + "root.romfs --output ./f/" + model + stem
                   + "firmware.ztf -C ./../sdk/a.key" + version;
        };
        SAME(direct(world.run({"-q"})).text(),
             report(0, "svnversion .\n"
                       "ztmkromfs -x .svn -o ./o/root.romfs --label root"
                       " --merge ./../sdk/kernel/base.romfs -D /etc -i './ data/x.cfg' -i ./two"
                       " -D / --merge ./../sdk/a.romfs -i . -D /etc/version -i ./o/version.txt\n"
                               + firmware("B") + firmware("A")
                               + "ztmkromfs -x .svn --out ./o/installer.romfs --label root"
                                 " --merge ./../sdk/kernel/install.romfs"
                                 " --destination /usr/share/firmware.ztf --in ./f/A"
                               + stem
                               + "firmware.ztf --destination /usr/share/mbr.bin"
                                 " --in ./../sdk/kernel/A-boot.bin\n"
                               + link("A") + "installer.romfs --output ./f/A" + stem + "install.ztf"
                               + QByteArray(version).replace("Demo", "'Demo [Installer]'")));
    }

    void nameMayBeMissing()
    {
        World world;
        world.firstSchemaProject(R"(SDK="../sdk")", minimal);
        SAME(world.run({"-q"}).text(), report(0, pack() + linkTo("T1", "", "T1")));
        world.firstSchemaProject(R"(SDK="../sdk" Name="" Version="1.0")", minimal);
        SAME(world.run({"-q"}).text(), report(0, pack() + linkTo("T1", "--version 1.0", "T1-1.0")));
        world.firstSchemaProject(demo, R"(<Target Model=""/><Filesystem/>)");
        SAME(world.run({"-q"}).text(), report(0, pack() + linkTo("")));
    }

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

    // The reader's own tests cover the kinds of mistakes.
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
};

QTEST_GUILESS_MAIN(TestFirstSchema)
#include "tst_firstschema.moc"
