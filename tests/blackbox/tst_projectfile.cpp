#include "world.h"

#include <QTest>

namespace {

const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                        "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">\n";
const QByteArray tail = "</Project>\n</ZeltaProject>\n";

/// The document around some children of Project.
QByteArray around(const QByteArray &children)
{
    return head + "<Project Name=\"Demo\" SDK=\"../sdk\">\n" + children + '\n' + tail;
}

/// Adds a row for a document in which reading stops at the mark "^" with a message.
void addError(const QByteArray &name, const QByteArray &document, const QByteArray &message)
{
    QTest::newRow(name.constData()) << document << message;
}

/// Adds a row for children of Project in which reading stops at the mark "^".
void addChildError(const QByteArray &children, const QByteArray &message)
{
    addError(QByteArray(children).remove(children.indexOf('^'), 1), around(children), message);
}

QByteArray notABoolean(const char *element, const char *attribute, const char *value)
{
    return QByteArray("(<") + element + ">) Expected \"" + attribute
           + "\" to be a boolean attribute, but got \"" + value + '"';
}

QByteArray notANumber(const char *element, const char *attribute, const char *value)
{
    return QByteArray("(<") + element + ">) Expected \"" + attribute
           + "\" to be a number, but got \"" + value + '"';
}

/// The elements of an unknown kind nested so many levels deep.
QByteArray nested(int levels)
{
    QByteArray text;
    for (int i = 0; i < levels; ++i)
        text += "<other>";
    for (int i = 0; i < levels; ++i)
        text += "</other>";
    return text;
}

} // namespace

class tst_ProjectFile : public QObject
{
    Q_OBJECT

private slots:
    void errorIsReportedWithItsPlace_data();
    void errorIsReportedWithItsPlace();
    void malformedDocumentIsReported_data();
    void malformedDocumentIsReported();
    void booleanWords_data();
    void booleanWords();
    void unknownElementsAreSkippedAndAnnounced_data();
    void unknownElementsAreSkippedAndAnnounced();
    void unknownElementsAreNotNestedDeeperThanTwentyLevels_data();
    void unknownElementsAreNotNestedDeeperThanTwentyLevels();

private:
    void structureErrors();
    void textErrors();
    void typeErrors();
    void booleanErrors();
    void numberErrors();
};

void tst_ProjectFile::structureErrors()
{
    addError("no Project", head + "</ZeltaProject>^\n", "(</ZeltaProject>) <Project> expected.");
    addError("other element for Project", head + "<project Name=\"x\">^</project></ZeltaProject>\n",
             "(<project>) <Project> expected.");
    addError("text for Project", head.trimmed() + "text<^Project/></ZeltaProject>\n",
             "(Characters) <Project> expected.");
    addError("no name", head + "<Project SDK=\"../sdk\">^\n" + tail,
             "(<Project>) Project name missing or empty.");
    addError("empty name", head + "<Project Name=\"\" SDK=\"../sdk\">^\n" + tail,
             "(<Project>) Project name missing or empty.");
    addError("second Project",
             head
                     + "<Project Name=\"x\">\n</Project>\n<Project "
                       "Name=\"y\">^</Project></ZeltaProject>",
             "(<Project>) End of <ZeltaProject> expected.");
    addError("text after Project", head + "<Project Name=\"x\"></Project>x<^/ZeltaProject>",
             "(Characters) End of <ZeltaProject> expected.");
    addChildError("text<^Startup/>", "(Characters) Element expected.");
    addChildError("<Target Model=\"x\"/>text<^Target/>", "(Characters) Element expected.");
    addChildError("<Filesystem>text<^/Filesystem>", "(Characters) Element expected.");
    addChildError("<Filesystem><Merge Type=\"File\">text<^/Merge></Filesystem>",
                  "(Characters) Element expected.");
    addChildError("<Process>text<^/Process>", "(Characters) Element expected.");
    addChildError("<Process><Preprocess Type=\"Ztlpp\">text<^/Preprocess></Process>",
                  "(Characters) Element expected.");
    addChildError("<Translation>text<^/Translation>", "(Characters) Element expected.");
    addChildError("<MTD16>text<^/MTD16>", "(Characters) Element expected.");
    addChildError("<Startup><File>^</File></Startup>", "(<File>) End of <Startup> expected.");
    addChildError("<Startup>text<^/Startup>", "(Characters) End of <Startup> expected.");
    addChildError("<Target Model=\"x\"><y/>^</Target>", "(<y>) End of <Target> expected.");
    addChildError("<Process><Compile Type=\"Lua\"><y>^</y></Compile></Process>",
                  "(<y>) End of <Compile> expected.");
}

