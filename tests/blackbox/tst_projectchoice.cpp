#include "rows.h"
#include "world.h"

#include <QTest>

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

        const QByteArrayList none;
        row("nothing there", none, none, {});
        row("other extensions", {"box.xml", "ztp", "box.ztp.bak"}, none, {});
        row("a single one", {"other.ztp"}, none, "other.ztp");
        row("an empty file name counts as none", {"other.ztp"}, {""}, "other.ztp");
        row("two", {"more.ztp", "other.ztp"}, none, {});
        row("named as the directory", {"box.ztp", "other.ztp"}, none, "box.ztp");
        row("named as the directory, last", {"a.ztp", "b.ztp", "box.ztp"}, none, "box.ztp");
        row("up to the first dot", {"a.ztp", "box.v2.ztp"}, none, "box.v2.ztp");
        row("the first of several", {"box.z.ztp", "box.b.ztp", "a.ztp"}, none, "box.b.ztp");
        row("other capitals do not fit the directory", {"Box.ztp", "a.ztp"}, none, {});
        row("only the beginning of the name", {"boxes.ztp", "a.ztp"}, none, {});
        row("hidden ones do not count", {".hidden.ztp", "a.ztp"}, none, "a.ztp");
        row("directories do not count", {"box.ztp/x", "a.ztp"}, none, "a.ztp");
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

    void otherFilesAreNoProject_data()
    {
        Rows<QByteArray> row; // content

        row("empty", {});
        row("text", "firmware\n");
        row("another root", "<Project/>\n");
        row("no namespace", "<ZeltaProject><Project Name=\"x\"/></ZeltaProject>");
        row("another namespace", "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2010\">"
                                 "<Project Name=\"x\"/></ZeltaProject>");
        row("namespace with a slash more",
            "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42/\">"
            "<Project Name=\"x\"/></ZeltaProject>");
        row("another root in the namespace",
            "<Zeltaproject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">"
            "<Project Name=\"x\"/></Zeltaproject>");
        row("document type first",
            "<!DOCTYPE ZeltaProject>"
            "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">"
            "<Project Name=\"x\"/></ZeltaProject>");
        row("broken before the root", "<?xml version=\"1.0\"?><<ZeltaProject");
    }
    void otherFilesAreNoProject()
    {
        const auto [content] = fetch<QByteArray>();
        World world;
        world.write("project/demo.ztp", content);
        SAME(world.run({"demo.ztp"}).text(),
             report(1, {}, "[ztmake] demo.ztp: This is not a ZeltaManager project file.\n"));
        SAME(world.run({"./demo.ztp"}).text(),
             report(1, {}, "[ztmake] ./demo.ztp: This is not a ZeltaManager project file.\n"));
        SAME(world.run({"missing.ztp"}).text(),
             report(1, {}, "[ztmake] missing.ztp: This is not a ZeltaManager project file.\n"));
        SAME(world.run({"../home"}).text(),
             report(1, {}, "[ztmake] ../home: This is not a ZeltaManager project file.\n"));
    }

    void errorOfCurrentSchemaEndsTheSearch()
    {
        World world;
        world.project(R"(SDK="../sdk")", "");
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
        row("absolute", "/demo.ztp", "home", "$W/project/");
    }
    void pathsFollowTheProjectFile()
    {
        auto [argument, directory, prefix] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        world.makeDirectory("project/root");
        writeMinimalProject(world, "Demo", "project/demo.ztp");
        if (argument.startsWith('/'))
            argument = world.path("project/demo.ztp");
        SAME(world.run({"-q", argument}, {.directory = directory}).text(),
             report(0, "ztmkromfs -x .svn -o " + prefix
                               + "obj/root.romfs --label root -D /etc/version -i " + prefix
                               + "obj/version.txt\nztlink --kernel $W/sdk/kernel/T1-kernel.bin"
                               + " --data " + prefix + "obj/root.romfs --output " + prefix
                               + "firmware/T1-Demo-firmware.ztf --name Demo\n"));
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
