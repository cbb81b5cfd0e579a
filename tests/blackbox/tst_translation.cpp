#include "projects.h"
#include "rows.h"

namespace {

const QByteArray off = noPreprocess + noCompile;

/// Filesystem entries whose sources are copied.
QByteArray directories(const QByteArrayList &names)
{
    QByteArray merges;
    for (const QByteArray &name : names)
        merges += merge("Directory", name);
    return process(off) + filesystem(merges);
}

QByteArray translation(const QByteArrayList &names, const QByteArray &attributes = {})
{
    return "<Translation Enabled=\"1\" " + attributes + '>' + languages(names) + "</Translation>";
}

QByteArray update(const QByteArray &arguments)
{
    return "(in $W/project/translations) ztlupdate --xml-report ../obj/translations/report.xml "
           + arguments + '\n';
}

QByteArray release(const QByteArray &language)
{
    return "lrelease -removeidentical -nounfinished -silent translations/" + language
           + ".ts -qm obj/translations/" + language + ".qm\n";
}

QByteArray packWith(QByteArray contents, const QByteArrayList &catalogues)
{
    for (const QByteArray &name : catalogues)
        contents += "-D usr/lib/translations/" + name + ".qm -i obj/translations/" + name + ".qm ";
    return pack(contents);
}

const QByteArray german = "--source-language C --target-language de --ts de.ts ";

} // namespace

class TestTranslation : public QObject
{
    Q_OBJECT

private slots:
    void translationsAreOffUnlessSwitchedOn_data()
    {
        Rows<QByteArray, bool> row; // attribute, on
        row("on", "Enabled=\"yes\"", true);
        row("off", "Enabled=\"no\"", false);
        row("unset", {}, false);
    }
    void translationsAreOffUnlessSwitchedOn()
    {
        const auto [attribute, on] = fetch<QByteArray, bool>();
        World world;
        world.write("project/root/a.lua");
        world.project(demo, directories({"root"}) + "<Translation " + attribute + ">"
                                    + languages({"de"}) + "</Translation>");
        const QByteArray merges = "-i root -D a.lua -i obj/root/a.lua ";
        SAME(direct(world.run({"-q"})).text(),
             report(0,
                    on ? update(german + "../root/a.lua") + release("de") + packWith(merges, {"de"})
                       : pack(merges)));
        QCOMPARE(world.exists("project/translations"), on);
        QCOMPARE(world.exists("project/obj/translations"), on);
    }

    void optionsOfTheUpdate_data()
    {
        // source, attributes, children, options
        Rows<QByteArray, QByteArray, QByteArray, QByteArray> row;
        const auto sourceLanguage = [&](const QByteArray &children, const QByteArray &language) {
            row("default " + children, "root", {}, children, "--source-language " + language);
        };
        sourceLanguage({}, "C");
        sourceLanguage("<Default>en_GB</Default>", "en_GB");
        sourceLanguage("<Default></Default>", "C");
        sourceLanguage("<Default>en</Default><Default>it</Default>", "it");
        row("languages in order", "root", {}, languages({"fr", "a b"}),
            "--source-language C --target-language fr --ts fr.ts"
            " --target-language 'a b' --ts 'a b.ts'");
        const auto base = [&](const QByteArray &source, const QByteArray &directory,
                              const QByteArray &found) {
            row(source + " and " + directory, source, "BaseDir=\"" + directory + '"', {},
                "-B ../" + found + " --source-language C");
        };
        base("root", "/usr/lib/lua", "root/usr/lib/lua");
        base("root", "lua", "root/lua");
        base("root/", "lua", "root/lua");
        base("root/", "/lua/", "root//lua/");
        row("all", "root", "BaseDir=\"/l\"", "<Default>en</Default>" + languages({"de"}),
            "-B ../root/l --source-language en --target-language de --ts de.ts");
    }
    void optionsOfTheUpdate()
    {
        const auto [source, attributes, children, options] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        World world;
        world.write("project/root/a.lua");
        world.project(demo, directories({source}) + "<Translation " + attributes + " Enabled=\"1\">"
                                    + children + "</Translation>");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        const QByteArray calls = result.callText();
        SAME(calls.left(calls.indexOf('\n') + 1), update(options + " ../root/a.lua"));
    }

    void everyEntryIsUpdatedInTurn()
    {
        World world;
        world.write("project/one/sub/a.lua");
        world.write("project/two/b.lua");
        world.project(demo, directories({"one", "two", "one"})
                                    + translation({"de", "fr"}, "BaseDir=\"/l\""));
        const QByteArray targets = " --source-language C --target-language de --ts de.ts"
                                   " --target-language fr --ts fr.ts ";
        const QByteArray first = update("-B ../one/l" + targets + "../one/sub/a.lua");
        SAME(direct(world.run({"-q"})).text(),
             report(0, first + update("-B ../two/l" + targets + "../two/b.lua") + first
                               + release("de") + release("fr")
                               + packWith("-i one -D sub/a.lua -i obj/root/sub/a.lua"
                                          " -i two -D b.lua -i obj/root01/b.lua"
                                          " -i one -D sub/a.lua -i obj/root02/sub/a.lua ",
                                          {"de", "fr"})));
    }

