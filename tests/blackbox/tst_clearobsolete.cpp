#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";

QByteArray languages(const QByteArrayList &names)
{
    QByteArray text = "<Translation>";
    for (const QByteArray &name : names)
        text += "<Language>" + name + "</Language>";
    return text + "</Translation>";
}

} // namespace

class tst_ClearObsolete : public QObject
{
    Q_OBJECT

private slots:
    void callOfTheOperation_data();
    void callOfTheOperation();
    void pathsOfTheReport_data();
    void pathsOfTheReport();
    void nothingElseIsDone();
    void oldReportIsRemovedFirst();
    void failures_data();
    void failures();
    void manyLanguagesTravelInAFile();
    void verbosity_data();
    void verbosity();
};

void tst_ClearObsolete::callOfTheOperation_data()
{
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArray>("options");

    QTest::newRow("no languages") << QByteArray() << QByteArray();
    QTest::newRow("two languages")
            << languages({"de", "fr"}) << QByteArray(" --ts de.ts --ts fr.ts");
    QTest::newRow("in their order, twice when named twice")
            << languages({"fr", "de", "fr"}) << QByteArray(" --ts fr.ts --ts de.ts --ts fr.ts");
    QTest::newRow("translations that are off")
            << QByteArray("<Translation Enabled=\"0\" BaseDir=\"/l\"><Default>en</Default>"
                          "<Language>de</Language></Translation>")
            << QByteArray(" --ts de.ts");
    QTest::newRow("names with dots and blanks")
            << languages({"pt_BR", "a b", "sub/x", ""})
            << QByteArray(" --ts pt_BR.ts --ts 'a b.ts' --ts sub/x.ts --ts .ts");
    QTest::newRow("filesystems that would not be built")
            << "<Filesystem Label=\"x\"/><Filesystem/>" + languages({"de"})
            << QByteArray(" --ts de.ts");
}

void tst_ClearObsolete::callOfTheOperation()
{
    QFETCH(QByteArray, children);
    QFETCH(QByteArray, options);
    World world;
    world.project(demo, children);
    world.makeDirectory("project/translations/sub");
    SAME(world.run({"-q", "--clearobsolete"}).text(),
         report(0, "(in $W/project/translations) ztlupdate --clearobsolete"
                   " --xml-report ../obj/translations/report.xml"
                           + options + '\n'));
}

void tst_ClearObsolete::pathsOfTheReport_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("directory");
    QTest::addColumn<QByteArray>("path");

    const QByteArray here = "demo.ztp";
    QTest::newRow("default") << QByteArray() << here << QByteArray("$W/project/translations")
                             << QByteArray("../obj/translations/report.xml");
    QTest::newRow("object directory") << QByteArray(R"(ObjectDirectory="a/b")") << here
                                      << QByteArray("$W/project/translations")
                                      << QByteArray("../a/b/translations/report.xml");
    QTest::newRow("absolute object directory")
            << QByteArray(R"(ObjectDirectory="/nowhere/o")") << here
            << QByteArray("$W/project/translations")
            << QByteArray("..//nowhere/o/translations/report.xml");
    QTest::newRow("project directory") << QByteArray(R"(ProjectDirectory="sub")") << here
                                       << QByteArray("$W/project/sub/translations")
                                       << QByteArray("../sub/obj/translations/report.xml");
    QTest::newRow("project file elsewhere")
            << QByteArray() << QByteArray("../project/demo.ztp")
            << QByteArray("$W/project/translations")
            << QByteArray("../../project/obj/translations/report.xml");
}

void tst_ClearObsolete::pathsOfTheReport()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, argument);
    QFETCH(QByteArray, directory);
    QFETCH(QByteArray, path);
    World world;
    world.project("Name=\"Demo\" SDK=\"" + world.path("sdk") + "\" " + attributes,
                  languages({"de"}));
    world.makeDirectory("project/translations");
    world.makeDirectory("project/sub/translations");
    const Result result = world.run({"-q", "--clearobsolete", argument});
    const QByteArrayList expected{"--clearobsolete", "--xml-report", path, "--ts", "de.ts"};
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 1);
    QCOMPARE(result.calls[0].arguments, expected);
    QCOMPARE(result.calls[0].directory, QByteArray(directory).replace("$W", world.path()));
}

