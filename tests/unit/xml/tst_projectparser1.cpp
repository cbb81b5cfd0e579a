#include "xml/projectparser1.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char root[] = "<ZeltaProject xmlns='http://zelta.example/Zelta/Project/2009'>";

struct Reading
{
    explicit Reading(const QByteArray &text)
    {
        path = world.filePath(u"box.ztp"_s);
        TestFiles::write(path, text);
        ok = parser.parseProjectFile(path, &spec);
    }

    QTemporaryDir world;
    QString path;
    ProjectParser1 parser;
    ProjectSpec spec;
    bool ok = false;
};

QByteArray project(const QByteArray &children, const QByteArray &attributes = {})
{
    return QByteArray(root) + "<Project " + attributes + ">" + children
           + "</Project></ZeltaProject>";
}

} // namespace

class TestProjectParser1 : public QObject
{
    Q_OBJECT

private slots:
    void newParserIsIdle()
    {
        const ProjectParser1 parser;
        QCOMPARE(parser.errorString(), QString());
        QVERIFY(!parser.recognised());
    }

    void emptyProject()
    {
        const Reading reading(project({}));
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        ProjectSpec expected;
        expected.projectFile = reading.path;
        expected.process.compile = {0};
        expected.process.preprocess_ = {0};
        QVERIFY(reading.spec == expected);
    }

    void recognisedIsClearedAtTheEndOfTheParse()
    {
        QVERIFY(!Reading(project({})).parser.recognised());
        QVERIFY(!Reading(project("<x/>")).parser.recognised());
    }

    void projectAttributes()
    {
        const Reading reading(project(
                {}, "Name='B' Version='1' Svnversion='Yes' ProjectDirectory='p' Verbose='10' "
                    "OutputDirectory='o' ObjectDirectory='j' BuildInstaller='0' IncludeMBR='1' "
                    "SDK='2' KeyFile='k' TagMap='t' StateFile='s' CompileLua='true'"));
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        ProjectSpec expected;
        expected.projectFile = reading.path;
        expected.name = u"B"_s;
        expected.version = u"1"_s;
        expected.svnversion = {1};
        expected.projectDirectory = u"p"_s;
        expected.verbose = 10;
        expected.outputDirectory = u"o"_s;
        expected.objectDirectory = u"j"_s;
        expected.buildInstaller = {0};
        expected.includeMbr = {1};
        expected.sdk = u"2"_s;
        expected.keyFile = u"k"_s;
        expected.tagMap = u"t"_s;
        expected.stateFile_ = u"s"_s;
        expected.process.compile = {0};
        expected.process.preprocess_ = {0};
        QVERIFY(reading.spec == expected);
    }

    void levelThatIsNoNumberCountsAsNotSet()
    {
        const Reading reading(project("<Target Model='A' Verbose='x'/>"
                                      "<Filesystem Verbose='1.5'/>",
                                      "Verbose='abc'"));
        QVERIFY(reading.ok);
        QCOMPARE(reading.spec.verbose, -1);
        QCOMPARE(reading.spec.targets[0].verbose, -1);
        QCOMPARE(reading.spec.filesystems[0].verbose, -1);
    }

    void targets()
    {
        const Reading reading(
                project("<Target Model='A' BuildInstaller='1' IncludeMBR='no' Verbose='2'/>"
                        "<Target Model=''/>"));
        QVERIFY(reading.ok);
        const TargetSpec full{u"A"_s, {1}, {0}, 2};
        QCOMPARE(reading.spec.targets.size(), 2);
        QVERIFY(reading.spec.targets[0] == full);
        QVERIFY(reading.spec.targets[1] == TargetSpec());
    }

    void filesystemAndMerges()
    {
        const Reading reading(project(
                "<Filesystem Type='romfs' Label='l' IncludeBase='1' CompileLua='1' Verbose='4'>\n"
                "<Merge Type='File' Destination='/etc'>data/x.cfg</Merge>\n"
                "<Merge Type='Directory' CompileLua='0'> root </Merge>"
                "<Merge Type='Archive'/></Filesystem>"));
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        FilesystemSpec expected;
        expected.type = 0;
        expected.label = u"l"_s;
        expected.includeBase = {1};
        expected.process.compile = {1};
        expected.verbose = 4;
        expected.merges = {{MergeSpec::Type::File, u"data/x.cfg"_s, u"/etc"_s, {}},
                           {MergeSpec::Type::Directory, u" root "_s, {}, {}},
                           {MergeSpec::Type::Archive, {}, {}, {}}};
        expected.merges[1].process.compile = {0};
        QCOMPARE(reading.spec.filesystems.size(), 1);
        QVERIFY(reading.spec.filesystems[0] == expected);
    }

