#include "rows.h"
#include "testfiles.h"
#include "xml/projectparser2.h"

using namespace Qt::StringLiterals;

namespace {

const QByteArray head = "<?xml version=\"1.0\"?>\n"
                        "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">\n";
const QByteArray noProject = "This doesn't look like a Zelta Project file.";

/// The document around some children of Project.
QByteArray around(const QByteArray &children)
{
    return head + "<Project Name=\"Box\">\n" + children + "\n</Project>\n</ZeltaProject>\n";
}

QByteArray inMerge(const QByteArray &text)
{
    return "<Filesystem><Merge Type=\"File\">" + text + "</Merge></Filesystem>";
}

QByteArray inProcess(const QByteArray &text)
{
    return "<Process>" + text + "</Process>";
}

QByteArray inPreprocess(const QByteArray &text)
{
    return inProcess("<Preprocess Type=\"Ztlpp\">" + text + "</Preprocess>");
}

/// An attribute's message.
QByteArray expected(const QByteArray &element, const QByteArray &attribute, const QByteArray &kind,
                    const QByteArray &value)
{
    return "(<" + element + ">) Expected \"" + attribute + "\" to be a " + kind + ", but got \""
           + value + '"';
}

/// Documents in which reading stops at the mark "^".
class ErrorRows : public Rows<QByteArray, bool, QByteArray>
{
public:
    void whole(const QByteArray &document, const QByteArray &message, bool recognised = true) const
    {
        (*this)(document, document, recognised, message);
    }
    void document(const QByteArray &rest, const QByteArray &message) const
    {
        (*this)(rest, head + rest, true, message);
    }
    void child(const QByteArray &children, const QByteArray &message) const
    {
        (*this)(children, around(children), true, message);
    }
};

} // namespace

/// What the reader of the current schema says about each mistake, and where.
class TestProjectParser2Errors : public QObject
{
    Q_OBJECT

private slots:
    void otherDocuments_data()
    {
        const ErrorRows row;
        row.whole("<Other/>^", "(<Other>) " + noProject, false);
        row.whole("<!DOCTYPE x>^<ZeltaProject/>", "(DTD) " + noProject, false);
        row.whole("<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009\"/>^",
                  "(<ZeltaProject>) Namespace \"http://zelta.example/Zelta/Project/2009\" not "
                  "supported.",
                  false);
        row.whole("<ZeltaProject/>^", "(<ZeltaProject>) Namespace \"\" not supported.", false);
    }
    void otherDocuments() { check(); }

    void structure_data()
    {
        const ErrorRows row;
        const QByteArray projectExpected = "<Project> expected.";
        const QByteArray nameMissing = "(<Project>) Project name missing or empty.";
        const QByteArray elementExpected = "(Characters) Element expected.";
        row.document("</ZeltaProject>^", "(</ZeltaProject>) " + projectExpected);
        row.document("<project Name=\"x\">^</project>", "(<project>) " + projectExpected);
        row.document("text<^Project/>", "(Characters) " + projectExpected);
        row.document("<Project SDK=\"x\">^</Project>", nameMissing);
        row.document("<Project Name=\"\">^</Project>", nameMissing);
        const QByteArray endExpected = "End of <ZeltaProject> expected.";
        row.document("<Project Name=\"x\">\n</Project>\n<Project Name=\"y\">^</Project>",
                     "(<Project>) " + endExpected);
        row.document("<Project Name=\"x\"></Project>x<^/ZeltaProject>",
                     "(Characters) " + endExpected);
        row.child("text<^Startup/>", elementExpected);
        row.child("<Target Model=\"x\"/>text<^Target/>", elementExpected);
        row.child("<Filesystem>text<^/Filesystem>", elementExpected);
        row.child(inMerge("text<^x/>"), elementExpected);
        row.child(inProcess("text<^x/>"), elementExpected);
        row.child(inPreprocess("text<^x/>"), elementExpected);
        row.child("<Translation>text<^/Translation>", elementExpected);
        row.child("<MTD16>text<^/MTD16>", elementExpected);
        row.child("<Startup><File>^</File></Startup>", "(<File>) End of <Startup> expected.");
        row.child("<Startup>text<^/Startup>", "(Characters) End of <Startup> expected.");
        row.child("<Target Model=\"x\"><y/>^</Target>", "(<y>) End of <Target> expected.");
        row.child(inProcess("<Compile Type=\"Lua\"><y>^</y></Compile>"),
                  "(<y>) End of <Compile> expected.");
        row.child(QByteArray("<n>").repeated(21) + '^' + QByteArray("</n>").repeated(21),
                  "(<n>) File too deeply nested");
        row.child(inMerge(QByteArray("<n>").repeated(21) + '^'), "(<n>) File too deeply nested");
    }
    void structure() { check(); }

