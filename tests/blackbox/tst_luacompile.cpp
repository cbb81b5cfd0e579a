#include "world.h"

#include <QTest>

#include <algorithm>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray noPreprocess = R"(<Preprocess Type="Ztlpp" Enabled="0"/>)";
const QByteArray noCompile = R"(<Compile Type="Lua" Enabled="0"/>)";

constexpr qint64 millisecond = 1000000;

/// A project that merges one source tree (or file) with some processing options.
void writeProject(World &world, const QByteArray &process, const QByteArray &source = "root",
                  const QByteArray &attributes = demo)
{
    world.project(attributes, "<Filesystem><Merge Type=\"Directory\"><Source>" + source
                                      + "</Source></Merge></Filesystem><Process>" + process
                                      + "</Process>");
    world.setTime("project/demo.ztp", -1000 * millisecond);
}

QByteArray preprocess(const QByteArray &name)
{
    return "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/" + name
           + ".lui --root root -- root/" + name + ".lua\n";
}

QByteArray compile(const QByteArray &name)
{
    return "ztluac -o obj/root/" + name + ".luo -- obj/root/" + name + ".lui\n";
}

/// The calls of a run before the image is packed.
QByteArray compilerCalls(const Result &result)
{
    const QByteArray calls = result.callText();
    return calls.left(calls.indexOf("ztmkromfs"));
}

/// The arguments of the image between the source tree and the version file.
QByteArray objectArguments(const Result &result)
{
    if (result.calls.isEmpty() || result.calls.last().name != "ztmkromfs")
        return "no image";
    QByteArrayList arguments = result.calls.last().arguments;
    return arguments.mid(8, arguments.size() - 12).join(' ');
}

} // namespace

class tst_LuaCompile : public QObject
{
    Q_OBJECT

private slots:
    void treeIsWalkedInTheOrderOfTheFileSystem();
    void onlyLuaFilesAreProcessed();
    void hiddenEntriesAreIgnored();
    void folderThatMustNotBeReadIsLeftOut();
    void sourcesLostDuringTheWalkAreSkipped();
    void entryIsTakenForWhatItIsAtItsTurn();
    void linkLoopEndsWhereTheSystemGivesUp();
    void brokenAndLinkedEntries();
    void namesOfObjects_data();
    void namesOfObjects();
    void objectsAreListedWhenUpToDate();
    void stagesOfAnEntry_data();
    void stagesOfAnEntry();
    void sourceThatIsAFile_data();
    void sourceThatIsAFile();
    void missingSourceIsNoError_data();
    void missingSourceIsNoError();
    void sdkIncludeDirectoryFollowsTheSdk();
};

void tst_LuaCompile::treeIsWalkedInTheOrderOfTheFileSystem()
{
    World world;
    writeProject(world, noPreprocess);
    for (const char *name : {"m", "a", "z", "b", "y", "q", "sub1/c", "sub1/deep/d", "sub2/e"})
        world.write("project/root/" + QByteArray(name) + ".lua");
    world.write("project/root/not.txt");

    QByteArray calls;
    QByteArrayList objects;
    const auto walk = [&](const QByteArray &directory, const auto &self) -> void {
        for (const QByteArray &entry : world.entries("project/root/" + directory)) {
            const QByteArray path = directory + entry;
            if (path.endsWith(".txt"))
                continue;
            if (!path.endsWith(".lua")) {
                self(path + '/', self);
                continue;
            }
            const QByteArray object = "obj/root/" + path.chopped(1) + 'o';
            calls += "ztluac -o " + object + " -- root/" + path + '\n';
            objects << "-D" << path << "-i" << object;
        }
    };
    walk({}, walk);
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(compilerCalls(result), calls);
    SAME(objectArguments(result), objects.join(' '));
    QCOMPARE(objects.size(), 9 * 4);
}

