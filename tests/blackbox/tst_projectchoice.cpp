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

class tst_ProjectChoice : public QObject
{
    Q_OBJECT

private slots:
    void projectIsChosenInWorkingDirectory_data();
    void projectIsChosenInWorkingDirectory();
    void unreadableProfilesDoNotCount();
    void otherFilesAreNoProject_data();
    void otherFilesAreNoProject();
    void errorOfCurrentSchemaEndsTheSearch();
    void pathsFollowTheProjectFile_data();
    void pathsFollowTheProjectFile();
    void otherLanguagesInNames_data();
    void otherLanguagesInNames();
};

void tst_ProjectChoice::projectIsChosenInWorkingDirectory_data()
{
    QTest::addColumn<QByteArrayList>("files");
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<QByteArray>("chosen");

    const QByteArrayList none;
    QTest::newRow("nothing there") << none << none << QByteArray();
    QTest::newRow("other extensions")
            << QByteArrayList{"box.xml", "ztp", "box.ztp.bak"} << none << QByteArray();
    QTest::newRow("a single one") << QByteArrayList{"other.ztp"} << none << QByteArray("other.ztp");
    QTest::newRow("an empty file name counts as none")
            << QByteArrayList{"other.ztp"} << QByteArrayList{""} << QByteArray("other.ztp");
    QTest::newRow("two") << QByteArrayList{"more.ztp", "other.ztp"} << none << QByteArray();
    QTest::newRow("named as the directory")
            << QByteArrayList{"box.ztp", "other.ztp"} << none << QByteArray("box.ztp");
    QTest::newRow("named as the directory, last")
            << QByteArrayList{"a.ztp", "b.ztp", "box.ztp"} << none << QByteArray("box.ztp");
    QTest::newRow("up to the first dot")
            << QByteArrayList{"a.ztp", "box.v2.ztp"} << none << QByteArray("box.v2.ztp");
    QTest::newRow("the first of several")
            << QByteArrayList{"box.z.ztp", "box.b.ztp", "a.ztp"} << none << QByteArray("box.b.ztp");
    QTest::newRow("other capitals do not fit the directory")
            << QByteArrayList{"Box.ztp", "a.ztp"} << none << QByteArray();
    QTest::newRow("only the beginning of the name")
            << QByteArrayList{"boxes.ztp", "a.ztp"} << none << QByteArray();
    QTest::newRow("hidden ones do not count")
            << QByteArrayList{".hidden.ztp", "a.ztp"} << none << QByteArray("a.ztp");
    QTest::newRow("directories do not count")
            << QByteArrayList{"box.ztp/x", "a.ztp"} << none << QByteArray("a.ztp");
    QTest::newRow("named on the command line")
            << QByteArrayList{"box.ztp", "a.ztp"} << QByteArrayList{"a.ztp"} << QByteArray("a.ztp");
}

void tst_ProjectChoice::projectIsChosenInWorkingDirectory()
{
    QFETCH(QByteArrayList, files);
    QFETCH(QByteArrayList, arguments);
    QFETCH(QByteArray, chosen);
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

void tst_ProjectChoice::unreadableProfilesDoNotCount()
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

void tst_ProjectChoice::otherFilesAreNoProject_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("firmware\n");
    QTest::newRow("another root") << QByteArray("<Project/>\n");
    QTest::newRow("no namespace") << QByteArray(
            "<ZeltaProject><Project Name=\"x\"/></ZeltaProject>");
    QTest::newRow("another namespace")
            << QByteArray("<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2010\">"
                          "<Project Name=\"x\"/></ZeltaProject>");
    QTest::newRow("namespace with a slash more")
            << QByteArray("<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42/\">"
                          "<Project Name=\"x\"/></ZeltaProject>");
    QTest::newRow("another root in the namespace")
            << QByteArray("<Zeltaproject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">"
                          "<Project Name=\"x\"/></Zeltaproject>");
    QTest::newRow("document type first")
            << QByteArray("<!DOCTYPE ZeltaProject>"
                          "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">"
                          "<Project Name=\"x\"/></ZeltaProject>");
    QTest::newRow("broken before the root") << QByteArray("<?xml version=\"1.0\"?><<ZeltaProject");
}

void tst_ProjectChoice::otherFilesAreNoProject()
{
    QFETCH(QByteArray, content);
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

void tst_ProjectChoice::errorOfCurrentSchemaEndsTheSearch()
{
    World world;
    world.project(R"(SDK="../sdk")", "");
    SAME(world.run({world.path("project/demo.ztp")}).text(),
         report(1, {},
                "[ztmake] $W/project/demo.ztp: Error reading $W/project/demo.ztp, Line 3,"
                " Column 22:\n  (<Project>) Project name missing or empty.\n"));
}

void tst_ProjectChoice::pathsFollowTheProjectFile_data()
{
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("directory");
    QTest::addColumn<QByteArray>("prefix");

    QTest::newRow("in it") << QByteArray("demo.ztp") << QByteArray("project") << QByteArray();
    QTest::newRow("in it, with a dot")
            << QByteArray("./demo.ztp") << QByteArray("project") << QByteArray();
    QTest::newRow("above") << QByteArray("project/demo.ztp") << QByteArray()
                           << QByteArray("project/");
    QTest::newRow("beside") << QByteArray("../project/demo.ztp") << QByteArray("home")
                            << QByteArray("../project/");
    QTest::newRow("below") << QByteArray("../demo.ztp") << QByteArray("project/root")
                           << QByteArray("../");
    QTest::newRow("absolute") << QByteArray("/demo.ztp") << QByteArray("home")
                              << QByteArray("$W/project/");
}

void tst_ProjectChoice::pathsFollowTheProjectFile()
{
    QFETCH(QByteArray, argument);
    QFETCH(QByteArray, directory);
    QFETCH(QByteArray, prefix);
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

void tst_ProjectChoice::otherLanguagesInNames_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("UTF-8") << QStringLiteral("C.UTF-8");
    QTest::newRow("C") << QStringLiteral("C");
    QTest::newRow("POSIX") << QStringLiteral("POSIX");
}

void tst_ProjectChoice::otherLanguagesInNames()
{
    QFETCH(QString, locale);
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

QTEST_GUILESS_MAIN(tst_ProjectChoice)
#include "tst_projectchoice.moc"
