#include "projects.h"
#include "rows.h"

/// What the elements and attributes of a project file do, seen in the calls of a build.
class TestProjectAttributes : public QObject
{
    Q_OBJECT

    using ProjectRows = Rows<QByteArray, QByteArray, QByteArray>; // attributes, children, calls

private slots:
    void projectElement_data()
    {
        ProjectRows row;
        const auto linked = [&](const QByteArray &name, const QByteArray &attributes,
                                const QByteArray &afterOutput = "--name Demo") {
            row(name, demo + ' ' + attributes, minimal, pack() + linkTo("T1", afterOutput));
        };
        linked("least", "");
        row("Version", demo + R"( Version="1.2")", minimal,
            pack() + linkTo("T1", "--name Demo --version 1.2", "T1-Demo-1.2"));
        row("Svnversion on", demo + R"( Version="1.2-" Svnversion="yes")", minimal,
            "svnversion ''\n" + pack()
                    + linkTo("T1", "--name Demo --version 1.2-#1234", "T1-Demo-1.2-#1234"));
        linked("Svnversion off", R"(Svnversion="no")");
        linked("Svnversion empty", R"(Svnversion="")");
        linked("KeyFile", R"(KeyFile="keys/a.key")", "-C keys/a.key --name Demo");
        linked("KeyFile in the SDK", R"(KeyFile="$SDK/a.key")", "-C ../sdk/a.key --name Demo");
        linked("absolute KeyFile", R"(KeyFile="/keys/a.key")", "-C /keys/a.key --name Demo");
        linked("attributes without effect",
               R"(TagMap="t" StateFile="s" EncryptInstaller="1" IncludeMBR="1" name="x")");
        row("blanks in the name", R"(Name="My Box" SDK="../sdk")", minimal,
            pack()
                    + linkTo("T1", "--name 'My Box'", "T1-My Box")
                              .replace("firmware/T1-My Box-firmware.ztf",
                                       "'firmware/T1-My Box-firmware.ztf'"));
    }
    void projectElement() { check(); }

    void directories_data()
    {
        ProjectRows row;
        const auto moved = [&](const QByteArray &attribute, const QByteArray &value,
                               const QByteArray &from, const QByteArray &to) {
            row(attribute + ' ' + value, demo + ' ' + attribute + "=\"" + value + '"', minimal,
                QByteArray(pack() + linkTo("T1")).replace(from, to));
        };
        moved("ObjectDirectory", "build/out", " obj/", " build/out/");
        moved("ObjectDirectory", "build/", " obj/", " build/");
        moved("ObjectDirectory", "$SDK/build", " obj/", " ../sdk/build/");
        moved("OutputDirectory", "../out", " firmware/", " ../out/");
        moved("OutputDirectory", "$SDK", " firmware/", " ../sdk/");
        row("ProjectDirectory", demo + R"( ProjectDirectory="../sdk/../project/")",
            filesystem(merge("Archive", "a.romfs")),
            pack("--merge ../sdk/../project/a.romfs ").replace("obj", "../sdk/../project/obj"));
        row("all three",
            demo + R"( ProjectDirectory="." KeyFile="k" ObjectDirectory="o" OutputDirectory="f")",
            minimal,
            QByteArray(pack() + linkTo("T1", "-C ./k --name Demo"))
                    .replace(" obj/", " ./o/")
                    .replace(" firmware/", " ./f/")
                    .replace("../sdk", "./../sdk"));
    }
    void directories() { check(); }

    void targets_data()
    {
        ProjectRows row;
        row("none", demo, "<Filesystem/>", pack());
        row("two", demo, R"(<Target Model="B"/><Filesystem/><Target Model="A"/>)",
            pack() + linkTo("B") + linkTo("A"));
        row("the same twice", demo, R"(<Target Model="B"/><Filesystem/><Target Model="B"/>)",
            pack() + linkTo("B") + linkTo("B"));
        row("empty model", demo, R"(<Target Model=""/><Filesystem/>)", pack() + linkTo(""));
        row("other attributes but no model", demo, R"(<Target IncludeMBR="1"/><Filesystem/>)",
            pack() + linkTo(""));
        row("comment", demo, "<Target Model=\"T1\"> <!-- c -->\n</Target><Filesystem/>",
            pack() + linkTo("T1"));
    }
    void targets() { check(); }