void tst_ClearObsolete::nothingElseIsDone()
{
    World world;
    world.project(demo + R"( Svnversion="1")",
                  languages({"de"})
                          + R"(<Target Model="T1"/><MTD16 Enabled="1"/><Startup File="a.lua"/>
                               <Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
                               </Filesystem>)");
    world.write("project/root/a.lua");
    world.write("project/firmware/T1-Demo-firmware.ztf");
    world.write("project/translations/de.ts", "old");
    QCOMPARE(world.run({"-q", "--clearobsolete"}).calls.size(), 1);
    SAME(world.tree("project"),
         "demo.ztp\nfirmware/\nfirmware/T1-Demo-firmware.ztf\nroot/\nroot/a.lua\ntranslations/\n"
         "translations/de.ts\n");
}

void tst_ClearObsolete::oldReportIsRemovedFirst()
{
    World world;
    world.project(demo, languages({"de"}));
    world.makeDirectory("project/translations");
    world.write("project/obj/translations/report.xml", "old");
    world.plan("ztlupdate", "* probe ../obj/translations/report.xml\n");
    const Result result = world.run({"-q", "--clearobsolete"});
    QCOMPARE(result.calls.size(), 1);
    QCOMPARE(result.calls[0].probes, QByteArrayList{"../obj/translations/report.xml missing"});
    QVERIFY(world.exists("project/obj/translations/report.xml"));
    world.plan("ztlupdate", "* exit 1\n");
    SAME(world.run({"-q", "--clearobsolete", "--report"}).text(),
         report(1,
                "(in $W/project/translations) ztlupdate --clearobsolete"
                " --xml-report ../obj/translations/report.xml --ts de.ts\n",
                "[ztmake] Command exited with status 1\n"));
    SAME(world.tree("project/obj"), "translations/\n");
}

void tst_ClearObsolete::failures_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("status") << QByteArray("* exit 7\n")
                            << QByteArray("Command exited with status 7");
    QTest::newRow("crash") << QByteArray("* kill\n") << QByteArray("Command crashed");
    QTest::newRow("missing tool") << QByteArray("tool")
                                  << QByteArray("Command failed to run: $W/sdk/bin/ztlupdate");
    QTest::newRow("missing directory")
            << QByteArray("directory") << QByteArray("Command failed to run: $W/sdk/bin/ztlupdate");
}

void tst_ClearObsolete::failures()
{
    QFETCH(QByteArray, plan);
    QFETCH(QByteArray, error);
    World world;
    world.project(demo, languages({"de"}));
    if (plan != "directory")
        world.makeDirectory("project/translations");
    if (plan == "tool")
        world.remove("sdk/bin/ztlupdate");
    else if (plan != "directory")
        world.plan("ztlupdate", plan);
    const Result result = world.run({"-q", "--noobsolete"});
    QCOMPARE(result.status, 1);
    SAME(result.err, "[ztmake] " + error + '\n');
    QCOMPARE(world.exists("project/translations"), plan != "directory");
}

void tst_ClearObsolete::manyLanguagesTravelInAFile()
{
    World world;
    world.project(demo, languages({"a", "b", "c", "d", "e", "f", "g"}));
    world.makeDirectory("project/translations");
    world.makeDirectory("project/obj");
    const Result result = world.run({"-q", "--clearobsolete"});
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 1);
    SAME(result.calls[0].responseText,
         "--clearobsolete\n--xml-report\n../obj/translations/report.xml\n--ts\na.ts\n--ts\nb.ts\n"
         "--ts\nc.ts\n--ts\nd.ts\n--ts\ne.ts\n--ts\nf.ts\n--ts\ng.ts\n");
    SAME(world.tree("project/obj"), "");
}

void tst_ClearObsolete::verbosity_data()
{
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<bool>("echoed");
    QTest::newRow("quiet") << QByteArray("-q") << false;
    QTest::newRow("default") << QByteArray("-R") << true;
    QTest::newRow("verbose") << QByteArray("-vv") << true;
}

void tst_ClearObsolete::verbosity()
{
    QFETCH(QByteArray, option);
    QFETCH(bool, echoed);
    World world;
    world.project(demo + R"( Verbose="0")", languages({"de"}));
    world.makeDirectory("project/translations");
    SAME(world.run({option, "--clearobsolete"}).err,
         echoed ? "[ztmake] (in translations) ztlupdate --clearobsolete"
                  " --xml-report ../obj/translations/report.xml --ts de.ts\n"
                : "");
}

QTEST_GUILESS_MAIN(tst_ClearObsolete)
#include "tst_clearobsolete.moc"
