#include "projects.h"
#include "rows.h"

namespace {

const QByteArray noProfile = "[ztmake] Cannot find a unique profile in current directory.\n";

void writeMinimalProject(World &world, const QByteArray &name, const QByteArray &project)
{
    world.project("Name=\"" + name + "\" SDK=\"" + world.path("sdk") + '"',
                  "<Target Model=\"T1\"/><Filesystem/>\n", project);
}

} // namespace

class TestProjectChoice : public QObject
{
    Q_OBJECT

private slots:
    void projectIsChosenInWorkingDirectory_data()
    {
        Rows<QByteArrayList, QByteArrayList, QByteArray> row; // files, arguments, chosen
        row("nothing there", {}, {}, {});
        row("other extensions", {"box.xml", "ztp", "box.ztp.bak"}, {}, {});
        row("a single one", {"other.ztp"}, {}, "other.ztp");
        row("an empty file name counts as none", {"other.ztp"}, {""}, "other.ztp");
        row("two", {"more.ztp", "other.ztp"}, {}, {});
        row("named as the directory", {"a.ztp", "b.ztp", "box.ztp"}, {}, "box.ztp");
        row("the first of several", {"box.z.ztp", "box.b.ztp", "a.ztp"}, {}, "box.b.ztp");
        row("other capitals, only the beginning", {"Box.ztp", "boxes.ztp"}, {}, {});
        row("a colon in front", {":a.ztp"}, {}, ":a.ztp");
        row("a colon in front, named", {":a.ztp", "b.ztp"}, {":a.ztp"}, ":a.ztp");
        row("named on the command line", {"box.ztp", "a.ztp"}, {"a.ztp"}, "a.ztp");
    }
    void projectIsChosenInWorkingDirectory()
    {
        const auto [files, arguments, chosen] = fetch<QByteArrayList, QByteArrayList, QByteArray>();
        World world;
        world.makeDirectory("box");
        for (const QByteArray &file : files)
            writeMinimalProject(world, file, "box/" + file);

        const Result result = world.run(QByteArrayList{"-q"} + arguments, {.directory = "box"});
        if (chosen.isEmpty()) {
            SAME(result.text(), report(1, {}, noProfile));
        } else {
            QCOMPARE(result.calls.size(), 2);
            QCOMPARE(result.calls[1].arguments.last(), chosen);
            QCOMPARE(result.status, 0);
        }
    }

    void unreadableProfilesDoNotCount()
    {
        World world;
        writeMinimalProject(world, "A", "project/a.ztp");
        writeMinimalProject(world, "B", "project/b.ztp");
        world.setMode("project/b.ztp", 0);
        const Result result = world.run({"-q"}, {.ordinaryUser = true});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.calls.size(), 2);
        QCOMPARE(result.calls[1].arguments.last(), QByteArray("A"));
    }

    void otherFilesAreNoProject()
    {
        World world;
        const QByteArray project = "<Project Name=\"x\"/></ZeltaProject>";
        const QByteArray current = "http://zelta.example/Zelta/Project/2009/42";
        for (const QByteArray &content : QByteArrayList{
                     "", "firmware\n", "<Project/>\n", "<ZeltaProject>" + project,
                     "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2010\">" + project,
                     "<ZeltaProject xmlns=\"" + current + "/\">" + project,
                     "<Zeltaproject xmlns=\"" + current + "\"/>",
                     "<!DOCTYPE ZeltaProject><ZeltaProject xmlns=\"" + current + "\">" + project,
                     "<?xml version=\"1.0\"?><<ZeltaProject"}) {
            world.write("project/demo.ztp", content);
            for (const QByteArray &name :
                 QByteArrayList{"demo.ztp", "./demo.ztp", "missing.ztp", "../home"})
                SAME(world.run({name}).text(),
                     report(1, {},
                            "[ztmake] " + name + ": This is not a ZeltaManager project file.\n"));
        }
    }

    void errorOfCurrentSchemaEndsTheSearch()
    {
        World world(R"(SDK="../sdk")", "");
        SAME(world.run({world.path("project/demo.ztp")}).text(),
             report(1, {},
                    "[ztmake] $W/project/demo.ztp: Error reading $W/project/demo.ztp, Line 3,"
                    " Column 22:\n  (<Project>) Project name missing or empty.\n"));
    }

    void pathsFollowTheProjectFile_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // argument, directory, prefix
        row("in it", "demo.ztp", "project", {});
        row("in it, with a dot", "./demo.ztp", "project", {});
        row("above", "project/demo.ztp", {}, "project/");
        row("beside", "../project/demo.ztp", "home", "../project/");
        row("below", "../demo.ztp", "project/root", "../");
        row("absolute", "$W/project/demo.ztp", "home", "$W/project/");
    }
    void pathsFollowTheProjectFile()
    {
        auto [argument, directory, prefix] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        world.makeDirectory("project/root");
        writeMinimalProject(world, "Demo", "project/demo.ztp");
        QByteArray calls = pack() + linkTo("T1");
        calls.replace("obj/", prefix + "obj/").replace("firmware/", prefix + "firmware/");
        SAME(world.run({"-q", argument.replace("$W", world.path())}, {.directory = directory})
                     .text(),
             report(0, calls.replace("../sdk", "$W/sdk")));
        SAME(world.tree("project"),
             "demo.ztp\nfirmware/\nfirmware/T1-Demo-firmware.ztf\nobj/\nobj/version.txt\nroot/\n");
    }

    void otherLanguagesInNames_data()
    {
        Rows<QString> row; // locale
        row("UTF-8", QStringLiteral("C.UTF-8"));
        row("C", QStringLiteral("C"));
        row("POSIX", QStringLiteral("POSIX"));
    }
    void otherLanguagesInNames()
    {
        const auto [locale] = fetch<QString>();
        World world;
        world.environment().insert(QStringLiteral("LC_ALL"), locale);
        world.project(R"(Name="Größe" Version="β1" SDK="../sdk")",
                      "<Target Model=\"Тест\"/>\n"
                      "<Filesystem><Merge Type=\"Directory\"><Source>корень</Source>"
                      "<Destination>/ü</Destination></Merge></Filesystem>\n",
                      "project/größe.ztp");
        world.write("project/корень/日本.lua");
        const QByteArray calls =
                "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/日本.lui --root корень"
                " -- корень/日本.lua\n"
                "ztluac -o obj/root/日本.luo -- obj/root/日本.lui\n"
                "ztmkromfs@ -x .svn -o obj/root.romfs --label root -D /ü -i корень"
                " -D 日本.lua -i obj/root/日本.luo -D /etc/version -i obj/version.txt\n"
                "ztlink --kernel ../sdk/kernel/Тест-kernel.bin --data obj/root.romfs"
                " --output firmware/Тест-Größe-β1-firmware.ztf --name Größe --version β1\n";
        SAME(world.run({"größe.ztp"}).text(), report(0, calls, echoOf(calls)));
        SAME(world.read("project/obj/version.txt"), "β1\n");
        SAME(world.run({"fehlt-ß.ztp"}).text(),
             report(1, {}, "[ztmake] fehlt-ß.ztp: This is not a ZeltaManager project file.\n"));
        SAME(world.run({"-q", "--cleanfirmwarefolder"}).text(), report(0, {}));
        SAME(world.tree("project/firmware"), "");
    }
};

QTEST_GUILESS_MAIN(TestProjectChoice)
#include "tst_projectchoice.moc"