void tst_LuaCompile::onlyLuaFilesAreProcessed()
{
    World world;
    writeProject(world, {});
    for (const char *name : {"a.txt", "b.lua", "c.luo", "d.lua.bak", "lua", "elua", "f.lui"})
        world.write("project/root/" + QByteArray(name));
    const Result result = world.run({"-q"});
    SAME(compilerCalls(result), preprocess("b") + compile("b"));
    SAME(objectArguments(result), "-D b.lua -i obj/root/b.luo");
    SAME(world.tree("project/obj"), "root/\nroot/b.lui\nroot/b.luo\nversion.txt\n");
}

void tst_LuaCompile::hiddenEntriesAreIgnored()
{
    World world;
    writeProject(world, {});
    world.write("project/root/.hidden.lua");
    world.write("project/root/.svn/a.lua");
    world.write("project/root/sub/.lua");
    const Result result = world.run({"-q"});
    SAME(compilerCalls(result), "");
    SAME(objectArguments(result), "");
    SAME(world.tree("project/obj"), "root/\nversion.txt\n");
}

void tst_LuaCompile::folderThatMustNotBeReadIsLeftOut()
{
    World world;
    writeProject(world, {});
    world.write("project/root/a.lua");
    world.write("project/root/sub/b.lua");
    world.setMode("project/root/sub", 0);
    const Result result = world.run({"-q"}, {.ordinaryUser = true});
    world.setMode("project/root/sub", 0755);
    SAME(compilerCalls(result), preprocess("a") + compile("a"));
    SAME(objectArguments(result), "-D a.lua -i obj/root/a.luo");
    SAME(result.err, "");
}

void tst_LuaCompile::sourcesLostDuringTheWalkAreSkipped()
{
    World world;
    writeProject(world, noPreprocess);
    world.write("project/root/sub/first.lua");
    int number = 0;
    do {
        const QByteArray name = "root/later" + QByteArray::number(number++);
        world.write("project/" + name + ".lua");
        world.write("project/obj/" + name + ".luo", "x\n", 1);
    } while (world.entries("project/root").last() == "sub");
    QByteArrayList objects;
    for (const QByteArray &entry : world.entries("project/root")) {
        const QByteArray source = entry == "sub" ? "sub/first.lua" : entry;
        objects << "-D " + source + " -i obj/root/" + source.chopped(1) + 'o';
        if (entry == "sub")
            break;
    }
    world.plan("ztluac", "1 remove root\n1 write root x\n");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(result.err, "");
    SAME(compilerCalls(result), "ztluac -o obj/root/sub/first.luo -- root/sub/first.lua\n");
    SAME(objectArguments(result), objects.join(' '));
}

void tst_LuaCompile::entryIsTakenForWhatItIsAtItsTurn()
{
    World world;
    writeProject(world, noPreprocess);
    world.write("project/root/a.lua/x.lua");
    world.write("project/root/b.lua/x.lua");
    const QByteArrayList order = world.entries("project/root");
    const QByteArray first = order[0].left(1);
    const QByteArray second = order[1].left(1);
    world.plan("ztluac", "1 remove root/" + second + ".lua\n1 write root/" + second + ".lua x\n");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(result.err, "");
    SAME(compilerCalls(result), "ztluac -o obj/root/" + first + ".lua/x.luo -- root/" + first
                                        + ".lua/x.lua\n" + "ztluac -o obj/root/" + second
                                        + ".luo -- root/" + second + ".lua\n");
}

void tst_LuaCompile::linkLoopEndsWhereTheSystemGivesUp()
{
    World world;
    writeProject(world, noPreprocess);
    world.write("project/root/a.lua");
    world.link(".", "project/root/loop");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(result.err, "");
    constexpr int followedLinks = 40;
    const QByteArray calls = compilerCalls(result);
    QCOMPARE(calls.count('\n'), followedLinks + 1);
    QVERIFY(calls.contains(" root/" + QByteArray("loop/").repeated(followedLinks) + "a.lua\n"));
}