void tst_ProjectFile::textErrors()
{
    const auto addTextErrors = [](const char *name, const QByteArray &before,
                                  const QByteArray &after) {
        const QByteArray start = before + '<' + name + '>';
        const QByteArray end = QByteArray("</") + name + '>' + after;
        const QByteArray element = QByteArray(name) + " element expected.";
        addChildError(start + "<x>^</x>" + end, "(<x>) Characters for " + element);
        addChildError(start + "<!-- c -->^x" + end, "(Comment) Characters for " + element);
        addChildError(start + "x<y>^</y>" + end, "(<y>) End of " + element);
    };
    addTextErrors("Source", "<Filesystem><Merge Type=\"File\">", "</Merge></Filesystem>");
    addTextErrors("Destination", "<Filesystem><Merge Type=\"File\">", "</Merge></Filesystem>");
    addTextErrors("Include", "<Process><Preprocess Type=\"Ztlpp\">", "</Preprocess></Process>");
    addTextErrors("Language", "<Translation>", "</Translation>");
    addTextErrors("Default", "<Translation>", "</Translation>");
    addTextErrors("Source", "<MTD16>", "</MTD16>");
    addTextErrors("Header", "<MTD16>", "</MTD16>");
    addTextErrors("Lua", "<MTD16>", "</MTD16>");
}

void tst_ProjectFile::typeErrors()
{
    addChildError("<Target/>^",
                  "(<Target>) \"Model\" attribute missing or empty in <Target> element.");
    addChildError("<Target>^</Target>",
                  "(<Target>) \"Model\" attribute missing or empty in <Target> element.");
    addChildError("<Filesystem Type=\"ROMFS\">^</Filesystem>",
                  "(<Filesystem>) \"Type\" attribute value \"ROMFS\" invalid.");
    addChildError("<Filesystem><Merge>^</Merge></Filesystem>",
                  "(<Merge>) \"Type\" attribute value \"\" missing or invalid.");
    addChildError("<Filesystem><Merge Type=\"\">^</Merge></Filesystem>",
                  "(<Merge>) \"Type\" attribute value \"\" missing or invalid.");
    addChildError("<Filesystem><Merge Type=\"directory\">^</Merge></Filesystem>",
                  "(<Merge>) \"Type\" attribute value \"directory\" missing or invalid.");
    for (const QByteArray &type : QByteArrayList{"", "ztlpp", "Cpp"}) {
        addChildError("<Process><Preprocess Type=\"" + type + "\">^</Preprocess></Process>",
                      "(<Preprocess>) Preprocessing type \"" + type + "\" not supported");
        addChildError("<Filesystem><Process><Compile Type=\"" + type
                              + "\">^</Compile></Process></Filesystem>",
                      "(<Compile>) Compilation type \"" + type + "\" not supported");
    }
    addChildError("<Process><Preprocess>^</Preprocess></Process>",
                  "(<Preprocess>) Preprocessing type \"\" not supported");
    addChildError("<Process><Compile Enabled=\"maybe\">^</Compile></Process>",
                  "(<Compile>) Compilation type \"\" not supported");
    addChildError("<Process><Compile Type=\"lua\">^</Compile></Process>",
                  "(<Compile>) Compilation type \"lua\" not supported");
}

