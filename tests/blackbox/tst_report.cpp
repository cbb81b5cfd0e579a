#include "rows.h"
#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray file = "project/obj/translations/report.xml";

QByteArray document(const QByteArray &sources, const QByteArray &attributes = {})
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE TSREPORT>\n<TSREPORT" + attributes
           + ">\n" + sources + "\n</TSREPORT>\n";
}

/// Shows a report after the shortest of operations.
Result show(World &world, const QByteArray &content)
{
    world.project(demo, "");
    world.write(file, content);
    return world.run({"--report", "--cleanfirmwarefolder"});
}

QByteArray nested(int levels)
{
    QByteArray text;
    for (int i = 0; i < levels; ++i)
        text += "<x>";
    for (int i = 0; i < levels; ++i)
        text += "</x>";
    return text;
}

} // namespace

class TestReport : public QObject
{
    Q_OBJECT

private slots:
    void statistics_data()
    {
        Rows<QByteArray, QByteArray> row; // report, lines

        const QByteArray one = R"(<source filename="de.ts" language="de" sourcelanguage="en">
                              <stats total="12" unfinished="3" obsolete="1"/></source>)";
        row("one", document(one), "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n");
        row("in the order of the file",
            document(QByteArray(one).replace("de", "fr") + one
                     + QByteArray(one).replace("de", "cs")),
            "fr.ts: en->fr: 12 total, 3 unfinished, 1 obsolete\n"
            "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n"
            "cs.ts: en->cs: 12 total, 3 unfinished, 1 obsolete\n");
        row("nothing", document(""), "");
        row("no children at all", "<!DOCTYPE TSREPORT><TSREPORT/>", "");
        row("no declaration", "<!DOCTYPE TSREPORT><TSREPORT>" + one + "</TSREPORT>",
            "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n");
        row("blanks in the document type",
            "<!-- c --><!DOCTYPE\n  TSREPORT><!-- c --><TSREPORT>" + one
                    + "</TSREPORT>\n<!-- c -->",
            "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n");
        row("source language of the report",
            document(R"(<source filename="a" language="b"><stats total="1"/></source>)",
                     R"( sourcelanguage="en")"),
            "a: en->b: 1 total, 0 unfinished, 0 obsolete\n");
        row("source language of the entry", document(one, R"( sourcelanguage="it")"),
            "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n");
        row("empty source language of the entry",
            document(R"(<source filename="a" language="b" sourcelanguage=""/>)",
                     R"( sourcelanguage="en")"),
            "a: ->b: 0 total, 0 unfinished, 0 obsolete\n");
        row("no attributes", document("<source/>"), ": ->: 0 total, 0 unfinished, 0 obsolete\n");
        row("no statistics", document(R"(<source filename="a" language="b"></source>)"),
            "a: ->b: 0 total, 0 unfinished, 0 obsolete\n");
        row("some statistics", document("<source><stats obsolete=\"5\"/></source>"),
            ": ->: 0 total, 0 unfinished, 5 obsolete\n");
        row("no numbers",
            document(R"(<source><stats total="x" unfinished="" obsolete="0x10"/></source>)"),
            ": ->: 0 total, 0 unfinished, 0 obsolete\n");
        row("negative and broken numbers",
            document(R"(<source><stats total="-1" unfinished="1.5" obsolete="2"/></source>)"),
            ": ->: 0 total, 0 unfinished, 2 obsolete\n");
        row("greatest numbers",
            document(R"(<source><stats total="4294967295" unfinished="4294967296"
                    obsolete="2147483648"/></source>)"),
            ": ->: 4294967295 total, 0 unfinished, 2147483648 obsolete\n");
        row("leading zeros", document("<source><stats total=\"010\"/></source>"),
            ": ->: 10 total, 0 unfinished, 0 obsolete\n");
        row("second statistics win",
            document(R"(<source><stats total="1" unfinished="2"/><stats total="3"/></source>)"),
            ": ->: 3 total, 0 unfinished, 0 obsolete\n");
        row("comments and blanks",
            document("<source><!-- c --> <stats total=\"1\"> <!-- c -->\n</stats> </source>"),
            ": ->: 1 total, 0 unfinished, 0 obsolete\n");
        row("unknown elements",
            document("<Source/><other><source filename=\"no\"/>text</other><source filename=\"a\">"
                     "<Stats total=\"8\"/><x><stats total=\"9\"/></x></source>"
                     + nested(20)),
            "a: ->: 0 total, 0 unfinished, 0 obsolete\n");
        row("other languages",
            document(R"(<source filename="größe.ts" language="日本"/>)",
                     R"( sourcelanguage="русский")"),
            "größe.ts: русский->日本: 0 total, 0 unfinished, 0 obsolete\n");
        row("percent signs", document(R"(<source filename="%s%n" language="%1"/>)"),
            "%s%n: ->%1: 0 total, 0 unfinished, 0 obsolete\n");
        row("any namespace", "<!DOCTYPE TSREPORT><TSREPORT xmlns=\"x\"><source/></TSREPORT>",
            ": ->: 0 total, 0 unfinished, 0 obsolete\n");
    }
    void statistics()
    {
        const auto [report, lines] = fetch<QByteArray, QByteArray>();
        World world;
        SAME(show(world, report).text(), ::report(0, {}, {}, lines));
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
        const QByteArray text = document("<source filename=\"a\"/>").replace("\n", "\\n");
        world.project(demo + R"( ObjectDirectory="build")", "");
        world.write("project/build/translations/report.xml", document("<source filename=\"a\"/>"));
        world.makeDirectory("project/translations");
        // The tool makes the report anew when the operation asks for it.
        world.plan("ztlupdate", "* write ../build/translations/report.xml " + text + "\n* quiet\n");
        const Result result = world.run(arguments);
        QCOMPARE(result.status, 0);
        SAME(result.out, "a: ->: 0 total, 0 unfinished, 0 obsolete\n");
        SAME(result.err, "");
    }

    void reportIsShownOnlyWhenAskedFor()
    {
        World world;
        world.project(demo, "");
        world.write(file, document("<source/>"));
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
        world.write(file, "broken");
        SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
    }

    void reportOfTheBuildItselfIsShown()
    {
        World world;
        world.project(demo, R"(<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
            </Filesystem><Translation Enabled="1"><Language>de</Language></Translation>)");
        world.write("project/root/a.lua");
        world.write(file, document("<source filename=\"old\"/>"));
        const QByteArray text =
                document(
                        R"(<source filename="de.ts" language="de"><stats total="2" unfinished="1"/>)"
                        "</source>",
                        R"( sourcelanguage="C")")
                        .replace("\n", "\\n");
        world.plan("ztlupdate", "* write ../obj/translations/report.xml " + text + "\n* quiet\n");
        const Result result = world.run({"-q", "-R"});
        QCOMPARE(result.status, 0);
        SAME(result.out, "de.ts: C->de: 2 total, 1 unfinished, 0 obsolete\n");
    }

    void missingReportIsNoError()
    {
        World world;
        world.project(demo, "");
        SAME(world.run({"-R"}).text(), report(0, {}));
        SAME(world.run({"-R", "--cleanfirmwarefolder"}).text(), report(0, {}));
    }

    void failedOperationShowsNoReport()
    {
        World world;
        world.project(demo, "<Filesystem/>");
        world.write(file, document("<source/>"));
        world.plan("ztmkromfs", "* exit 1\n");
        const Result result = world.run({"-q", "-R"});
        QCOMPARE(result.status, 1);
        SAME(result.out, "");
        SAME(result.err, "[ztmake] Command exited with status 1\n");
    }

    void errorIsReportedWithItsPlace_data()
    {
        Rows<QByteArray, QByteArray> row; // report, message [report: reading stops at the mark "^"]

        const char noReport[] = "This doesn't look like a translation report file.";
        row("no document type", "<TSREPORT>^</TSREPORT>",
            QByteArray("(<TSREPORT>) ").append(noReport).constData());
        row("other document type", "<?xml version=\"1.0\"?>\n<!DOCTYPE TS>^<TSREPORT/>",
            QByteArray("(DTD) ").append(noReport).constData());
        row("document type with more", "<!DOCTYPE TSREPORT SYSTEM \"x\">^<TSREPORT/>",
            QByteArray("(DTD) ").append(noReport).constData());
        row("document type in other letters", "<!DOCTYPE tsreport>^<TSREPORT/>",
            QByteArray("(DTD) ").append(noReport).constData());
        row("other root", "<!DOCTYPE TSREPORT>\n<tsreport>^</tsreport>",
            QByteArray("(<tsreport>) ").append(noReport).constData());
        row("text in the root", document("text\n<^source/>").replace("\n</TS", "</TS"),
            "(Characters) Element expected.");
        row("text in a source", document("<source>text<^/source>"),
            "(Characters) Element expected.");
        row("element in stats", document("<source><stats><x>^</x></stats></source>"),
            "(<x>) End of <stats> element expected.");
        row("text in stats", document("<source><stats total=\"1\">1<^/stats></source>"),
            "(Characters) End of <stats> element expected.");
        row("deep nesting", document(QByteArray(nested(21)).insert(qsizetype(21) * 3, '^')),
            "(<x>) File too deeply nested");
        row("deep nesting in a source",
            document("<source>" + QByteArray(nested(21)).insert(qsizetype(21) * 3, '^')
                     + "</source>"),
            "(<x>) File too deeply nested");
        row("records before an error are not shown", document("<source filename=\"a\"/>x<^y/>"),
            "(Characters) Element expected.");
    }
    void errorIsReportedWithItsPlace()
    {
        auto [report, message] = fetch<QByteArray, QByteArray>();
        const qsizetype mark = report.indexOf('^');
        report.remove(mark, 1);
        const QByteArray before = report.left(mark);
        World world;
        SAME(show(world, report).text(),
             ::report(0, {},
                      "[ztmake] Error reading obj/translations/report.xml, Line "
                              + QByteArray::number(before.count('\n') + 1) + ", Column "
                              + QByteArray::number(mark - before.lastIndexOf('\n') - 1) + ":\n  "
                              + message + '\n'));
    }

    void malformedReport_data()
    {
        Rows<QByteArray, QByteArray> row; // report, message [message: empty: the XML reader's own]

        row("empty", "", "(Invalid) This doesn't look like an XML file.");
        row("cut before the root", "<!DOCTYPE TSREPORT>",
            "(Invalid) This doesn't look like a translation report file.");
        row("cut in the root", "<!DOCTYPE TSREPORT><TSREPORT>", "(Invalid) Element expected.");
        row("cut in a source", "<!DOCTYPE TSREPORT><TSREPORT><source>",
            "(Invalid) Element expected.");
        row("wrong end tag", document("<source></sauce>"), "(Invalid) Element expected.");
        row("wrong end tag in stats", document("<source><stats></sauce>"),
            "(Invalid) End of <stats> element expected.");
        row("element after the root", document("") + "<x/>", "");
        row("end tag after the root", document("") + "</TSREPORT>", "");
        row("text after the root", document("") + "text", "");
    }
    void malformedReport()
    {
        auto [report, message] = fetch<QByteArray, QByteArray>();
        World world;
        const Result result = show(world, report);
        QCOMPARE(result.status, 0);
        SAME(result.out, "");
        const QByteArray start = "[ztmake] Error reading obj/translations/report.xml, Line ";
        QVERIFY2(result.err.startsWith(start), result.err.constData());
        QCOMPARE(result.err.count('\n'), 2);
        if (message.isEmpty())
            QVERIFY2(!result.err.contains("\n  ("), result.err.constData());
        else
            QVERIFY2(result.err.endsWith(":\n  " + message + '\n'), result.err.constData());
    }

    void unreadableReport()
    {
        World world;
        world.project(demo, "");
        world.write(file, document("<source/>"));
        world.setMode(file, 0);
        SAME(world.run({"-R", "--cleanfirmwarefolder"}, {.ordinaryUser = true}).text(),
             report(0, {},
                    "[ztmake] Error reading obj/translations/report.xml, Line 1, Column 0:\n"
                    "  (NoToken) Permission denied\n"));
    }
};

QTEST_GUILESS_MAIN(TestReport)
#include "tst_report.moc"
