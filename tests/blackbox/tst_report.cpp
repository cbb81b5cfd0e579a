#include "projects.h"
#include "rows.h"

namespace {

const QByteArray file = "project/obj/translations/report.xml";

QByteArray document(const QByteArray &sources)
{
    return "<?xml version=\"1.0\"?>\n<!DOCTYPE TSREPORT>\n<TSREPORT sourcelanguage=\"en\">\n"
           + sources + "\n</TSREPORT>\n";
}

/// What a stand-in does that writes the report.
QByteArray writing(const QByteArray &text)
{
    return "* write ../obj/translations/report.xml " + QByteArray(text).replace('\n', "\\n")
           + "\n* quiet\n";
}

/// Shows a report after the shortest of operations.
Result show(World &world, const QByteArray &content, const Start &start = {})
{
    world.project(demo, "");
    world.write(file, content);
    if (start.ordinaryUser)
        world.setMode(file, 0);
    return world.run({"--report", "--cleanfirmwarefolder"}, start);
}

} // namespace

/// The printing of a report; the tests of its reader have all that can be in one.
class TestReport : public QObject
{
    Q_OBJECT

private slots:
    void statistics()
    {
        World world;
        const QByteArray report =
                document(R"(<source filename="de.ts" language="de" sourcelanguage="C">
                            <stats total="12" unfinished="3" obsolete="1"/></source>
                            <source filename="größe.ts" language="日本"/>
                            <source filename="%s%n" language="%1"/>)");
        SAME(show(world, report).text(),
             ::report(0, {}, {},
                      "de.ts: C->de: 12 total, 3 unfinished, 1 obsolete\n"
                      "größe.ts: en->日本: 0 total, 0 unfinished, 0 obsolete\n"
                      "%s%n: en->%1: 0 total, 0 unfinished, 0 obsolete\n"));
    }

    void reportIntoAFullDevice()
    {
        World world(demo, "");
        world.write(file, document(R"(<source filename="de.ts" language="de"/>)"));
        const Result result = world.run(
                {"-c", "exec ../sdk/bin/ztmake --report --cleanfirmwarefolder >/dev/full"},
                {.program = "/bin/sh"});
        QCOMPARE(result.status, 1);
        SAME(result.err, "[ztmake] Error writing standard output: No space left on device\n");
    }

    void reportIsShownAfterEveryOperation_data()
    {
        Rows<QByteArrayList> row; // arguments
        row("build", {"-q", "-R"});
        row("build all", {"-q", "--report", "-A"});
        row("clear obsolete", {"-q", "--clearobsolete", "-R"});
        row("clean firmware folder", {"-q", "-R", "--cleanfirmwarefolder"});
    }
    void reportIsShownAfterEveryOperation()
    {
        const auto [arguments] = fetch<QByteArrayList>();
        World world;
        const QByteArray text = document("<source filename=\"a\"/>");
        world.project(demo, "");
        world.write(file, text);
        world.makeDirectory("project/translations");
        // The tool makes the report anew when the operation asks for it.
        world.plan("ztlupdate", writing(text));
        const Result result = world.run(arguments);
        SAME(result.text(),
             report(0, result.callText(), {}, "a: en->: 0 total, 0 unfinished, 0 obsolete\n"));
    }

    void reportIsShownOnlyWhenAskedFor()
    {
        World world(demo, "");
        for (const QByteArray &text : {document("<source/>"), QByteArray("broken")}) {
            world.write(file, text);
            SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        }
    }

    void reportOfTheBuildItselfIsShown()
    {
        World world(demo, tree() + "<Translation Enabled=\"1\"/>");
        world.write("project/root/a.lua");
        world.write(file, document("<source filename=\"old\"/>"));
        world.plan("ztlupdate", writing(document("<source><stats total=\"2\"/></source>")));
        const Result result = world.run({"-q", "-R"});
        SAME(result.text(),
             report(0, result.callText(), {}, ": en->: 2 total, 0 unfinished, 0 obsolete\n"));
    }

    void missingReportIsNoError()
    {
        World world(demo, "");
        SAME(world.run({"-R"}).text(), report(0, {}));
        SAME(world.run({"-R", "--cleanfirmwarefolder"}).text(), report(0, {}));
    }

    void failedOperationShowsNoReport()
    {
        World world(demo, "<Filesystem/>");
        world.write(file, document("<source/>"));
        world.plan("ztmkromfs", "* exit 1\n");
        SAME(world.run({"-q", "-R"}).text(),
             report(1, pack(), "[ztmake] Command exited with status 1\n"));
    }

    // The operation has succeeded all the same.
    void errorIsReported_data()
    {
        Rows<QByteArray, bool, QByteArray> row; // report, whether it can be read, message
        row("text in the root", document("<source filename=\"a\"/>x"), true,
            "Line 5, Column 1:\n  (Characters) Element expected.\n");
        row("cut short", "<!DOCTYPE TSREPORT><TSREPORT>", true,
            "Line 1, Column 29:\n  (Invalid) Element expected.\n");
        row("unreadable", document("<source/>"), false,
            "Line 1, Column 0:\n  (NoToken) Permission denied\n");
    }
    void errorIsReported()
    {
        const auto [text, isReadable, message] = fetch<QByteArray, bool, QByteArray>();
        World world;
        SAME(show(world, text, {.ordinaryUser = !isReadable}).text(),
             report(0, {}, "[ztmake] Error reading obj/translations/report.xml, " + message));
    }
};

QTEST_GUILESS_MAIN(TestReport)
#include "tst_report.moc"
