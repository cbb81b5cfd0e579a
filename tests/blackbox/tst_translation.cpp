#include "rows.h"
#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray noLua = R"(<Process><Preprocess Type="Ztlpp" Enabled="0"/>
                            <Compile Type="Lua" Enabled="0"/></Process>)";

QByteArray directory(const QByteArray &source)
{
    return "<Merge Type=\"Directory\"><Source>" + source + "</Source></Merge>\n";
}

QByteArray languages(const QByteArrayList &names)
{
    QByteArray text;
    for (const QByteArray &name : names)
        text += "<Language>" + name + "</Language>";
    return text;
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

QByteArray pack(const QByteArray &merges, const QByteArrayList &catalogues = {})
{
    QByteArray text = "ztmkromfs -x .svn -o obj/root.romfs --label root " + merges;
    for (const QByteArray &name : catalogues)
        text += "-D usr/lib/translations/" + name + ".qm -i obj/translations/" + name + ".qm ";
    return text + "-D /etc/version -i obj/version.txt\n";
}

/// Response files are the tool runner's matter; here they would only blur the calls.
QByteArray textOf(Result result)
{
    for (Call &call : result.calls)
        call.responseFile.clear();
    return result.text();
}

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
        world.project(demo, noLua + "<Filesystem>" + directory("root")
                                    + "</Filesystem><Translation " + attribute + ">"
                                    + languages({"de"}) + "</Translation>");
        const QByteArray merges = "-i root -D a.lua -i obj/root/a.lua ";
        SAME(textOf(world.run({"-q"})),
             on ? report(0,
                         update("--source-language C --target-language de --ts de.ts ../root/a.lua")
                                 + release("de") + pack(merges, {"de"}))
                : report(0, pack(merges)));
        QCOMPARE(world.exists("project/translations"), on);
        QCOMPARE(world.exists("project/obj/translations"), on);
    }

    void optionsOfTheUpdate_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, QByteArray>
                row; // source, translation, children, options [translation: attributes of the
                     // element]

        const QByteArray none;
        const QByteArray root = "root";
        row("least", root, none, none, "--source-language C");
        row("source language", root, none, "<Default>en_GB</Default>", "--source-language en_GB");
        row("empty source language", root, none, "<Default></Default>", "--source-language C");
        row("last source language wins", root, none, "<Default>en</Default><Default>it</Default>",
            "--source-language it");
        row("languages in order", root, none, languages({"fr", "a b"}),
            "--source-language C --target-language fr --ts fr.ts"
            " --target-language 'a b' --ts 'a b.ts'");
        row("base directory", root, "BaseDir=\"/usr/lib/lua\"", none,
            "-B ../root/usr/lib/lua --source-language C");
        row("base directory without a slash", root, "BaseDir=\"lua\"", none,
            "-B ../root/lua"
            " --source-language C");
        row("source with a slash", "root/", "BaseDir=\"lua\"", none,
            "-B ../root/lua --source-language C");
        row("both slashes", "root/", "BaseDir=\"/lua/\"", none,
            "-B ../root//lua/ --source-language C");
        row("all", root, "BaseDir=\"/l\"", "<Default>en</Default>" + languages({"de"}),
            "-B ../root/l --source-language en --target-language de --ts de.ts");
    }
    void optionsOfTheUpdate()
    {
        const auto [source, translation, children, options] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        World world;
        world.write("project/root/a.lua");
        world.project(demo, noLua + "<Filesystem>" + directory(source)
                                    + "</Filesystem><Translation " + translation + " Enabled=\"1\">"
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
        world.project(demo, "<Filesystem>" + directory("one") + directory("two") + directory("one")
                                    + "</Filesystem><Translation Enabled=\"1\" BaseDir=\"/l\">"
                                    + languages({"de", "fr"}) + "</Translation>");
        world.write("project/obj/root/sub/a.luo", "x\n", 2);
        world.write("project/obj/root/sub/a.lui", "x\n", 2);
        world.write("project/obj/root01/b.luo", "x\n", 2);
        world.write("project/obj/root01/b.lui", "x\n", 2);
        world.write("project/obj/root02/sub/a.luo", "x\n", 2);
        world.write("project/obj/root02/sub/a.lui", "x\n", 2);
        const QByteArray targets = " --source-language C --target-language de --ts de.ts "
                                   "--target-language fr --ts fr.ts ";
        SAME(textOf(world.run({"-q"})),
             report(0, update("-B ../one/l" + targets + "../one/sub/a.lua")
                               + update("-B ../two/l" + targets + "../two/b.lua")
                               + update("-B ../one/l" + targets + "../one/sub/a.lua")
                               + release("de") + release("fr")
                               + pack("-i one -D sub/a.lua -i obj/root/sub/a.luo"
                                      " -i two -D b.lua -i obj/root01/b.luo"
                                      " -i one -D sub/a.lua -i obj/root02/sub/a.luo ",
                                      {"de", "fr"})));
    }

    void pathsOfAProjectElsewhere_data()
    {
        Rows<QByteArray, QByteArray> row; // argument, prefix
        row("relative", "../project/demo.ztp", "../project/");
        row("absolute", "/", "$W/project/");
    }
    void pathsOfAProjectElsewhere()
    {
        auto [argument, prefix] = fetch<QByteArray, QByteArray>();
        World world;
        world.write("project/root/a.lua");
        world.project(demo, noLua + "<Filesystem>" + directory("root")
                                    + "</Filesystem><Translation Enabled=\"1\" BaseDir=\"/l\">"
                                    + languages({"de"}) + "</Translation>");
        if (argument == "/")
            argument = world.path("project/demo.ztp");
        const Result result = world.run({"-q", argument}, {.directory = "home"});
        QCOMPARE(result.status, 0);
        const QByteArray calls = result.callText();
        SAME(calls.left(calls.indexOf("ztmkromfs")),
             "(in $W/project/translations) ztlupdate --xml-report ../" + prefix
                     + "obj/translations/report.xml -B ../" + prefix
                     + "root/l --source-language C --target-language de --ts de.ts ../" + prefix
                     + "root/a.lua\nlrelease -removeidentical -nounfinished -silent " + prefix
                     + "translations/de.ts -qm " + prefix + "obj/translations/de.qm\n");
    }

    void entriesWithoutSourcesAreSkipped()
    {
        World world;
        world.write("project/root/a.txt");
        world.write("project/obj/translations/report.xml");
        world.project(demo, "<Filesystem>" + directory("root") + directory("missing")
                                    + "<Merge Type=\"Archive\"><Source>a.lua</Source></Merge>"
                                      "</Filesystem><Translation Enabled=\"1\">"
                                    + languages({"de", "fr"}) + "</Translation>");
        world.write("project/a.lua");
        world.write("project/translations/de.ts");
        SAME(textOf(world.run({"-q"})),
             report(0, release("de") + release("fr")
                               + pack("-i root -i missing --merge a.lua ", {"de", "fr"})));
        QVERIFY(world.exists("project/obj/translations/report.xml"));
    }

    void singleFileIsASource()
    {
        World world;
        world.write("project/src/a.lua");
        world.project(demo, R"(<Filesystem><Merge Type="File"><Source>src/a.lua</Source>
                           <Destination>/a.lua</Destination></Merge></Filesystem>
                           <Translation Enabled="1" BaseDir="/l"/>)");
        SAME(textOf(world.run({"-q"})),
             report(0,
                    "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root.lui --root src/a.lua"
                    " -- src/a.lua\nztluac -o obj/root.luo -- obj/root.lui\n"
                            + update("-B ../src/a.lua/l --source-language C ../src/a.lua")
                            + pack("-D /a.lua -i src/a.lua -D '' -i obj/root.luo ")));
    }

    void oldReportIsRemovedBeforeEachUpdate()
    {
        World world;
        world.write("project/one/a.lua");
        world.write("project/two/b.lua");
        world.write("project/obj/translations/report.xml", "old");
        world.project(demo, noLua + "<Filesystem>" + directory("one") + directory("two")
                                    + "</Filesystem><Translation Enabled=\"1\"/>");
        world.plan("ztlupdate", "* probe ../obj/translations/report.xml\n");
        const Result result = world.run({"-q"});
        QCOMPARE(result.calls.size(), 3);
        const QByteArrayList missing{"../obj/translations/report.xml missing"};
        QCOMPARE(result.calls[0].probes, missing);
        QCOMPARE(result.calls[1].probes, missing);
        QVERIFY(world.exists("project/obj/translations/report.xml"));

        world.plan("ztlupdate", "* exit 1\n");
        QCOMPARE(world.run({"-q"}).status, 1);
        QVERIFY(!world.exists("project/obj/translations/report.xml"));
    }

    void longUpdateTravelsInAFile()
    {
        World world;
        world.write("project/root/a.lua");
        world.project(demo, noLua + "<Filesystem>" + directory("root")
                                    + "</Filesystem><Translation Enabled=\"1\">"
                                    + languages({"de", "fr", "it"}) + "</Translation>");
        const Result result = world.run({"-q"});
        QCOMPARE(result.status, 0);
        const Call &call = result.calls.first();
        QVERIFY2(call.responseFile.startsWith(world.path("project/obj/args.")),
                 call.responseFile.constData());
        SAME(call.responseText,
             "--xml-report\n../obj/translations/report.xml\n--source-language\nC\n"
             "--target-language\nde\n--ts\nde.ts\n--target-language\nfr\n--ts\nfr.ts\n"
             "--target-language\nit\n--ts\nit.ts\n../root/a.lua\n");
        QCOMPARE(call.directory, world.path("project/translations"));
    }

    void cataloguesAreReleasedWhenOutOfDate_data()
    {
        Rows<int, int, bool, bool>
                row; // source, catalogue, forced, released [source: times; 0: missing]

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
        World world;
        world.project(demo, "<Filesystem/><Translation Enabled=\"1\">" + languages({"de"})
                                    + "</Translation>");
        world.setTime("project/demo.ztp", 1000);
        if (source)
            world.write("project/translations/de.ts", "x\n", source);
        if (catalogue)
            world.write("project/obj/translations/de.qm", "x\n", catalogue);
        SAME(world.run({"-q", forced ? "-A" : "-R"}).text(),
             report(0, (released ? release("de") : QByteArray()) + pack({}, {"de"})));
    }

    void failedUpdateEndsTheBuild()
    {
        World world;
        world.write("project/one/a.lua");
        world.write("project/two/b.lua");
        world.project(demo, noLua + "<Filesystem>" + directory("one") + directory("two")
                                    + "</Filesystem><Translation Enabled=\"1\">" + languages({"de"})
                                    + "</Translation>");
        world.plan("ztlupdate", "2 exit 4\n");
        const QByteArray options = "--source-language C --target-language de --ts de.ts ";
        SAME(world.run({"-q"}).text(),
             report(1, update(options + "../one/a.lua") + update(options + "../two/b.lua"),
                    "[ztmake] Command exited with status 4\n"));
        SAME(world.tree("project/obj"),
             "root/\nroot/a.lua\nroot01/\nroot01/b.lua\ntranslations/\n");
    }

    void failedReleaseEndsTheBuild()
    {
        World world;
        world.project(demo, "<Filesystem/><Translation Enabled=\"1\">" + languages({"de", "fr"})
                                    + "</Translation>");
        world.plan("lrelease", "1 partial\n1 exit 1\n");
        SAME(world.run({"-q"}).text(),
             report(1, release("de"), "[ztmake] Command exited with status 1\n"));
        SAME(world.tree("project/obj"), "translations/\ntranslations/de.qm\n");
    }

    void verbosityIsTheProjects()
    {
        World world;
        world.write("project/root/a.lua");
        world.project(demo, noLua + "<Filesystem Verbose=\"0\">" + directory("root")
                                    + "</Filesystem><Translation Enabled=\"1\">" + languages({"de"})
                                    + "</Translation>");
        SAME(world.run({}).err,
             "[ztmake] (in translations) ztlupdate --xml-report ../obj/translations/report.xml"
             " --source-language C --target-language de --ts de.ts ../root/a.lua\n[ztmake] "
                     + release("de"));
    }
};

QTEST_GUILESS_MAIN(TestTranslation)
#include "tst_translation.moc"