void tst_ProjectFile::booleanErrors()
{
    for (const char *attribute : {"Svnversion", "BuildInstaller", "EncryptInstaller", "IncludeMBR"})
        addError(attribute, head + "<Project Name=\"Demo\" " + attribute + "=\"On\">^\n" + tail,
                 notABoolean("Project", attribute, "on"));
    addError("before the name is missed", head + "<Project IncludeMBR=\"2\">^\n" + tail,
             notABoolean("Project", "IncludeMBR", "2"));
    const auto add = [](const QByteArray &before, const QByteArray &start, const char *attribute,
                        const QByteArray &after) {
        const QByteArray element = start.left(start.indexOf(' '));
        addChildError(before + '<' + start + ' ' + attribute + "=\"Maybe\">^</" + element + '>'
                              + after,
                      notABoolean(element.constData(), attribute, "maybe"));
    };
    add({}, "Startup File=\"x\"", "Interactive", {});
    add({}, "Target Model=\"x\"", "BuildInstaller", {});
    add({}, "Target Model=\"x\"", "IncludeMBR", {});
    add({}, "Filesystem Label=\"root\"", "IncludeBase", {});
    for (const char *attribute : {"Enabled", "RemoveComments", "SimplifyWhitespace"})
        add("<Process>", "Preprocess Type=\"Ztlpp\"", attribute, "</Process>");
    for (const char *attribute : {"Enabled", "Strip", "Strict"})
        add("<Process>", "Compile Type=\"Lua\"", attribute, "</Process>");
    add({}, "Translation BaseDir=\"x\"", "Enabled", {});
    add({}, "MTD16 x=\"x\"", "Enabled", {});
    // Only the first fault of a group of attributes is named.
    addChildError(
            "<Target Model=\"x\" Verbose=\"high\" IncludeMBR=\"3\" BuildInstaller=\"4\">^</Target>",
            notABoolean("Target", "BuildInstaller", "4"));
    addChildError("<Translation Enabled=\"Later\">^<Language><x/></Language></Translation>",
                  notABoolean("Translation", "Enabled", "later"));
}

void tst_ProjectFile::numberErrors()
{
    for (const char *value : {"0x10", "abc", "1.5", "1 2", "99999999999", "High"})
        addError("Project " + QByteArray(value),
                 head + "<Project Name=\"Demo\" Verbose=\"" + value + "\">^\n" + tail,
                 notANumber("Project", "Verbose", value));
    addChildError("<Target Model=\"x\" Verbose=\"0x10\">^</Target>",
                  notANumber("Target", "Verbose", "0x10"));
    addChildError("<Filesystem Verbose=\"Much\">^</Filesystem>",
                  notANumber("Filesystem", "Verbose", "Much"));
}

void tst_ProjectFile::errorIsReportedWithItsPlace_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QByteArray>("message");
    structureErrors();
    textErrors();
    typeErrors();
    booleanErrors();
    numberErrors();
}

void tst_ProjectFile::errorIsReportedWithItsPlace()
{
    QFETCH(QByteArray, document);
    QFETCH(QByteArray, message);
    const qsizetype mark = document.indexOf('^');
    QVERIFY(mark > 0);
    document.remove(mark, 1);
    const QByteArray before = document.left(mark);
    const qsizetype line = before.count('\n') + 1;
    const qsizetype column = mark - before.lastIndexOf('\n') - 1;

    World world;
    world.write("project/demo.ztp", document);
    SAME(world.run({"demo.ztp"}).text(),
         report(1, {},
                "[ztmake] demo.ztp: Error reading demo.ztp, Line " + QByteArray::number(line)
                        + ", Column " + QByteArray::number(column) + ":\n  " + message + '\n'));
    QVERIFY(!world.exists("project/obj"));
}

