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

class tst_Report : public QObject
{
    Q_OBJECT

private slots:
    void statistics_data();
    void statistics();
    void reportIsShownAfterEveryOperation_data();
    void reportIsShownAfterEveryOperation();
    void reportIsShownOnlyWhenAskedFor();
    void reportOfTheBuildItselfIsShown();
    void missingReportIsNoError();
    void failedOperationShowsNoReport();
    void errorIsReportedWithItsPlace_data();
    void errorIsReportedWithItsPlace();
    void malformedReport_data();
    void malformedReport();
    void unreadableReport();
};

void tst_Report::statistics_data()
{
    QTest::addColumn<QByteArray>("report");
    QTest::addColumn<QByteArray>("lines");

    const auto row = [](const char *name, const QByteArray &report, const char *lines) {
        QTest::newRow(name) << report << QByteArray(lines);
    };
    const QByteArray one = R"(<source filename="de.ts" language="de" sourcelanguage="en">
                              <stats total="12" unfinished="3" obsolete="1"/></source>)";
    row("one", document(one), "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n");
    row("in the order of the file",
        document(QByteArray(one).replace("de", "fr") + one + QByteArray(one).replace("de", "cs")),
        "fr.ts: en->fr: 12 total, 3 unfinished, 1 obsolete\n"
        "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n"
        "cs.ts: en->cs: 12 total, 3 unfinished, 1 obsolete\n");
    row("nothing", document(""), "");
    row("no children at all", "<!DOCTYPE TSREPORT><TSREPORT/>", "");
    row("no declaration", "<!DOCTYPE TSREPORT><TSREPORT>" + one + "</TSREPORT>",
        "de.ts: en->de: 12 total, 3 unfinished, 1 obsolete\n");
    row("blanks in the document type",
        "<!-- c --><!DOCTYPE\n  TSREPORT><!-- c --><TSREPORT>" + one + "</TSREPORT>\n<!-- c -->",
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
    row("greatest numbers", document(R"(<source><stats total="4294967295" unfinished="4294967296"
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

void tst_Report::statistics()
{
    QFETCH(QByteArray, report);
    QFETCH(QByteArray, lines);
    World world;
    SAME(show(world, report).text(), ::report(0, {}, {}, lines));
}

void tst_Report::reportIsShownAfterEveryOperation_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::newRow("build") << QByteArrayList{"-q", "-R"};
    QTest::newRow("build all") << QByteArrayList{"-q", "--report", "-A"};
    QTest::newRow("clear obsolete") << QByteArrayList{"-q", "--clearobsolete", "-R"};
    QTest::newRow("clean firmware folder") << QByteArrayList{"-q", "-R", "--cleanfirmwarefolder"};
}

void tst_Report::reportIsShownAfterEveryOperation()
{
    QFETCH(QByteArrayList, arguments);
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

void tst_Report::reportIsShownOnlyWhenAskedFor()
{
    World world;
    world.project(demo, "");
    world.write(file, document("<source/>"));
    SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
    world.write(file, "broken");
    SAME(world.run({"--cleanfirmwarefolder"}).text(), report(0, {}));
}

void tst_Report::reportOfTheBuildItselfIsShown()
{
    World world;
    world.project(demo, R"(<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
            </Filesystem><Translation Enabled="1"><Language>de</Language></Translation>)");
    world.write("project/root/a.lua");
    world.write(file, document("<source filename=\"old\"/>"));
    const QByteArray text =
            document(R"(<source filename="de.ts" language="de"><stats total="2" unfinished="1"/>)"
                     "</source>",
                     R"( sourcelanguage="C")")
                    .replace("\n", "\\n");
    world.plan("ztlupdate", "* write ../obj/translations/report.xml " + text + "\n* quiet\n");
    const Result result = world.run({"-q", "-R"});
    QCOMPARE(result.status, 0);
    SAME(result.out, "de.ts: C->de: 2 total, 1 unfinished, 0 obsolete\n");
}

void tst_Report::missingReportIsNoError()
{
    World world;
    world.project(demo, "");
    SAME(world.run({"-R"}).text(), report(0, {}));
    SAME(world.run({"-R", "--cleanfirmwarefolder"}).text(), report(0, {}));
}

void tst_Report::failedOperationShowsNoReport()
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

void tst_Report::errorIsReportedWithItsPlace_data()
{
    QTest::addColumn<QByteArray>("report"); // reading stops at the mark "^"
    QTest::addColumn<QByteArray>("message");

    const auto row = [](const char *name, const QByteArray &report, const char *message) {
        QTest::newRow(name) << report << QByteArray(message);
    };
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
    row("text in a source", document("<source>text<^/source>"), "(Characters) Element expected.");
    row("element in stats", document("<source><stats><x>^</x></stats></source>"),
        "(<x>) End of <stats> element expected.");
    row("text in stats", document("<source><stats total=\"1\">1<^/stats></source>"),
        "(Characters) End of <stats> element expected.");
    row("deep nesting", document(QByteArray(nested(21)).insert(qsizetype(21) * 3, '^')),
        "(<x>) File too deeply nested");
    row("deep nesting in a source",
        document("<source>" + QByteArray(nested(21)).insert(qsizetype(21) * 3, '^') + "</source>"),
        "(<x>) File too deeply nested");
    row("records before an error are not shown", document("<source filename=\"a\"/>x<^y/>"),
        "(Characters) Element expected.");
}

void tst_Report::errorIsReportedWithItsPlace()
{
    QFETCH(QByteArray, report);
    QFETCH(QByteArray, message);
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

void tst_Report::malformedReport_data()
{
    QTest::addColumn<QByteArray>("report");
    QTest::addColumn<QByteArray>("message"); // empty: the XML reader's own

    const auto row = [](const char *name, const QByteArray &report, const char *message) {
        QTest::newRow(name) << report << QByteArray(message);
    };
    row("empty", "", "(Invalid) This doesn't look like an XML file.");
    row("cut before the root", "<!DOCTYPE TSREPORT>",
        "(Invalid) This doesn't look like a translation report file.");
    row("cut in the root", "<!DOCTYPE TSREPORT><TSREPORT>", "(Invalid) Element expected.");
    row("cut in a source", "<!DOCTYPE TSREPORT><TSREPORT><source>", "(Invalid) Element expected.");
    row("wrong end tag", document("<source></sauce>"), "(Invalid) Element expected.");
    row("wrong end tag in stats", document("<source><stats></sauce>"),
        "(Invalid) End of <stats> element expected.");
    row("element after the root", document("") + "<x/>", "");
    row("end tag after the root", document("") + "</TSREPORT>", "");
    row("text after the root", document("") + "text", "");
}

void tst_Report::malformedReport()
{
    QFETCH(QByteArray, report);
    QFETCH(QByteArray, message);
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

void tst_Report::unreadableReport()
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

QTEST_GUILESS_MAIN(tst_Report)
#include "tst_report.moc"
