#include "luaproject.h"
#include "rows.h"

class TestLuaCompile : public QObject
{
    Q_OBJECT

private slots:
    void treeIsWalkedInTheOrderOfTheFileSystem()
    {
        LuaWorld world(noPreprocess);
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

    void onlyLuaFilesAreProcessed()
    {
        LuaWorld world({});
        for (const char *name : {"a.txt", "b.lua", "c.luo", "d.lua.bak", "lua", "elua", "f.lui"})
            world.write("project/root/" + QByteArray(name));
        const Result result = world.run({"-q"});
        SAME(compilerCalls(result), preprocess("b") + compile("b"));
        SAME(objectArguments(result), "-D b.lua -i obj/root/b.luo");
        SAME(world.tree("project/obj"), "root/\nroot/b.lui\nroot/b.luo\nversion.txt\n");
    }

    void hiddenEntriesAreIgnored()
    {
        LuaWorld world({});
        world.write("project/root/.hidden.lua");
        world.write("project/root/.svn/a.lua");
        world.write("project/root/sub/.lua");
        const Result result = world.run({"-q"});
        SAME(compilerCalls(result), "");
        SAME(objectArguments(result), "");
        SAME(world.tree("project/obj"), "root/\nversion.txt\n");
    }

    void sourceThatMustNotBeReadIsWarnedOf()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.setMode("project/root", 0);
        const Result result = world.run({"-q"}, {.ordinaryUser = true});
        world.setMode("project/root", 0755);
        SAME(result.text(),
             report(0, pack("-i root "), "[ztmake] Warning: Cannot read directory root\n"));
    }

