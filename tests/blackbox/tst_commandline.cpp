#include "world.h"

#include <QTest>

namespace {

const QByteArray usage = "\nUsage: ztmake [--all] [--clearobsolete] <projectfile>\n";

const QByteArray packAndLink =
        "ztmkromfs -x .svn -o obj/root.romfs --label root -i root -D a.lua -i obj/root/a.luo"
        " -D /etc/version -i obj/version.txt\n"
        "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/root.romfs"
        " --output firmware/T1-Demo-firmware.ztf --name Demo\n";
const QByteArray compileAll = "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/a.lui "
                              "--root root -- root/a.lua\n"
                              "ztluac -o obj/root/a.luo -- obj/root/a.lui\n";
const QByteArray clearObsolete = "(in $W/project/translations) ztlupdate --clearobsolete"
                                 " --xml-report ../obj/translations/report.xml --ts de.ts\n";

/// A project of one Lua file, built and up to date.
void writeBuiltProject(World &world)
{
    world.project(
            R"(Name="Demo" SDK="../sdk")",
            "<Target Model=\"T1\"/>\n"
            "<Filesystem><Merge Type=\"Directory\"><Source>root</Source></Merge></Filesystem>\n"
            "<Translation><Language>de</Language></Translation>\n");
    world.makeDirectory("project/translations");
    world.write("project/root/a.lua");
    world.write("project/obj/root/a.lui");
    world.write("project/obj/root/a.luo");
    world.write("project/firmware/T9-Demo-0.1-firmware.ztf");
}

void writeMinimalProject(World &world, const QByteArray &name, const QByteArray &project)
{
    world.project("Name=\"" + name + "\" SDK=\"" + world.path("sdk") + '"',
                  "<Target Model=\"T1\"/><Filesystem/>\n", project);
}

} // namespace

class tst_CommandLine : public QObject
{
    Q_OBJECT

private slots:
    void optionsChooseTheOperation_data();
    void optionsChooseTheOperation();
    void optionsChooseTheVerbosity_data();
    void optionsChooseTheVerbosity();
    void usageIsShown_data();
    void usageIsShown();
    void optionParserComplainsFirst_data();
    void optionParserComplainsFirst();
    void verboseAttributeOfTheProjectHasNoEffect_data();
    void verboseAttributeOfTheProjectHasNoEffect();
    void messagesBearTheNameOfTheProgram_data();
    void messagesBearTheNameOfTheProgram();
    void localeIsNoMatterForAMessage();
    void toolsLieBesideTheRealProgram();
    void programIsFoundOnTheSearchPath();
};

void tst_CommandLine::optionsChooseTheOperation_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<bool>("oldFirmwareStays");

    const auto build = [](const char *name, const QByteArrayList &arguments) {
        QTest::newRow(name) << arguments << packAndLink << false;
    };
    const auto buildAll = [](const char *name, const QByteArrayList &arguments) {
        QTest::newRow(name) << arguments << compileAll + packAndLink << false;
    };
    const auto clear = [](const char *name, const QByteArrayList &arguments) {
        QTest::newRow(name) << arguments << clearObsolete << true;
    };
    const auto clean = [](const char *name, const QByteArrayList &arguments) {
        QTest::newRow(name) << arguments << QByteArray() << false;
    };
    build("none", {"-q", "demo.ztp"});
    build("report", {"-q", "-R", "demo.ztp"});
    build("long report", {"-q", "--report", "demo.ztp"});
    build("after the file", {"demo.ztp", "-q"});
    build("end of options", {"-q", "--", "demo.ztp"});
    buildAll("-A", {"-q", "-A", "demo.ztp"});
    buildAll("--all", {"-q", "--all", "demo.ztp"});
    buildAll("grouped", {"-qRA", "demo.ztp"});
    buildAll("all after the file", {"-q", "demo.ztp", "--all"});
    buildAll("all after the others", {"-q", "--clearobsolete", "--cleanfirmwarefolder", "-A"});
    clear("--clearobsolete", {"-q", "--clearobsolete", "demo.ztp"});
    clear("--noobsolete", {"-q", "--noobsolete", "demo.ztp"});
    clear("--clearobsolete last", {"-q", "--all", "--clearobsolete", "demo.ztp"});
    clear("--noobsolete last", {"-q", "--cleanfirmwarefolder", "-A", "--noobsolete", "demo.ztp"});
    clear("abbreviated", {"-q", "--no", "demo.ztp"});
    clean("--cleanfirmwarefolder", {"-q", "--cleanfirmwarefolder", "demo.ztp"});
    clean("--cleanfirmwarefolder last", {"-q", "-A", "--noobsolete", "--cleanfirmwarefolder"});
    clean("searched project", {"-q", "--cleanfirmwarefolder"});
}