void tst_LuaCompile::brokenAndLinkedEntries()
{
    World world;
    writeProject(world, {});
    world.link("missing.lua", "project/root/broken.lua");
    world.write("project/other/a.lua");
    world.link("../other", "project/root/linked");
    SAME(compilerCalls(world.run({"-q"})), preprocess("linked/a") + compile("linked/a"));
    world.remove("project/root/linked");
    world.link("../other/a.lua", "project/root/b.lua");
    SAME(compilerCalls(world.run({"-q"})), preprocess("b") + compile("b"));
}

void tst_LuaCompile::namesOfObjects_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArray>("base"); // of the object's name

    QTest::newRow("plain") << QByteArray("a.lua") << QByteArray("a");
    QTest::newRow("below a directory") << QByteArray("x/y/a.lua") << QByteArray("x/y/a");
    QTest::newRow("two dots") << QByteArray("a.b.lua") << QByteArray("a.b");
    QTest::newRow("upper case") << QByteArray("A.LUA") << QByteArray("A");
    QTest::newRow("mixed case") << QByteArray("a.Lua") << QByteArray("a");
    QTest::newRow("directory with a dot") << QByteArray("x.y/a.lua") << QByteArray("x.y/a");
    QTest::newRow("directory named as a source")
            << QByteArray("x.lua/a.lua") << QByteArray("x.lua/a");
    QTest::newRow("blank") << QByteArray("a b/c d.lua") << QByteArray("a b/c d");
    QTest::newRow("dash") << QByteArray("-a.lua") << QByteArray("-a");
    QTest::newRow("other languages") << QByteArray("größe/日本.lua") << QByteArray("größe/日本");
}

void tst_LuaCompile::namesOfObjects()
{
    QFETCH(QByteArray, source);
    QFETCH(QByteArray, base);
    World world;
    writeProject(world, {});
    world.write("project/root/" + source);
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 3);
    const QByteArrayList preprocessed{
            "--strip", "--trim", "-I", "../sdk/usr/include", "--out", "obj/root/" + base + ".lui",
            "--root",  "root",   "--", "root/" + source};
    const QByteArrayList compiled{"-o", "obj/root/" + base + ".luo", "--",
                                  "obj/root/" + base + ".lui"};
    QCOMPARE(result.calls[0].arguments, preprocessed);
    QCOMPARE(result.calls[1].arguments, compiled);
    SAME(objectArguments(result), "-D " + source + " -i obj/root/" + base + ".luo");
}

void tst_LuaCompile::objectsAreListedWhenUpToDate()
{
    World world;
    writeProject(world, {});
    world.write("project/root/a.lua");
    world.write("project/obj/root/a.lui");
    world.write("project/obj/root/a.luo");
    const Result result = world.run({"-q"});
    SAME(compilerCalls(result), "");
    SAME(objectArguments(result), "-D a.lua -i obj/root/a.luo");
    SAME(world.read("project/obj/root/a.luo"), "x\n");
}

void tst_LuaCompile::stagesOfAnEntry_data()
{
    QTest::addColumn<QByteArray>("process");
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<QByteArray>("object");
    QTest::addColumn<QByteArray>("left");

    QTest::newRow("both") << QByteArray() << preprocess("a") + compile("a") << QByteArray("a.luo")
                          << QByteArray("root/\nroot/a.lui\nroot/a.luo\nversion.txt\n");
    QTest::newRow("preprocessing") << noCompile << preprocess("a") << QByteArray("a.lui")
                                   << QByteArray("root/\nroot/a.lui\nversion.txt\n");
    QTest::newRow("compiling") << noPreprocess
                               << QByteArray("ztluac -o obj/root/a.luo -- root/a.lua\n")
                               << QByteArray("a.luo")
                               << QByteArray("root/\nroot/a.luo\nversion.txt\n");
    QTest::newRow("neither") << noPreprocess + noCompile << QByteArray() << QByteArray("a.lua")
                             << QByteArray("root/\nroot/a.lua\nversion.txt\n");
}

