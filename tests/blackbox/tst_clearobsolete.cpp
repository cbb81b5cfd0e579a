#include "rows.h"
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

class TestClearObsolete : public QObject
{
    Q_OBJECT

private slots:
    void callOfTheOperation_data()
    {
        Rows<QByteArray, QByteArray> row; // children, options

        row("no languages", {}, {});
        row("two languages", languages({"de", "fr"}), " --ts de.ts --ts fr.ts");
        row("in their order, twice when named twice", languages({"fr", "de", "fr"}),
            " --ts fr.ts --ts de.ts --ts fr.ts");
        row("translations that are off",
            "<Translation Enabled=\"0\" BaseDir=\"/l\"><Default>en</Default>"
            "<Language>de</Language></Translation>",
            " --ts de.ts");
        row("names with dots and blanks", languages({"pt_BR", "a b", "sub/x", ""}),
            " --ts pt_BR.ts --ts 'a b.ts' --ts sub/x.ts --ts .ts");
        row("filesystems that would not be built",
            "<Filesystem Label=\"x\"/><Filesystem/>" + languages({"de"}), " --ts de.ts");
    }
    void callOfTheOperation()
    {
        const auto [children, options] = fetch<QByteArray, QByteArray>();
        World world;
        world.project(demo, children);
        world.makeDirectory("project/translations/sub");
        SAME(world.run({"-q", "--clearobsolete"}).text(),
             report(0, "(in $W/project/translations) ztlupdate --clearobsolete"
                       " --xml-report ../obj/translations/report.xml"
                               + options + '\n'));
    }

    void pathsOfTheReport_data()
    {
        Rows<QByteArray, QByteArray, QByteArray, QByteArray>
                row; // attributes, argument, directory, path

        const QByteArray here = "demo.ztp";
        row("default", {}, here, "$W/project/translations", "../obj/translations/report.xml");
        row("object directory", R"(ObjectDirectory="a/b")", here, "$W/project/translations",
            "../a/b/translations/report.xml");
        row("absolute object directory", R"(ObjectDirectory="/nowhere/o")", here,
            "$W/project/translations", "..//nowhere/o/translations/report.xml");
        row("project directory", R"(ProjectDirectory="sub")", here, "$W/project/sub/translations",
            "../sub/obj/translations/report.xml");
        row("project file elsewhere", {}, "../project/demo.ztp", "$W/project/translations",
            "../../project/obj/translations/report.xml");
    }
    void pathsOfTheReport()
    {
        const auto [attributes, argument, directory, path] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
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

    void nothingElseIsDone()
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
        SAME(world.tree("project"), "demo.ztp\nfirmware/\nfirmware/T1-Demo-firmware.ztf\nroot/"
                                    "\nroot/a.lua\ntranslations/\n"
                                    "translations/de.ts\n");
    }

    void oldReportIsRemovedFirst()
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

    void failures_data()
    {
        Rows<QByteArray, QByteArray> row; // plan, error
        row("status", "* exit 7\n", "Command exited with status 7");
        row("crash", "* kill\n", "Command crashed");
        row("missing tool", "tool", "Command failed to run: $W/sdk/bin/ztlupdate");
        row("missing directory", "directory", "Command failed to run: $W/sdk/bin/ztlupdate");
    }
    void failures()
    {
        const auto [plan, error] = fetch<QByteArray, QByteArray>();
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

    void manyLanguagesTravelInAFile()
    {
        World world;
        world.project(demo, languages({"a", "b", "c", "d", "e", "f", "g"}));
        world.makeDirectory("project/translations");
        world.makeDirectory("project/obj");
        const Result result = world.run({"-q", "--clearobsolete"});
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.size(), 1);
        SAME(result.calls[0].responseText,
             "--clearobsolete\n--xml-report\n../obj/translations/"
             "report.xml\n--ts\na.ts\n--ts\nb.ts\n"
             "--ts\nc.ts\n--ts\nd.ts\n--ts\ne.ts\n--ts\nf.ts\n--ts\ng.ts\n");
        SAME(world.tree("project/obj"), "");
    }

    void verbosity_data()
    {
        Rows<QByteArray, bool> row; // option, echoed
        row("quiet", "-q", false);
        row("default", "-R", true);
        row("verbose", "-vv", true);
    }
    void verbosity()
    {
        const auto [option, echoed] = fetch<QByteArray, bool>();
        World world;
        world.project(demo + R"( Verbose="0")", languages({"de"}));
        world.makeDirectory("project/translations");
        SAME(world.run({option, "--clearobsolete"}).err,
             echoed ? "[ztmake] (in translations) ztlupdate --clearobsolete"
                      " --xml-report ../obj/translations/report.xml --ts de.ts\n"
                    : "");
    }
};

QTEST_GUILESS_MAIN(TestClearObsolete)
#include "tst_clearobsolete.moc"