    void filesystems_data()
    {
        ProjectRows row;
        row("type", demo, R"(<Filesystem Type="romfs" Label="root"/>)", pack());
        row("empty type", demo, R"(<Filesystem Type="" Label=""/>)", pack());
        row("base", demo, R"(<Filesystem IncludeBase="yes"/>)",
            pack("--merge ../sdk/kernel/base.romfs "));
        const auto merged = [&](const QByteArray &name, const QByteArray &type,
                                const QByteArray &content, const QByteArray &packed) {
            row(name, demo, filesystem("<Merge Type=\"" + type + "\">" + content + "</Merge>"),
                pack(packed));
        };
        merged("archive", "Archive", "<Source>a</Source><Destination>/b</Destination>",
               "-D /b --merge a ");
        merged("file", "File", "<Source>a.txt</Source><Destination>/etc/b</Destination>",
               "-D /etc/b -i a.txt ");
        merged("directory", "Directory", "<Destination>x</Destination><Source>a</Source>",
               "-D x -i a ");
        merged("no source", "File", "", "-i '' ");
        merged("empty sources", "File", "<Source/><Destination></Destination>", "-i '' ");
        merged("blanks are kept", "File", "<Source> a b </Source>", "-i ' a b ' ");
        merged("comment", "File", "<Source>a<!-- c --></Source>", "-i a ");
        merged("in the SDK", "File", "<Source>$SDK/share/a</Source>", "-i ../sdk/share/a ");
        merged("the SDK itself", "Archive", "<Source>$SDK</Source>", "--merge ../sdk/ ");
        merged("absolute", "File", "<Source>/a</Source>", "-i /a ");
        merged("second source wins", "File", "<Source>a</Source><Source>b</Source>", "-i b ");
    }
    void filesystems() { check(); }

    void others_data()
    {
        ProjectRows row;
        const QByteArray least = pack() + linkTo("T1");
        row("Startup", demo, "<Startup File=\"/usr/a.lua\"/>" + minimal,
            QByteArray(least).replace("version.txt\n",
                                      "version.txt -D /etc/autoexec.lua -i obj/autoexec.lua\n"));
        row("Startup without a file", demo, R"(<Startup Interactive="true"/>)" + minimal, least);
        row("second Startup wins", demo, R"(<Startup File="a"/><Startup File=""/>)" + minimal,
            least);
        row("second MTD16 wins", demo, R"(<MTD16 Enabled="1"/><MTD16/>)" + minimal, least);
        row("second Translation wins", demo,
            "<Translation Enabled=\"1\">" + languages({"de"}) + "</Translation><Translation/>"
                    + minimal,
            least);
        const QByteArray packed = pack("-i root -D a.lua -i obj/root/a.luo ");
        row("Include", demo,
            tree()
                    + process("<Preprocess Type=\"Ztlpp\"><Include>b</Include>"
                              "<Include>$SDK/a</Include><Include> </Include><Include/>"
                              "</Preprocess>"),
            preprocess("a").replace("--out", "-I b -I '$SDK/a' -I ' ' -I '' --out") + compile("a")
                    + packed);
        row("second Process adds", demo,
            tree() + process(R"(<Preprocess Type="Ztlpp" RemoveComments="no">
                                 <Include>a</Include></Preprocess>)")
                    + process(R"(<Preprocess Type="Ztlpp"><Include>b</Include></Preprocess>
                                 <Compile Type="Lua" Strip="1"/>)"),
            preprocess("a").replace("--out", "-I a -I b --out")
                    + compile("a").replace("-o", "-s -o") + packed);
    }
    void others() { check(); }

private:
    static void check()
    {
        const auto [attributes, children, calls] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(attributes, children);
        world.write("project/root/a.lua");
        SAME(direct(world.run({"-q"})).text(), report(0, calls));
    }
};

QTEST_GUILESS_MAIN(TestProjectAttributes)
#include "tst_projectattributes.moc"