void tst_ProjectFile::malformedDocumentIsReported_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("after the document")
            << around("") + "<x/>" << QByteArray("(Invalid) End of document expected");
    QTest::newRow("text after the document")
            << around("") + "x" << QByteArray("(Invalid) End of document expected");
    QTest::newRow("cut in the root") << head << QByteArray("(Invalid) <Project> expected.");
    QTest::newRow("cut in Project")
            << head + "<Project Name=\"x\">" << QByteArray("(Invalid) Element expected.");
    QTest::newRow("cut after Project") << head + "<Project Name=\"x\"></Project>"
                                       << QByteArray("(Invalid) End of <ZeltaProject> expected.");
    QTest::newRow("wrong end tag in Target") << around("<Target Model=\"x\"></Targe>")
                                             << QByteArray("(Invalid) End of <Target> expected.");
    QTest::newRow("bad text in Source")
            << around("<Filesystem><Merge Type=\"File\"><Source>&no;</Source></Merge></Filesystem>")
            << QByteArray("(Invalid) Characters for Source element expected.");
}

void tst_ProjectFile::malformedDocumentIsReported()
{
    QFETCH(QByteArray, document);
    QFETCH(QByteArray, message);
    World world;
    world.write("project/demo.ztp", document);
    const Result result = world.run({"demo.ztp"});
    QCOMPARE(result.status, 1);
    QVERIFY(result.calls.isEmpty());
    QVERIFY2(result.err.startsWith("[ztmake] demo.ztp: Error reading demo.ztp, Line "),
             result.err.constData());
    QVERIFY2(result.err.endsWith(":\n  " + message + '\n'), result.err.constData());
}

void tst_ProjectFile::booleanWords_data()
{
    QTest::addColumn<QByteArray>("attribute");
    QTest::addColumn<bool>("offByDefault"); // a setting that is off unless switched on
    QTest::addColumn<bool>("onByDefault");  // a setting that is on unless switched off

    for (const char *word : {"true", "yes", "1", "TRUE", "True", "YES", "yEs"})
        QTest::newRow(word) << "=\"" + QByteArray(word) + '"' << true << true;
    for (const char *word : {"false", "no", "0", "FALSE", "False", "NO", "nO"})
        QTest::newRow(word) << "=\"" + QByteArray(word) + '"' << false << false;
    QTest::newRow("empty") << QByteArray("=\"\"") << false << true;
    QTest::newRow("absent") << QByteArray("Not=\"1\"") << false << true;
}

void tst_ProjectFile::booleanWords()
{
    QFETCH(QByteArray, attribute);
    QFETCH(bool, offByDefault);
    QFETCH(bool, onByDefault);
    World world;
    world.write("project/root/a.lua");
    world.write("project/demo.ztp",
                around("<Filesystem IncludeBase" + attribute
                       + ">"
                         "<Merge Type=\"Directory\"><Source>root</Source></Merge></Filesystem>"
                         "<Process><Preprocess Type=\"Ztlpp\" RemoveComments"
                       + attribute
                       + "/>"
                         "<Compile Type=\"Lua\" Strip"
                       + attribute + "/></Process>"));
    const QByteArray comments = onByDefault ? "--strip " : "";
    const QByteArray strip = offByDefault ? "-s " : "";
    const QByteArray base = offByDefault ? "--merge ../sdk/kernel/base.romfs " : "";
    SAME(world.run({"-q"}).text(),
         report(0, "ztlpp " + comments + "--trim -I ../sdk/usr/include --out obj/root/a.lui"
                           + " --root root -- root/a.lua\n" + "ztluac " + strip
                           + "-o obj/root/a.luo -- obj/root/a.lui\n" + "ztmkromfs"
                           + (offByDefault ? "@" : "") + " -x .svn -o obj/root.romfs --label root "
                           + base
                           + "-i root -D a.lua -i obj/root/a.luo -D /etc/version -i "
                             "obj/version.txt\n"));
}