    void folderThatMustNotBeReadIsLeftOut()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.write("project/root/sub/b.lua");
        world.setMode("project/root/sub", 0);
        const Result result = world.run({"-q"}, {.ordinaryUser = true});
        world.setMode("project/root/sub", 0755);
        SAME(compilerCalls(result), preprocess("a") + compile("a"));
        SAME(objectArguments(result), "-D a.lua -i obj/root/a.luo");
        SAME(result.err, "");
    }

    void sourcesLostDuringTheWalkAreSkipped()
    {
        LuaWorld world(noPreprocess);
        world.write("project/root/sub/first.lua");
        // Some file systems list what is new at the end, others at the beginning.
        for (int i = 0; i == 0 || world.entries("project/root").last() == "sub"; ++i) {
            const QByteArray name = "root/later" + QByteArray::number(i);
            world.write("project/" + name + ".lua");
            world.write("project/obj/" + name + ".luo", "x\n", 1);
            if (world.entries("project/root").last() == "sub") {
                world.remove("project/root/sub");
                world.write("project/root/sub/first.lua");
            }
        }
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

    void entryIsTakenForWhatItIsAtItsTurn()
    {
        LuaWorld world(noPreprocess);
        world.write("project/root/a.lua/x.lua");
        world.write("project/root/b.lua/x.lua");
        const QByteArrayList order = world.entries("project/root");
        const QByteArray first = order[0].left(1);
        const QByteArray second = order[1].left(1);
        world.plan("ztluac",
                   "1 remove root/" + second + ".lua\n1 write root/" + second + ".lua x\n");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(result.err, "");
        SAME(compilerCalls(result), "ztluac -o obj/root/" + first + ".lua/x.luo -- root/" + first
                                            + ".lua/x.lua\n" + "ztluac -o obj/root/" + second
                                            + ".luo -- root/" + second + ".lua\n");
    }

    // Two of them would be followed forever: each doubles the paths.
    void linkBackToTheWayIsNotFollowed()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.write("project/root/sub/b.lua");
        world.link(".", "project/root/loop");
        world.link("../../root", "project/root/sub/up");
        world.link("..", "project/root/sub/again");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(result.err, "");
        const QByteArray calls = compilerCalls(result);
        QCOMPARE(calls.count('\n'), 4);
        QVERIFY(calls.contains(compile("a")) && calls.contains(compile("sub/b")));
    }

    void brokenAndLinkedEntries()
    {
        LuaWorld world({});
        world.link("missing.lua", "project/root/broken.lua");
        world.write("project/other/a.lua");
        world.link("../other", "project/root/linked");
        SAME(compilerCalls(world.run({"-q"})), preprocess("linked/a") + compile("linked/a"));
        world.remove("project/root/linked");
        world.link("../other/a.lua", "project/root/b.lua");
        SAME(compilerCalls(world.run({"-q"})), preprocess("b") + compile("b"));
    }

    void namesOfObjects()
    {
        for (const QByteArray &source :
             QByteArrayList{"a.lua", "x/y/a.lua", "a.b.lua", "A.LUA", "a.Lua", "x.y/a.lua",
                            "x.lua/a.lua", "a b/c d.lua", "-a.lua", "größe/日本.lua"}) {
            const QByteArray base = source.chopped(4);
            LuaWorld world({});
            world.write("project/root/" + source);
            const Result result = world.run({"-q"});
            QCOMPARE(result.status, 0);
            QCOMPARE(names(result), (QByteArrayList{"ztlpp", "ztluac", "ztmkromfs"}));
            SAME(result.calls[0].arguments.join('|'),
                 "--strip|--trim|-I|../sdk/usr/include|--out|obj/root/" + base
                         + ".lui|--root|root|--|root/" + source);
            SAME(result.calls[1].arguments.join('|'),
                 "-o|obj/root/" + base + ".luo|--|obj/root/" + base + ".lui");
            SAME(objectArguments(result), "-D " + source + " -i obj/root/" + base + ".luo");
        }
    }

    void objectsAreListedWhenUpToDate()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.write("project/obj/root/a.lui");
        world.write("project/obj/root/a.luo");
        const Result result = world.run({"-q"});
        SAME(compilerCalls(result), "");
        SAME(objectArguments(result), "-D a.lua -i obj/root/a.luo");
        SAME(world.read("project/obj/root/a.luo"), "x\n");
    }

    void stagesOfAnEntry_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // process, calls, outputs
        row("both", {}, preprocess("a") + compile("a"), "a.lui a.luo");
        row("preprocessing", noCompile, preprocess("a"), "a.lui");
        row("compiling", noPreprocess, "ztluac -o obj/root/a.luo -- root/a.lua\n", "a.luo");
        row("neither", noPreprocess + noCompile, {}, "a.lua");
    }
    void stagesOfAnEntry()
    {
        const auto [process, calls, outputs] = fetch<QByteArray, QByteArray, QByteArray>();
        LuaWorld world(process);
        world.write("project/root/a.lua");
        const QByteArrayList names = outputs.split(' ');
        SAME(world.run({"-q"}).text(),
             report(0, calls + pack("-i root -D a.lua -i obj/root/" + names.last() + ' ')));
        SAME(world.tree("project/obj"), "root/\nroot/" + names.join("\nroot/") + "\nversion.txt\n");
    }

    void sourceThatIsAFile_data()
    {
        // object directory, process, calls, object
        Rows<QByteArray, QByteArray, QByteArray, QByteArray> row;
        const QByteArray preprocessed = "ztlpp --strip --trim -I ../sdk/usr/include"
                                        " --out obj/root.lui --root src/a.lua -- src/a.lua\n";
        row("both", "obj", {}, preprocessed + "ztluac -o obj/root.luo -- obj/root.lui\n",
            "obj/root.luo");
        row("preprocessing", "obj", noCompile, preprocessed, "obj/root.lui");
        row("compiling", "obj", noPreprocess, "ztluac -o obj/root.luo -- src/a.lua\n",
            "obj/root.luo");
        // The last dot of the whole path counts.
        row("dot in the directory", "out.d/obj", noPreprocess, "ztluac -o out.luo -- src/a.lua\n",
            "out.luo");
    }
    void sourceThatIsAFile()
    {
        const auto [objectDirectory, process, calls, object] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        LuaWorld world(process, "src/a.lua", demo + " ObjectDirectory=\"" + objectDirectory + '"');
        world.write("project/src/a.lua");
        const Result result = world.run({"-q"});
        SAME(compilerCalls(result), calls);
        SAME(objectArguments(result), "-D  -i " + object);
        QVERIFY(world.exists("project/" + object));
        QVERIFY(world.exists("project/" + objectDirectory + "/root"));
        SAME(compilerCalls(world.run({"-q"})), "");
    }

    void missingSourceIsNoError_data()
    {
        Rows<QByteArray> row; // source
        row("folder", "missing");
        row("file", "missing.lua");
        row("below a file", "file/a.lua");
        row("link to itself", "loop");
        row("name too long", QByteArray(300, 'n'));
    }
    void missingSourceIsNoError()
    {
        const auto [source] = fetch<QByteArray>();
        LuaWorld world({}, source);
        world.write("project/file");
        world.link("loop", "project/loop");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        SAME(result.err, "");
        SAME(compilerCalls(result), "");
        SAME(objectArguments(result), "");
        SAME(world.tree("project/obj"), "root/\nversion.txt\n");
    }

    // Each file is compiled once for every path to it that does not pass the same folder twice.
    void linksToFoldersOnTheWay()
    {
        LuaWorld world({});
        world.write("project/root/a.lua");
        world.write("project/root/sub/b.lua");
        world.link(".", "project/root/self");
        world.link("..", "project/root/sub/parent");
        world.link("../..", "project/root/sub/project");
        world.link("../sub", "project/root/sub/self");
        world.link("sub", "project/root/twin");
        const Result result = world.run({"-q"});
        SAME(result.err, "");
        QCOMPARE(result.status, 0);
        QCOMPARE(names(result).count("ztlpp"), 3);
    }

    void sdkIncludeDirectoryFollowsTheSdk()
    {
        World world;
        world.project("Name=\"Demo\" SDK=\"" + world.path("sdk") + '"', tree());
        world.write("project/root/a.lua");
        SAME(compilerCalls(world.run({"-q"})),
             preprocess("a").replace("../sdk", "$W/sdk") + compile("a"));
    }
};

QTEST_GUILESS_MAIN(TestLuaCompile)
#include "tst_luacompile.moc"