void tst_CommandLine::optionsChooseTheOperation()
{
    QFETCH(QByteArrayList, arguments);
    QFETCH(QByteArray, calls);
    QFETCH(bool, oldFirmwareStays);
    World world;
    writeBuiltProject(world);

    SAME(world.run(arguments).text(), report(0, calls));
    QCOMPARE(world.exists("project/firmware/T9-Demo-0.1-firmware.ztf"), oldFirmwareStays);
}

void tst_CommandLine::optionsChooseTheVerbosity_data()
{
    QTest::addColumn<QByteArrayList>("options");
    QTest::addColumn<int>("level");

    QTest::newRow("none") << QByteArrayList() << 1;
    QTest::newRow("-q") << QByteArrayList{"-q"} << 0;
    QTest::newRow("--quiet") << QByteArrayList{"--quiet"} << 0;
    QTest::newRow("-v") << QByteArrayList{"-v"} << 2;
    QTest::newRow("--verbose") << QByteArrayList{"--verbose"} << 2;
    QTest::newRow("-v -v") << QByteArrayList{"-v", "-v"} << 3;
    QTest::newRow("-vvv") << QByteArrayList{"-vvv"} << 4;
    QTest::newRow("-q -v") << QByteArrayList{"-q", "-v"} << 1;
    QTest::newRow("-v -q") << QByteArrayList{"-v", "-q"} << 0;
    QTest::newRow("-vvqvv") << QByteArrayList{"-vvqvv"} << 2;
}

void tst_CommandLine::optionsChooseTheVerbosity()
{
    QFETCH(QByteArrayList, options);
    QFETCH(int, level);
    World world;
    writeBuiltProject(world);

    QByteArray calls = packAndLink;
    if (level > 1) // the seventeenth argument
        calls.replace("ztmkromfs ", "ztmkromfs@ -" + QByteArray(level - 1, 'v') + ' ');
    QByteArray err = level > 0 ? echoOf(calls) : QByteArray();
    if (level > 1)
        err.replace("[ztmake] ztlink",
                    "[ztmake] Removing T9-Demo-0.1-firmware.ztf\n[ztmake] ztlink");

    SAME(world.run(options + QByteArrayList{"demo.ztp"}).text(), report(0, calls, err));
}

void tst_CommandLine::usageIsShown_data()
{
    QTest::addColumn<QByteArrayList>("arguments");

    QTest::newRow("-D") << QByteArrayList{"-D", "demo.ztp"};
    QTest::newRow("-D in a group") << QByteArrayList{"-qD", "demo.ztp"};
    QTest::newRow("-?") << QByteArrayList{"-?"};
    QTest::newRow("--help") << QByteArrayList{"--help"};
    QTest::newRow("--help after others") << QByteArrayList{"-A", "demo.ztp", "--help"};
    QTest::newRow("two files") << QByteArrayList{"demo.ztp", "demo.ztp"};
    QTest::newRow("three files") << QByteArrayList{"demo.ztp", "-q", "a.ztp", "b.ztp"};
    QTest::newRow("two files, the first empty") << QByteArrayList{"", "demo.ztp"};
}

void tst_CommandLine::usageIsShown()
{
    QFETCH(QByteArrayList, arguments);
    World world;
    writeBuiltProject(world);
    SAME(world.run(arguments).text(), report(1, {}, usage));
    QVERIFY(world.exists("project/firmware/T9-Demo-0.1-firmware.ztf"));
}

void tst_CommandLine::optionParserComplainsFirst_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<QByteArray>("named");

    QTest::newRow("short") << QByteArrayList{"-x", "demo.ztp"} << QByteArray("'x'");
    QTest::newRow("long") << QByteArrayList{"--frobnicate", "demo.ztp"}
                          << QByteArray("--frobnicate");
    QTest::newRow("ambiguous") << QByteArrayList{"--clea", "demo.ztp"} << QByteArray("--clea");
    QTest::newRow("argument of an option without one")
            << QByteArrayList{"--all=yes", "demo.ztp"} << QByteArray("--all");
}

