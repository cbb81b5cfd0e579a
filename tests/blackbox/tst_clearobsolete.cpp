#include "projects.h"
#include "rows.h"

namespace {

QByteArray translation(const QByteArrayList &names)
{
    return "<Translation>" + languages(names) + "</Translation>";
}

QByteArray call(const QByteArray &options)
{
    return "(in $W/project/translations) ztlupdate --clearobsolete"
           " --xml-report ../obj/translations/report.xml"
           + options + '\n';
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
        row("two languages", translation({"de", "fr"}), " --ts de.ts --ts fr.ts");
        row("in their order, twice when named twice", translation({"fr", "de", "fr"}),
            " --ts fr.ts --ts de.ts --ts fr.ts");
        row("translations that are off",
            "<Translation Enabled=\"0\" BaseDir=\"/l\"><Default>en</Default>"
            "<Language>de</Language></Translation>",
            " --ts de.ts");
        row("names with dots and blanks", translation({"pt_BR", "a b", "sub/x", ""}),
            " --ts pt_BR.ts --ts 'a b.ts' --ts sub/x.ts --ts .ts");
        row("filesystems that would not be built",
            "<Filesystem Label=\"x\"/><Filesystem/>" + translation({"de"}), " --ts de.ts");
    }
    void callOfTheOperation()
    {
        const auto [children, options] = fetch<QByteArray, QByteArray>();
        World world(demo + R"( Verbose="0")", children);
        world.makeDirectory("project/translations/sub");
        SAME(world.run({"-q", "--clearobsolete"}).text(), report(0, call(options)));
        QByteArray echo = "[ztmake] " + call(options);
        echo.replace("$W/project/", "").replace('\'', "");
        SAME(world.run({"--clearobsolete"}).err, echo);
    }

    void pathsOfTheReport_data()
    {
        // attributes, argument, directory, path
        Rows<QByteArray, QByteArray, QByteArray, QByteArray> row;
        const QByteArray here = "demo.ztp";
        const QByteArray directory = "$W/project/translations";
        row("object directory", R"(ObjectDirectory="a/b")", here, directory, "../a/b");
        row("absolute object directory", R"(ObjectDirectory="/nowhere/o")", here, directory,
            "..//nowhere/o");
        row("project directory", R"(ProjectDirectory="sub")", here, "$W/project/sub/translations",
            "../sub/obj");
        row("project file elsewhere", {}, "../project/demo.ztp", directory, "../../project/obj");
    }
    void pathsOfTheReport()
    {
        const auto [attributes, argument, directory, path] =
                fetch<QByteArray, QByteArray, QByteArray, QByteArray>();
        World world;
        world.project("Name=\"Demo\" SDK=\"" + world.path("sdk") + "\" " + attributes, {});
        world.makeDirectory("project/translations");
        world.makeDirectory("project/sub/translations");
        SAME(world.run({"-q", "--clearobsolete", argument}).text(),
             report(0, "(in " + directory + ") ztlupdate --clearobsolete --xml-report " + path
                               + "/translations/report.xml\n"));
    }

    void nothingElseIsDone()
    {
        World world(demo + R"( Svnversion="1")",
                    translation({"de"}) + R"(<Target Model="T1"/><MTD16 Enabled="1"/>
                                               <Startup File="a.lua"/>)"
                            + tree());
        world.write("project/root/a.lua");
        world.write("project/firmware/T1-Demo-firmware.ztf");
        world.write("project/translations/de.ts", "old");
        SAME(world.run({"-q", "--clearobsolete"}).text(), report(0, call(" --ts de.ts")));
        SAME(world.tree("project"),
             "demo.ztp\nfirmware/\nfirmware/T1-Demo-firmware.ztf\nroot/\nroot/a.lua\n"
             "translations/\ntranslations/de.ts\n");
    }

    void oldReportIsRemovedFirst()
    {
        World world(demo, translation({"de"}));
        world.makeDirectory("project/translations");
        world.write("project/obj/translations/report.xml", "old");
        world.plan("ztlupdate", "* probe ../obj/translations/report.xml\n");
        const Result result = world.run({"-q", "--clearobsolete"});
        QCOMPARE(result.calls.size(), 1);
        QCOMPARE(result.calls[0].probes, QByteArrayList{"../obj/translations/report.xml missing"});
        QVERIFY(world.exists("project/obj/translations/report.xml"));
        world.plan("ztlupdate", "* exit 1\n");
        SAME(world.run({"-q", "--clearobsolete", "--report"}).text(),
             report(1, call(" --ts de.ts"), "[ztmake] Command exited with status 1\n"));
        SAME(world.tree("project/obj"), "translations/\n");
    }

    void failures_data()
    {
        Rows<QByteArray, QByteArray> row; // plan, error
        row("status", "* exit 7\n", "Command exited with status 7");
        row("crash", "* kill\n", "Command crashed");
        for (const char *missing : {"tool", "directory"})
            row(missing, missing, "Command failed to run: $W/sdk/bin/ztlupdate");
    }
    void failures()
    {
        const auto [plan, error] = fetch<QByteArray, QByteArray>();
        World world(demo, {});
        if (plan != "directory")
            world.makeDirectory("project/translations");
        if (plan == "tool")
            world.remove("sdk/bin/ztlupdate");
        else if (plan != "directory")
            world.plan("ztlupdate", plan);
        SAME(world.run({"-q", "--noobsolete"}).text(),
             report(1, plan.startsWith('*') ? call({}) : QByteArray(), "[ztmake] " + error + '\n'));
        QCOMPARE(world.exists("project/translations"), plan != "directory");
    }
};

QTEST_GUILESS_MAIN(TestClearObsolete)
#include "tst_clearobsolete.moc"