void tst_ProjectFile::unknownElementsAreSkippedAndAnnounced_data()
{
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArrayList>("announced");

    const auto inMerge = [](const QByteArray &text) {
        return "<Filesystem><Merge Type=\"Archive\">" + text + "</Merge></Filesystem>";
    };
    QTest::newRow("nothing unknown") << QByteArray("<Filesystem/>") << QByteArrayList();
    QTest::newRow("in Project") << QByteArray("<Colour/><Filesystem/>") << QByteArrayList{"Colour"};
    QTest::newRow("capitals matter") << QByteArray("<target/><STARTUP/><Filesystem/>")
                                     << QByteArrayList{"target", "STARTUP"};
    QTest::newRow("in Filesystem")
            << QByteArray("<Filesystem><Label>x</Label></Filesystem>") << QByteArrayList{"Label"};
    QTest::newRow("in Merge") << inMerge("<Colour>x<Target/>y</Colour>")
                              << QByteArrayList{"Colour"};
    QTest::newRow("in Process") << QByteArray("<Process><Link/></Process><Filesystem/>")
                                << QByteArrayList{"Link"};
    QTest::newRow("in Preprocess")
            << QByteArray("<Process><Preprocess Type=\"Ztlpp\"><Define/><Include>x</Include>"
                          "</Preprocess></Process><Filesystem/>")
            << QByteArrayList{"Define"};
    QTest::newRow("in Translation") << QByteArray("<Translation><Tool/></Translation><Filesystem/>")
                                    << QByteArrayList{"Tool"};
    QTest::newRow("in MTD16") << QByteArray("<MTD16><C/></MTD16><Filesystem/>")
                              << QByteArrayList{"C"};
    QTest::newRow("in the order of the file")
            << QByteArray("<B/><Filesystem><C/></Filesystem><A/>") << QByteArrayList{"B", "C", "A"};
    QTest::newRow("twenty levels") << nested(20) + "<Filesystem/>" << QByteArrayList{"other"};
    QTest::newRow("twenty levels, twice")
            << nested(20) + nested(20) + "<Filesystem/>" << QByteArrayList{"other", "other"};
    QTest::newRow("twenty levels, wide")
            << "<x>" + nested(19) + nested(19) + nested(19) + "</x><Filesystem/>"
            << QByteArrayList{"x"};
    QTest::newRow("comments and instructions are nothing")
            << QByteArray("<!-- c --><?pi x?> \t\n<Filesystem><!-- c --> </Filesystem>")
            << QByteArrayList();
    QTest::newRow("attributes are not announced")
            << QByteArray("<Filesystem Colour=\"x\" type=\"y\"/>") << QByteArrayList();
}

void tst_ProjectFile::unknownElementsAreSkippedAndAnnounced()
{
    QFETCH(QByteArray, children);
    QFETCH(QByteArrayList, announced);
    World world;
    world.write("project/demo.ztp", around(children));
    QByteArray err;
    for (const QByteArray &name : announced)
        err += "[Debug] <" + name + "> element ignored\n";
    const Result result = world.run({"-q"});
    SAME(result.err, err);
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 1);
}

void tst_ProjectFile::unknownElementsAreNotNestedDeeperThanTwentyLevels_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("in Project") << QByteArray() << QByteArray();
    QTest::newRow("in Merge") << QByteArray("<Filesystem><Merge Type=\"File\">")
                              << QByteArray("</Merge></Filesystem>");
    QTest::newRow("in Preprocess") << QByteArray("<Process><Preprocess Type=\"Ztlpp\">")
                                   << QByteArray("</Preprocess></Process>");
}

void tst_ProjectFile::unknownElementsAreNotNestedDeeperThanTwentyLevels()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    World world;
    world.write("project/demo.ztp", around(before + nested(21) + after));
    const qsizetype column = before.size() + 21 * QByteArray("<other>").size();
    SAME(world.run({}).text(),
         report(1, {},
                "[Debug] <other> element ignored\n"
                "[ztmake] demo.ztp: Error reading demo.ztp, Line 4, Column "
                        + QByteArray::number(column) + ":\n  (<other>) File too deeply nested\n"));
}

QTEST_GUILESS_MAIN(tst_ProjectFile)
#include "tst_projectfile.moc"