void tst_CommandLine::optionParserComplainsFirst()
{
    QFETCH(QByteArrayList, arguments);
    QFETCH(QByteArray, named);
    World world;
    writeBuiltProject(world);

    const Result result = world.run(arguments);
    QCOMPARE(result.status, 1);
    QVERIFY(result.calls.isEmpty());
    SAME(result.out, "");
    const QByteArray complaint = result.err.left(result.err.indexOf('\n') + 1);
    QVERIFY2(complaint.startsWith("$W/sdk/bin/ztmake: "), complaint.constData());
    QVERIFY2(complaint.contains(named), complaint.constData());
    SAME(result.err.mid(complaint.size()), usage);
}

void tst_CommandLine::verboseAttributeOfTheProjectHasNoEffect_data()
{
    QTest::addColumn<QByteArray>("verbose");
    for (const char *verbose : {"0", "1", "3", "-1"})
        QTest::newRow(verbose) << QByteArray(verbose);
}

void tst_CommandLine::verboseAttributeOfTheProjectHasNoEffect()
{
    QFETCH(QByteArray, verbose);
    const QByteArray calls =
            "ztmkromfs -x .svn -o obj/root.romfs --label root -D /etc/version -i obj/version.txt\n";
    World world;
    world.project(R"(Name="Demo" SDK="../sdk" Verbose=")" + verbose + '"', "<Filesystem/>\n");
    SAME(world.run({}).text(), report(0, calls, echoOf(calls)));
    SAME(world.run({"-q"}).text(), report(0, calls));
}

void tst_CommandLine::messagesBearTheNameOfTheProgram_data()
{
    QTest::addColumn<QByteArray>("program");
    QTest::addColumn<QByteArray>("name");

    QTest::newRow("plain") << QByteArray("other/builder") << QByteArray("builder");
    QTest::newRow("with an extension") << QByteArray("other/builder.exe") << QByteArray("builder");
    QTest::newRow("dot in the directory") << QByteArray("other.d/builder") << QByteArray("builder");
    QTest::newRow("two dots") << QByteArray("other/builder.v2.exe") << QByteArray("builder.v2");
}

void tst_CommandLine::messagesBearTheNameOfTheProgram()
{
    QFETCH(QByteArray, program);
    QFETCH(QByteArray, name);
    World world;
    world.link(world.path("sdk/bin/ztmake"), program);
    SAME(world.run({}, {.program = program}).text(),
         report(1, {}, '[' + name + "] Cannot find a unique profile in current directory.\n"));
    SAME(world.run({"--help"}, {.program = program}).text(),
         report(1, {}, "\nUsage: " + name + " [--all] [--clearobsolete] <projectfile>\n"));
    world.project(R"(Name="Demo" SDK="none")", "");
    SAME(world.run({}, {.program = program}).text(),
         report(1, {}, '[' + name + "] Cannot find SDK directory.\n"));
    writeMinimalProject(world, "Demo", "project/demo.ztp");
    QVERIFY(world.run({}, {.program = program}).err.startsWith('[' + name + "] ztmkromfs -x"));
}

void tst_CommandLine::localeIsNoMatterForAMessage()
{
    World world;
    world.environment().insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    SAME(world.run({"--help"}).text(), report(1, {}, usage));
}

void tst_CommandLine::toolsLieBesideTheRealProgram()
{
    World world;
    world.link("../sdk/bin/ztmake", "other/ztmake");
    writeMinimalProject(world, "Demo", "project/demo.ztp");
    const Result result = world.run({"-q"}, {.program = "other/ztmake"});
    QCOMPARE(result.calls.size(), 2);
    QCOMPARE(result.calls[0].program, world.path("sdk/bin/ztmkromfs"));
    QCOMPARE(result.calls[1].program, world.path("sdk/bin/ztlink"));
}

void tst_CommandLine::programIsFoundOnTheSearchPath()
{
    World world;
    writeMinimalProject(world, "Demo", "project/demo.ztp");
    world.environment().insert(QStringLiteral("PATH"), QString::fromUtf8(world.path("sdk/bin")));
    const Result result = world.run({"ztmake", "demo.ztp"}, {.program = "/usr/bin/env"});
    QCOMPARE(result.status, 0);
    QVERIFY(result.err.startsWith("[ztmake] ztmkromfs -x"));
    QCOMPARE(result.calls.size(), 2);
    QCOMPARE(result.calls[0].program, world.path("sdk/bin/ztmkromfs"));
}

QTEST_GUILESS_MAIN(tst_CommandLine)
#include "tst_commandline.moc"