    void texts_data()
    {
        const ErrorRows row;
        const auto add = [&](const QByteArray &name, const QByteArray &before,
                             const QByteArray &after) {
            const QByteArray start = before + '<' + name + '>';
            const QByteArray end = "</" + name + '>' + after;
            const QByteArray element = name + " element expected.";
            row.child(start + "<x>^</x>" + end, "(<x>) Characters for " + element);
            row.child(start + "<!-- c -->^x" + end, "(Comment) Characters for " + element);
            row.child(start + "x<y>^</y>" + end, "(<y>) End of " + element);
        };
        for (const char *name : {"Source", "Destination"})
            add(name, "<Filesystem><Merge Type=\"File\">", "</Merge></Filesystem>");
        add("Include", "<Process><Preprocess Type=\"Ztlpp\">", "</Preprocess></Process>");
        for (const char *name : {"Language", "Default"})
            add(name, "<Translation>", "</Translation>");
        for (const char *name : {"Source", "Header", "Lua"})
            add(name, "<MTD16>", "</MTD16>");
    }
    void texts() { check(); }

    void types_data()
    {
        const ErrorRows row;
        const QByteArray noModel =
                "(<Target>) \"Model\" attribute missing or empty in <Target> element.";
        row.child("<Target/>^", noModel);
        row.child("<Target>^</Target>", noModel);
        row.child("<Filesystem Type=\"ROMFS\">^</Filesystem>",
                  "(<Filesystem>) \"Type\" attribute value \"ROMFS\" invalid.");
        row.child("<Filesystem><Merge>^</Merge></Filesystem>",
                  "(<Merge>) \"Type\" attribute value \"\" missing or invalid.");
        for (const char *type : {"", "directory"})
            row.child("<Filesystem><Merge Type=\""_ba + type + "\">^</Merge></Filesystem>",
                      "(<Merge>) \"Type\" attribute value \""_ba + type + "\" missing or invalid.");
        for (const char *type : {"", "ztlpp", "Cpp"}) {
            row.child(inProcess("<Preprocess Type=\""_ba + type + "\">^</Preprocess>"),
                      "(<Preprocess>) Preprocessing type \""_ba + type + "\" not supported");
            row.child("<Filesystem>" + inProcess("<Compile Type=\""_ba + type + "\">^</Compile>")
                              + "</Filesystem>",
                      "(<Compile>) Compilation type \""_ba + type + "\" not supported");
        }
        row.child(inProcess("<Preprocess>^</Preprocess>"),
                  "(<Preprocess>) Preprocessing type \"\" not supported");
        row.child(inProcess("<Compile Enabled=\"maybe\">^</Compile>"),
                  "(<Compile>) Compilation type \"\" not supported");
        row.child(inProcess("<Compile Type=\"lua\">^</Compile>"),
                  "(<Compile>) Compilation type \"lua\" not supported");
    }
    void types() { check(); }