    void nextFilesystemInheritsWhatClearingLeaves()
    {
        const Reading reading(project("<Filesystem Label='a' IncludeBase='1' CompileLua='1' "
                                      "Verbose='2'><Merge Type='File'>x</Merge></Filesystem>"
                                      "<Filesystem/>"));
        QVERIFY(reading.ok);
        FilesystemSpec second;
        second.type = 0;
        second.process.compile = {1};
        QVERIFY(reading.spec.filesystems[1] == second);
    }

    void secondProjectReplacesTheAttributesOfTheFirst()
    {
        const Reading reading(root + "<Project Name='a'/><Project Name='b'/></ZeltaProject>"_ba);
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QCOMPARE(reading.spec.name, u"b"_s);
    }

    void sourceInPiecesKeepsTheLast()
    {
        ProjectSpec spec;
        const Reading reading(
                project("<Filesystem><Merge Type='File'>one<![CDATA[two]]></Merge></Filesystem>"));
        QVERIFY(reading.ok);
        QCOMPARE(reading.spec.filesystems[0].merges[0].source, u"two"_s);
    }

    void documentTypeIsAccepted_data()
    {
        Rows<QByteArray> row; // declaration
        row("bare", "<!DOCTYPE ZeltaProject>");
        row("system", "<!DOCTYPE ZeltaProject SYSTEM \"missing.dtd\">");
        row("public",
            "<!DOCTYPE ZeltaProject PUBLIC \"-//x//y\" \"http://zelta.example/missing.dtd\">");
        row("internal subset", "<!DOCTYPE ZeltaProject [<!ELEMENT ZeltaProject ANY>]>");
        row("entity", "<!DOCTYPE ZeltaProject [<!ENTITY vendor \"Zelta\">]>");
    }
    void documentTypeIsAccepted()
    {
        const auto [declaration] = fetch<QByteArray>();
        const bool hasEntity = declaration.contains("ENTITY");
        const Reading reading(
                declaration
                + project("<Target Model='" + QByteArray(hasEntity ? "&vendor;" : "A") + "'/>"));
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QCOMPARE(reading.spec.targets[0].model, hasEntity ? u"Zelta"_s : u"A"_s);
    }

