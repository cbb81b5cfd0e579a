#include "projects.h"
#include "rows.h"

namespace {

const QByteArray usage = "\nUsage: ztmake [--all] [--clearobsolete] <projectfile>\n";
const QByteArray packAndLink = pack("-i root -D a.lua -i obj/root/a.luo ") + linkTo("T1");
const QByteArray clearObsolete = "(in $W/project/translations) ztlupdate --clearobsolete"
                                 " --xml-report ../obj/translations/report.xml --ts de.ts\n";

/// A project of one Lua file, built and up to date.
class BuiltWorld : public World
{
public:
    explicit BuiltWorld()
    {
        project(demo, "<Target Model=\"T1\"/>" + ::tree() + "<Translation>" + languages({"de"})
                              + "</Translation>");
        makeDirectory("project/translations");
        write("project/root/a.lua");
        write("project/obj/root/a.lui");
        write("project/obj/root/a.luo");
        write("project/firmware/T9-Demo-0.1-firmware.ztf");
    }
};

} // namespace

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void optionsChooseTheOperation_data()
    {
        Rows<QByteArrayList, QByteArray, bool> row; // arguments, calls, whether old firmware stays
        const QByteArray all = preprocess("a") + compile("a") + packAndLink;
        row("none", {"-q", "demo.ztp"}, packAndLink, false);
        row("after the file", {"demo.ztp", "-q"}, packAndLink, false);
        row("end of options", {"-q", "--", "demo.ztp"}, packAndLink, false);
        row("all", {"-qRA", "demo.ztp"}, all, false);
        row("all last", {"-q", "--clearobsolete", "--cleanfirmwarefolder", "demo.ztp", "--all"},
            all, false);
        row("clear", {"-q", "--clearobsolete", "demo.ztp"}, clearObsolete, true);
        row("clear, abbreviated", {"-q", "--no", "demo.ztp"}, clearObsolete, true);
        row("clear last", {"-q", "--cleanfirmwarefolder", "-A", "--noobsolete"}, clearObsolete,
            true);
        row("clean", {"-q", "--cleanfirmwarefolder", "demo.ztp"}, {}, false);
        row("clean last", {"-q", "-A", "--noobsolete", "--cleanfirmwarefolder"}, {}, false);
    }
    void optionsChooseTheOperation()
    {
        const auto [arguments, calls, oldFirmwareStays] = fetch<QByteArrayList, QByteArray, bool>();
        BuiltWorld world;
        SAME(world.run(arguments).text(), report(0, calls));
        QCOMPARE(world.exists("project/firmware/T9-Demo-0.1-firmware.ztf"), oldFirmwareStays);
    }

    void optionsChooseTheVerbosity_data()
    {
        Rows<QByteArrayList, int> row; // options, level
        row("none", {}, 1);
        row("-q", {"-q"}, 0);
        row("--quiet", {"--quiet"}, 0);
        row("-v", {"-v"}, 2);
        row("--verbose", {"--verbose"}, 2);
        row("-v -v", {"-v", "-v"}, 3);
        row("-vvv", {"-vvv"}, 4);
        row("-q -v", {"-q", "-v"}, 1);
        row("-v -q", {"-v", "-q"}, 0);
        row("-vvqvv", {"-vvqvv"}, 2);
    }
    void optionsChooseTheVerbosity()
    {
        const auto [options, level] = fetch<QByteArrayList, int>();
        BuiltWorld world;
        QByteArray calls = packAndLink;
        if (level > 1) // the seventeenth argument
            calls.replace("ztmkromfs ", "ztmkromfs@ -" + QByteArray(level - 1, 'v') + ' ');
        QByteArray err = level > 0 ? echoOf(calls) : QByteArray();
        if (level > 1)
            err.replace("[ztmake] ztlink",
                        "[ztmake] Removing T9-Demo-0.1-firmware.ztf\n[ztmake] ztlink");

        SAME(world.run(options + QByteArrayList{"demo.ztp"}).text(), report(0, calls, err));
    }

    void usageIsShown()
    {
        for (const QByteArray &arguments :
             QByteArrayList{"-D demo.ztp", "-qD demo.ztp", "-?", "--help", "-A demo.ztp --help",
                            "demo.ztp demo.ztp", "demo.ztp -q a.ztp b.ztp", " demo.ztp"}) {
            BuiltWorld world;
            SAME(world.run(arguments.split(' ')).text(), report(1, {}, usage));
            QVERIFY(world.exists("project/firmware/T9-Demo-0.1-firmware.ztf"));
        }
    }

    void optionParserComplainsFirst_data()
    {
        Rows<QByteArrayList, QByteArray> row; // arguments, named
        row("short", {"-x", "demo.ztp"}, "'x'");
        row("long", {"--frobnicate", "demo.ztp"}, "--frobnicate");
        row("ambiguous", {"--clea", "demo.ztp"}, "--clea");
        row("argument of an option without one", {"--all=yes", "demo.ztp"}, "--all");
    }
    void optionParserComplainsFirst()
    {
        const auto [arguments, named] = fetch<QByteArrayList, QByteArray>();
        BuiltWorld world;
        const Result result = world.run(arguments);
        QCOMPARE(result.status, 1);
        QVERIFY(result.calls.isEmpty());
        SAME(result.out, "");
        const QByteArray complaint = result.err.left(result.err.indexOf('\n') + 1);
        QVERIFY2(complaint.startsWith("$W/sdk/bin/ztmake: "), complaint.constData());
        QVERIFY2(complaint.contains(named), complaint.constData());
        SAME(result.err.mid(complaint.size()), usage);
    }

    void verboseAttributeOfTheProjectHasNoEffect()
    {
        for (const char *verbose : {"0", "1", "3", "-1"}) {
            World world(demo + " Verbose=\"" + verbose + '"', "<Filesystem/>");
            SAME(world.run({}).text(), report(0, pack(), echoOf(pack())));
            SAME(world.run({"-q"}).text(), report(0, pack()));
        }
    }

    void messagesBearTheNameOfTheProgram_data()
    {
        Rows<QByteArray, QByteArray> row; // program, name
        row("plain", "other/builder", "builder");
        row("with an extension", "other/builder.exe", "builder");
        row("dot in the directory", "other.d/builder", "builder");
        row("two dots", "other/builder.v2.exe", "builder.v2");
    }
    void messagesBearTheNameOfTheProgram()
    {
        const auto [program, name] = fetch<QByteArray, QByteArray>();
        World world;
        world.link(world.path("sdk/bin/ztmake"), program);
        SAME(world.run({}, {.program = program}).text(),
             report(1, {}, '[' + name + "] Cannot find a unique profile in current directory.\n"));
        SAME(world.run({"--help"}, {.program = program}).text(),
             report(1, {}, "\nUsage: " + name + " [--all] [--clearobsolete] <projectfile>\n"));
        world.project(R"(Name="Demo" SDK="none")", "");
        SAME(world.run({}, {.program = program}).text(),
             report(1, {}, '[' + name + "] Cannot find SDK directory.\n"));
        world.project(demo, minimal);
        QVERIFY(world.run({}, {.program = program}).err.startsWith('[' + name + "] ztmkromfs -x"));
    }

    void localeIsNoMatterForAMessage()
    {
        World world;
        world.setVariable("LC_ALL", "C");
        SAME(world.run({"--help"}).text(), report(1, {}, usage));
    }

    void toolsLieBesideTheRealProgram()
    {
        World world;
        world.link("../sdk/bin/ztmake", "other/ztmake");
        world.project(demo, minimal);
        const Result result = world.run({"-q"}, {.program = "other/ztmake"});
        QCOMPARE(result.calls.size(), 2);
        QCOMPARE(result.calls[0].program, world.path("sdk/bin/ztmkromfs"));
        QCOMPARE(result.calls[1].program, world.path("sdk/bin/ztlink"));
    }

    void programIsFoundOnTheSearchPath()
    {
        World world(demo, minimal);
        world.setVariable("PATH", world.path("sdk/bin"));
        const Result result = world.run({"ztmake", "demo.ztp"}, {.program = "/usr/bin/env"});
        QCOMPARE(result.status, 0);
        QVERIFY(result.err.startsWith("[ztmake] ztmkromfs -x"));
        QCOMPARE(result.calls.size(), 2);
        QCOMPARE(result.calls[0].program, world.path("sdk/bin/ztmkromfs"));
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