    void attributes_data()
    {
        const ErrorRows row;
        const QByteArray boolean = "boolean attribute";
        for (const char *name : {"Svnversion", "BuildInstaller", "EncryptInstaller", "IncludeMBR"})
            row.document("<Project Name=\"x\" "_ba + name + "=\"On\">^",
                         expected("Project", name, boolean, "on"));
        row.document("<Project IncludeMBR=\"2\">^", // before the name is missed
                     expected("Project", "IncludeMBR", boolean, "2"));
        const auto add = [&](const QByteArray &before, const QByteArray &start,
                             const QByteArrayList &names) {
            for (const QByteArray &name : names)
                row.child(before + '<' + start + ' ' + name + "=\"Maybe\">^",
                          expected(start.left(start.indexOf(' ')), name, boolean, "maybe"));
        };
        add({}, "Startup File=\"x\"", {"Interactive"});
        add({}, "Target Model=\"x\"", {"BuildInstaller", "IncludeMBR"});
        add({}, "Filesystem Label=\"root\"", {"IncludeBase"});
        add("<Process>", "Preprocess Type=\"Ztlpp\"",
            {"Enabled", "RemoveComments", "SimplifyWhitespace"});
        add("<Process>", "Compile Type=\"Lua\"", {"Enabled", "Strip", "Strict"});
        add({}, "Translation BaseDir=\"x\"", {"Enabled"});
        add({}, "MTD16 x=\"x\"", {"Enabled"});
        // Only the first fault of a group of attributes is named.
        row.child("<Target Model=\"x\" Verbose=\"high\" IncludeMBR=\"3\" BuildInstaller=\"4\">^",
                  expected("Target", "BuildInstaller", boolean, "4"));
        row.child("<Translation Enabled=\"Later\">^<Language><x/></Language></Translation>",
                  expected("Translation", "Enabled", boolean, "later"));
        for (const char *value : {"0x10", "abc", "1.5", "1 2", "99999999999", "High"})
            row.document("<Project Name=\"x\" Verbose=\""_ba + value + "\">^",
                         expected("Project", "Verbose", "number", value));
        row.child("<Target Model=\"x\" Verbose=\"0x10\">^",
                  expected("Target", "Verbose", "number", "0x10"));
        row.child("<Filesystem Verbose=\"Much\">^",
                  expected("Filesystem", "Verbose", "number", "Much"));
    }
    void attributes() { check(); }

    // Where the XML reader gives up, it has its own idea of the place.
    void malformedDocuments_data()
    {
        Rows<QByteArray, bool, QByteArray> row;
        row("empty", "", false, "This doesn't look like an XML file.");
        row("after the document", around("") + "<x/>", true, "End of document expected");
        row("text after the document", around("") + "x", true, "End of document expected");
        row("cut in the root", head, true, "<Project> expected.");
        row("cut in Project", head + "<Project Name=\"x\">", true, "Element expected.");
        row("cut after Project", head + "<Project Name=\"x\"></Project>", true,
            "End of <ZeltaProject> expected.");
        row("wrong end tag in Target", around("<Target Model=\"x\"></Targe>"), true,
            "End of <Target> expected.");
        row("wrong end tag in Translation", around("<Translation>"), true, "Element expected.");
        row("bad text in Source", around(inMerge("<Source>&no;</Source>")), true,
            "Characters for Source element expected.");
    }
    void malformedDocuments()
    {
        const auto [document, recognised, message] = fetch<QByteArray, bool, QByteArray>();
        const QStringList lines = read(document, recognised).split(u'\n');
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].startsWith(u"Error reading %1, Line "_s.arg(path())),
                 qPrintable(lines[0]));
        QCOMPARE(lines[1], u"  (Invalid) "_s + QString::fromUtf8(message));
    }

private:
    QString path() const { return m_world.filePath(u"box.ztp"_s); }

    /// @return the error
    QString read(const QByteArray &document, bool recognised) const
    {
        if (!TestFiles::write(path(), document))
            return u"cannot write"_s;
        ProjectSpec spec;
        ProjectParser2 parser;
        if (parser.parseProjectFile(path(), &spec) || parser.recognised() != recognised)
            return u"accepted, or not recognised"_s;
        return parser.errorString();
    }

    void check() const
    {
        auto [document, recognised, message] = fetch<QByteArray, bool, QByteArray>();
        const qsizetype mark = document.indexOf('^');
        QVERIFY(mark > 0);
        document.remove(mark, 1);
        const QByteArray before = document.left(mark);
        QCOMPARE(read(document, recognised),
                 u"Error reading %1, Line %2, Column %3:\n  %4"_s.arg(path())
                         .arg(before.count('\n') + 1)
                         .arg(mark - before.lastIndexOf('\n') - 1)
                         .arg(QString::fromUtf8(message)));
    }

    QTemporaryDir m_world;
};

QTEST_GUILESS_MAIN(TestProjectParser2Errors)
#include "tst_projectparser2errors.moc"