    void largeFileIsRead()
    {
        const Reading reading(project("<!--" + QByteArray(780'000, '=') + "--><Filesystem>"
                                      + QByteArray("<Merge Type='File'>a</Merge>").repeated(50'000)
                                      + "</Filesystem>"));
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QCOMPARE(reading.spec.filesystems[0].merges.size(), 50'000);
    }

    void otherDocuments_data()
    {
        Rows<QByteArray, QByteArray> row;
        for (const auto &[name, text] : {std::pair{"empty file", QByteArray()},
                                         {"no XML", "hello"_ba},
                                         {"cut short", root + "<Project>"_ba},
                                         {"malformed", project("<Filesystem></Target>")}})
            row(name, text, "I'm sorry, but I can't find a valid project in that file.");
        const QByteArray noProject = "I'm sorry, but I can't find a valid project in that file.";
        QByteArray attributes;
        for (int i = 0; i <= 10'000; ++i)
            attributes += " a" + QByteArray::number(i) + "=''";
        row("too many attributes", project("<Target Model='A'" + attributes + "/>"), noProject);
        row("entity that expands without end",
            "<!DOCTYPE ZeltaProject [<!ENTITY a \"" + QByteArray(4000, 'x') + "\">]>"
                    + project("<Filesystem><Merge Type='File'>" + QByteArray("&a;").repeated(20'000)
                              + "</Merge></Filesystem>"),
            noProject);
        row("endless content model",
            "<!DOCTYPE ZeltaProject [<!ELEMENT a " + QByteArray(100'000, '(') + "]>" + project({}),
            noProject);
        const QByteArray current = "http://zelta.example/Zelta/Project/2009/42";
        const auto unsupported = [](const QByteArray &nameSpace) {
            return "Namespace \"" + nameSpace + "\" not supported.";
        };
        row("current schema", "<ZeltaProject xmlns='" + current + "'/>", unsupported(current));
        row("no namespace", "<ZeltaProject/>", unsupported({}));
        row("child in another namespace", project("<Target xmlns='x' Model='A'/>"),
            unsupported("x"));
        row("child of the current schema", project("<Filesystem xmlns='" + current + "'/>"),
            unsupported(current));
        row("prefixed element",
            "<p:ZeltaProject xmlns:p='http://zelta.example/Zelta/Project/2009'/>",
            "Unexpected \"p:ZeltaProject\" element");
        row("prefixed child",
            project("<p:Filesystem xmlns:p='http://zelta.example/Zelta/Project/2009'/>"),
            "Unexpected \"p:Filesystem\" element");
        row("other root", "<Other xmlns='http://zelta.example/Zelta/Project/2009'/>",
            "Unexpected \"Other\" element");
    }
    void otherDocuments() { check(); }

    void structure_data()
    {
        Rows<QByteArray, QByteArray> row;
        for (const char *name : {"Startup", "Process", "Translation", "MTD16", "Merge", "Project",
                                 "Other", "filesystem"})
            row(name, project("<"_ba + name + " Type='File'/>"),
                "Unexpected \""_ba + name + "\" element");
        row("element in a target", project("<Target Model='A'><Target Model='B'/></Target>"),
            "Unexpected \"Target\" element");
        row("element in a filesystem", project("<Filesystem><Process/></Filesystem>"),
            "Unexpected \"Process\" element");
        row("element in a merge",
            project("<Filesystem><Merge Type='File'><Source/></Merge></Filesystem>"),
            "Unexpected \"Source\" element");
        const QByteArray noText = "Characters not expected.";
        row("text in the project", project("x"), noText);
        row("text in the root", root + "x</ZeltaProject>"_ba, noText);
        row("text in a filesystem", project("<Filesystem>x</Filesystem>"), noText);
        row("text in a target", project("<Target Model='A'>x</Target>"), noText);
    }
    void structure() { check(); }

    void attributes_data()
    {
        Rows<QByteArray, QByteArray> row;
        row("target without model", project("<Target Verbose='1'/>"),
            "\"Model\" attribute missing in \"Target\" element.");
        row("merge without type", project("<Filesystem><Merge/></Filesystem>"),
            "\"Type\" attribute missing in \"Merge\" element.");
        for (const char *type : {"x", "file"})
            row("merge type "_ba + type,
                project("<Filesystem><Merge Type='"_ba + type + "'/></Filesystem>"),
                "\"Type\" attribute value \""_ba + type + "\" invalid.");
        for (const char *type : {"ext2", ""})
            row("filesystem type "_ba + type, project("<Filesystem Type='"_ba + type + "'/>"),
                "\"Type\" attribute value \""_ba + type + "\" invalid.");
        const auto badWords = [&](const QByteArray &element, const QByteArrayList &attributes) {
            for (const QByteArray &attribute : attributes) {
                const QByteArray setting = ' ' + attribute + "='Maybe'";
                QByteArray text = project('<' + element + setting + "/>");
                if (element.isEmpty())
                    text = project({}, setting);
                else if (element.startsWith("Merge"))
                    text = project("<Filesystem><" + element + setting + "/></Filesystem>");
                row(element + ' ' + attribute, text,
                    "Expected a \"" + attribute + "\" boolean value, but got \"maybe\"");
            }
        };
        badWords({}, {"Svnversion", "BuildInstaller", "IncludeMBR", "CompileLua"});
        badWords("Target Model='A'", {"BuildInstaller", "IncludeMBR"});
        badWords("Filesystem", {"IncludeBase", "CompileLua"});
        badWords("Merge Type='File'", {"CompileLua"});
        row("empty word", project({}, "IncludeMBR=''"),
            "Expected a \"IncludeMBR\" boolean value, but got \"\"");
    }
    void attributes() { check(); }

    void missingFile()
    {
        ProjectSpec spec;
        ProjectParser1 parser;
        QVERIFY(!parser.parseProjectFile(u"/missing/box.ztp"_s, &spec));
        QCOMPARE(parser.errorString(),
                 u"I'm sorry, but I can't find a valid project in that file."_s);
    }

    void parserMayBeUsedAgain()
    {
        const QTemporaryDir world;
        const QString bad = world.filePath(u"bad"_s);
        const QString good = world.filePath(u"good"_s);
        QVERIFY(TestFiles::write(bad, project("<Filesystem CompileLua='1'><x/></Filesystem>")));
        QVERIFY(TestFiles::write(good, project("<Filesystem/>")));
        ProjectParser1 parser;
        ProjectSpec spec;
        QVERIFY(!parser.parseProjectFile(bad, &spec));
        spec = {};
        QVERIFY(parser.parseProjectFile(good, &spec));
        QCOMPARE(parser.errorString(), QString());
        QCOMPARE(spec.filesystems[0].process.compile.value, -1);
    }

private:
    static void check()
    {
        const auto [text, message] = fetch<QByteArray, QByteArray>();
        const Reading reading(text);
        QVERIFY(!reading.ok);
        QCOMPARE(reading.parser.errorString(), QString::fromUtf8(message));
    }
};

QTEST_GUILESS_MAIN(TestProjectParser1)
#include "tst_projectparser1.moc"