void tst_LuaCompile::stagesOfAnEntry()
{
    QFETCH(QByteArray, process);
    QFETCH(QByteArray, calls);
    QFETCH(QByteArray, object);
    QFETCH(QByteArray, left);
    World world;
    writeProject(world, process);
    world.write("project/root/a.lua");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(compilerCalls(result), calls);
    SAME(objectArguments(result), "-D a.lua -i obj/root/" + object);
    SAME(world.tree("project/obj"), left);
}

void tst_LuaCompile::sourceThatIsAFile_data()
{
    QTest::addColumn<QByteArray>("objectDirectory");
    QTest::addColumn<QByteArray>("process");
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<QByteArray>("object");

    const QByteArray options = "ztlpp --strip --trim -I ../sdk/usr/include --out ";
    QTest::newRow("both") << QByteArray("obj") << QByteArray()
                          << options
                                     + "obj/root.lui --root src/a.lua -- src/a.lua\n"
                                       "ztluac -o obj/root.luo -- obj/root.lui\n"
                          << QByteArray("obj/root.luo");
    QTest::newRow("preprocessing") << QByteArray("obj") << noCompile
                                   << options + "obj/root.lui --root src/a.lua -- src/a.lua\n"
                                   << QByteArray("obj/root.lui");
    QTest::newRow("compiling") << QByteArray("obj") << noPreprocess
                               << QByteArray("ztluac -o obj/root.luo -- src/a.lua\n")
                               << QByteArray("obj/root.luo");
    // The last dot of the whole path counts.
    QTest::newRow("dot in the directory")
            << QByteArray("out.d/obj") << noPreprocess
            << QByteArray("ztluac -o out.luo -- src/a.lua\n") << QByteArray("out.luo");
}

void tst_LuaCompile::sourceThatIsAFile()
{
    QFETCH(QByteArray, objectDirectory);
    QFETCH(QByteArray, process);
    QFETCH(QByteArray, calls);
    QFETCH(QByteArray, object);
    World world;
    writeProject(world, process, "src/a.lua", demo + " ObjectDirectory=\"" + objectDirectory + '"');
    world.write("project/src/a.lua");
    const Result result = world.run({"-q"});
    SAME(compilerCalls(result), calls);
    SAME(objectArguments(result), "-D  -i " + object);
    QVERIFY(world.exists("project/" + object));
    QVERIFY(world.exists("project/" + objectDirectory + "/root"));
    SAME(compilerCalls(world.run({"-q"})), "");
}

void tst_LuaCompile::missingSourceIsNoError_data()
{
    QTest::addColumn<QByteArray>("source");

    QTest::newRow("folder") << QByteArray("missing");
    QTest::newRow("file") << QByteArray("missing.lua");
    QTest::newRow("below a file") << QByteArray("file/a.lua");
    QTest::newRow("link to itself") << QByteArray("loop");
    QTest::newRow("name too long") << QByteArray(300, 'n');
}

void tst_LuaCompile::missingSourceIsNoError()
{
    QFETCH(QByteArray, source);
    World world;
    writeProject(world, {}, source);
    world.write("project/file");
    world.link("loop", "project/loop");
    const Result result = world.run({"-q"});
    QCOMPARE(result.status, 0);
    SAME(result.err, "");
    SAME(compilerCalls(result), "");
    SAME(objectArguments(result), "");
    SAME(world.tree("project/obj"), "root/\nversion.txt\n");
}

void tst_LuaCompile::sdkIncludeDirectoryFollowsTheSdk()
{
    World world;
    writeProject(world, {}, "root", R"(Name="Demo" SDK=")" + world.path("sdk") + '"');
    world.write("project/root/a.lua");
    SAME(compilerCalls(world.run({"-q"})),
         preprocess("a").replace("../sdk", "$W/sdk") + compile("a"));
}

QTEST_GUILESS_MAIN(tst_LuaCompile)
#include "tst_luacompile.moc"