    void pathsOfAProjectElsewhere_data()
    {
        Rows<QByteArray, QByteArray> row; // argument, prefix
        row("relative", "../project/demo.ztp", "../project/");
        row("absolute", "$W/project/demo.ztp", "$W/project/");
    }
    void pathsOfAProjectElsewhere()
    {
        auto [argument, prefix] = fetch<QByteArray, QByteArray>();
        World world;
        world.write("project/root/a.lua");
        world.project(demo, directories({"root"}) + translation({"de"}, "BaseDir=\"/l\""));
        argument.replace("$W", world.path());
        const Result result = world.run({"-q", argument}, {.directory = "home"});
        QCOMPARE(result.status, 0);
        SAME(compilerCalls(result),
             "(in $W/project/translations) ztlupdate --xml-report ../" + prefix
                     + "obj/translations/report.xml -B ../" + prefix + "root/l " + german + "../"
                     + prefix + "root/a.lua\n"
                     + release("de")
                               .replace(" translations/", ' ' + prefix + "translations/")
                               .replace(" obj/", ' ' + prefix + "obj/"));
    }

    void entriesWithoutSourcesAreSkipped()
    {
        World world;
        world.write("project/root/a.txt");
        world.write("project/a.lua");
        world.write("project/translations/de.ts");
        world.write("project/obj/translations/report.xml");
        world.project(demo, filesystem(merge("Directory", "root") + merge("Directory", "missing")
                                       + merge("Archive", "a.lua"))
                                    + translation({"de", "fr"}));
        SAME(direct(world.run({"-q"})).text(),
             report(0, release("de") + release("fr")
                               + packWith("-i root -i missing --merge a.lua ", {"de", "fr"})));
        QVERIFY(world.exists("project/obj/translations/report.xml"));
    }

    void singleFileIsASource()
    {
        World world;
        world.write("project/src/a.lua");
        world.project(demo, process(noPreprocess) + filesystem(merge("File", "src/a.lua", "/a.lua"))
                                    + translation({}, "BaseDir=\"/l\""));
        SAME(direct(world.run({"-q"})).text(),
             report(0, "ztluac -o obj/root.luo -- src/a.lua\n"
                               + update("-B ../src/a.lua/l --source-language C ../src/a.lua")
                               + pack("-D /a.lua -i src/a.lua -D '' -i obj/root.luo ")));
    }

    void oldReportIsRemovedBeforeEachUpdate()
    {
        World world;
        world.write("project/one/a.lua");
        world.write("project/two/b.lua");
        world.write("project/obj/translations/report.xml", "old");
        world.project(demo, directories({"one", "two"}) + translation({}));
        world.plan("ztlupdate", "* probe ../obj/translations/report.xml\n");
        const Result result = world.run({"-q"});
        QCOMPARE(names(result), (QByteArrayList{"ztlupdate", "ztlupdate", "ztmkromfs"}));
        const QByteArrayList missing{"../obj/translations/report.xml missing"};
        QCOMPARE(result.calls[0].probes, missing);
        QCOMPARE(result.calls[1].probes, missing);
        QVERIFY(world.exists("project/obj/translations/report.xml"));

        world.plan("ztlupdate", "* exit 1\n");
        QCOMPARE(world.run({"-q"}).status, 1);
        QVERIFY(!world.exists("project/obj/translations/report.xml"));
    }

    void cataloguesAreReleasedWhenOutOfDate_data()
    {
        // The times of source and catalogue, 0 for a missing one; forced; released.
        Rows<int, int, bool, bool> row;
        row("missing", 5, 0, false, true);
        row("older", 5, 4, false, true);
        row("equal", 5, 5, false, false);
        row("newer", 5, 6, false, false);
        row("newer, forced", 5, 6, true, true);
        row("equal, forced", 5, 5, true, true);
        row("both missing", 0, 0, false, true);
        row("source missing", 0, 5, false, false);
        row("source missing, forced", 0, 5, true, true);
    }
    // The project file, which is younger than all of them, does not matter here.
    void cataloguesAreReleasedWhenOutOfDate()
    {
        const auto [source, catalogue, forced, released] = fetch<int, int, bool, bool>();
        World world(demo, "<Filesystem/>" + translation({"de"}));
        world.setTime("project/demo.ztp", 1000);
        if (source)
            world.write("project/translations/de.ts", "x\n", source);
        if (catalogue)
            world.write("project/obj/translations/de.qm", "x\n", catalogue);
        SAME(world.run({"-q", forced ? "-A" : "-R"}).text(),
             report(0, (released ? release("de") : QByteArray()) + packWith({}, {"de"})));
    }

    void failedUpdateEndsTheBuild()
    {
        World world;
        world.write("project/one/a.lua");
        world.write("project/two/b.lua");
        world.project(demo, directories({"one", "two"}) + translation({"de"}));
        world.plan("ztlupdate", "2 exit 4\n");
        SAME(world.run({"-q"}).text(),
             report(1, update(german + "../one/a.lua") + update(german + "../two/b.lua"),
                    "[ztmake] Command exited with status 4\n"));
        SAME(world.tree("project/obj"),
             "root/\nroot/a.lua\nroot01/\nroot01/b.lua\ntranslations/\n");
    }

    void failedReleaseEndsTheBuild()
    {
        World world(demo, "<Filesystem/>" + translation({"de", "fr"}));
        world.plan("lrelease", "1 partial\n1 exit 1\n");
        SAME(world.run({"-q"}).text(),
             report(1, release("de"), "[ztmake] Command exited with status 1\n"));
        SAME(world.tree("project/obj"), "translations/\ntranslations/de.qm\n");
    }

    void verbosityIsTheProjects()
    {
        World world;
        world.write("project/root/a.lua");
        world.project(demo, process(off) + "<Filesystem Verbose=\"0\">" + merge("Directory", "root")
                                    + "</Filesystem>" + translation({"de"}));
        SAME(world.run({}).err,
             "[ztmake] " + update(german + "../root/a.lua").replace("$W/project/", "") + "[ztmake] "
                     + release("de"));
    }
};

QTEST_GUILESS_MAIN(TestTranslation)
#include "tst_translation.moc"
