#include "xml/projectparser2.h"

#include "testfiles.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char root[] = "<ZeltaProject xmlns='http://zelta.example/Zelta/Project/2009/42'>";

/// The result of reading one text.
struct Reading
{
    explicit Reading(const QByteArray &text)
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"box.ztp"_s);
        TestFiles::write(path, text);
        ok = parser.parseProjectFile(path, &spec);
    }

    QString message() const { return parser.errorString().section(u"\n  "_s, 1); }

    ProjectParser2 parser;
    ProjectSpec spec;
    bool ok = false;
};

Reading readProject(const QByteArray &children, const QByteArray &attributes = {})
{
    return Reading(QByteArray(root) + "<Project Name='Box' " + attributes + ">" + children
                   + "</Project></ZeltaProject>");
}

} // namespace

class TestProjectParser2 : public QObject
{
    Q_OBJECT

private slots:
    void emptyProjectHasTheDefaults()
    {
        const Reading reading = readProject({});
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QVERIFY(reading.parser.recognised());
        ProjectSpec expected;
        expected.name = u"Box"_s;
        QVERIFY(reading.spec == expected);
        QCOMPARE(reading.spec.projectFile, QString());
    }

    void nothingOfAnEarlierContentSurvives()
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"box.ztp"_s);
        QVERIFY(TestFiles::write(path, "no project"));
        ProjectSpec spec;
        spec.name = u"old"_s;
        spec.languages = {u"de"_s};
        ProjectParser2 parser;
        QVERIFY(!parser.parseProjectFile(path, &spec));
        QVERIFY(spec == ProjectSpec());
    }

    void missingFileLeavesTheSpecAlone()
    {
        ProjectSpec spec;
        spec.name = u"old"_s;
        ProjectParser2 parser;
        QVERIFY(!parser.parseProjectFile(u"/missing/box.ztp"_s, &spec));
        QVERIFY(!parser.recognised());
        QVERIFY(parser.errorString().endsWith(u"Failed to open input file /missing/box.ztp."_s));
        QCOMPARE(spec.name, u"old"_s);
    }

    void projectAttributes()
    {
        const Reading reading = readProject(
                {}, "Version='1.0' Svnversion='yes' ProjectDirectory='p' Verbose='3' "
                    "OutputDirectory='o' ObjectDirectory='j' BuildInstaller='1' "
                    "EncryptInstaller='no' IncludeMBR='true' SDK='2.1' KeyFile='k' TagMap='t' "
                    "StateFile='s'");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        ProjectSpec expected;
        expected.name = u"Box"_s;
        expected.version = u"1.0"_s;
        expected.svnversion = {1};
        expected.projectDirectory = u"p"_s;
        expected.verbose = 3;
        expected.outputDirectory = u"o"_s;
        expected.objectDirectory = u"j"_s;
        expected.buildInstaller = {1};
        expected.encryptInstaller = {0};
        expected.includeMbr = {1};
        expected.sdk = u"2.1"_s;
        expected.keyFile = u"k"_s;
        expected.tagMap = u"t"_s;
        expected.stateFile_ = u"s"_s;
        QVERIFY(reading.spec == expected);
    }

    void startup()
    {
        const Reading reading = readProject("<Startup File='/a' Interactive='1'/>"
                                            "<Startup File='/b'/>");
        QVERIFY(reading.ok);
        QCOMPARE(reading.spec.startupFile, u"/b"_s);
        QCOMPARE(reading.spec.interactive.value, -1);
    }

    void targets()
    {
        const Reading reading =
                readProject("<Target Model='A' BuildInstaller='1' IncludeMBR='0' Verbose='2'/>"
                            "<Target Model=''/><Target Verbose='1'/>");
        QVERIFY(reading.ok);
        QCOMPARE(reading.spec.targets.size(), 3);
        const TargetSpec full{u"A"_s, {1}, {0}, 2};
        QVERIFY(reading.spec.targets[0] == full);
        QVERIFY(reading.spec.targets[1] == TargetSpec());
        const TargetSpec withoutModel{{}, {}, {}, 1};
        QVERIFY(reading.spec.targets[2] == withoutModel);
    }

    void filesystem()
    {
        const Reading reading = readProject(
                "<Filesystem/>"
                "<Filesystem Type='romfs' Label='l' IncludeBase='1' Verbose='4'>"
                "<Process><Compile Type='Lua' Strip='1'/></Process>"
                "<Merge Type='File'><Source> a </Source><Destination>/d</Destination></Merge>"
                "<Merge Type='Directory'/>"
                "<Merge Type='Archive'><Process><Compile Type='Lua' Strict='1'/></Process></Merge>"
                "</Filesystem>");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QCOMPARE(reading.spec.filesystems.size(), 2);
        FilesystemSpec plain;
        plain.type = 0;
        QVERIFY(reading.spec.filesystems[0] == plain);

        FilesystemSpec full;
        full.type = 0;
        full.label = u"l"_s;
        full.includeBase = {1};
        full.verbose = 4;
        full.process.strip = {1};
        full.merges = {{MergeSpec::Type::File, u" a "_s, u"/d"_s, {}},
                       {MergeSpec::Type::Directory, {}, {}, {}},
                       {MergeSpec::Type::Archive, {}, {}, {}}};
        full.merges[2].process.strict = {1};
        QVERIFY(reading.spec.filesystems[1] == full);
    }

    void process()
    {
        const Reading reading = readProject(
                "<Process>"
                "<Preprocess Type='Ztlpp' Enabled='0' RemoveComments='1' SimplifyWhitespace='0'>"
                "<Include>one</Include><Include>two</Include></Preprocess>"
                "<Compile Type='Lua' Enabled='1' Strip='0' Strict='1'/>"
                "</Process>");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        ProcessSpec expected;
        expected.preprocess_ = {0};
        expected.removeComments_ = {1};
        expected.simplifyWhitespace_ = {0};
        expected.include = {u"one"_s, u"two"_s};
        expected.compile = {1};
        expected.strip = {0};
        expected.strict = {1};
        QVERIFY(reading.spec.process == expected);
    }

    void translation()
    {
        const Reading reading =
                readProject("<Translation Enabled='1' BaseDir='/usr/lib/lua'><Default>en</Default>"
                            "<Language>de</Language><Language>fr</Language></Translation>");
        QVERIFY(reading.ok);
        QCOMPARE(reading.spec.translation.value, 1);
        QCOMPARE(reading.spec.translationBaseDir, u"/usr/lib/lua"_s);
        QCOMPARE(reading.spec.defaultLanguage, u"en"_s);
        const QStringList languages{u"de"_s, u"fr"_s};
        QCOMPARE(reading.spec.languages, languages);
    }

    void definitions()
    {
        const Reading own = readProject("<MTD16 Enabled='1'><Source>s</Source><Header>h</Header>"
                                        "<Lua>l</Lua></MTD16>");
        QVERIFY(own.ok);
        QCOMPARE(own.spec.mtd16.value, 1);
        QCOMPARE(own.spec.mtd16Source, u"s"_s);
        QCOMPARE(own.spec.mtd16Header.value, u"h"_s);
        QCOMPARE(own.spec.mtd16Lua.value, u"l"_s);
        const Reading defaults = readProject("<MTD16><Header>include/mtd16.lh</Header>"
                                             "<Lua>root/usr/lib/lua/mtd16.lua</Lua></MTD16>");
        QVERIFY(defaults.ok);
        QCOMPARE(defaults.spec.mtd16Header.value, QString());
        QCOMPARE(defaults.spec.mtd16Lua.value, QString());
    }

    void unknownElementsAreSkippedEverywhere()
    {
        const QByteArray unknown = "<New X='1'>text<Deep/></New>";
        const Reading reading =
                readProject(unknown + "<Filesystem New='1'>" + unknown + "<Merge Type='File'>"
                            + unknown + "<Process>" + unknown + "<Preprocess Type='Ztlpp'>"
                            + unknown + "</Preprocess></Process></Merge></Filesystem><Translation>"
                            + unknown + "</Translation><MTD16>" + unknown + "</MTD16>");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QCOMPARE(reading.spec.filesystems.size(), 1);
        QCOMPARE(reading.spec.filesystems[0].merges.size(), 1);
    }

    void commentsAreAllowedBetweenElements()
    {
        const Reading reading(QByteArray("<?xml version='1.0'?>\n<!-- c -->") + root
                              + "<!-- c -->\n<Project Name='Box'><!-- c --></Project><!-- c -->"
                                "</ZeltaProject><!-- c -->\n");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
    }

    void errors_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("recognised");
        QTest::addColumn<QString>("message");
        const auto add = [](const char *name, const QByteArray &text, const QString &message) {
            QTest::newRow(name) << root + text << true << message;
        };
        const auto addChild = [&](const char *name, const QByteArray &text,
                                  const QString &message) {
            add(name, "<Project Name='Box'>" + text + "</Project></ZeltaProject>", message);
        };

        QTest::newRow("no XML") << ""_ba << false
                                << u"(Invalid) This doesn't look like an XML file."_s;
        QTest::newRow("other root") << "<Other/>"_ba << false
                                    << u"(<Other>) This doesn't look like a Zelta Project file."_s;
        QTest::newRow("document type first")
                << "<!DOCTYPE x><ZeltaProject/>"_ba << false
                << u"(DTD) This doesn't look like a Zelta Project file."_s;
        QTest::newRow("first schema")
                << "<ZeltaProject xmlns='http://zelta.example/Zelta/Project/2009'/>"_ba << false
                << u"(<ZeltaProject>) Namespace \"http://zelta.example/Zelta/Project/2009\" not "
                   "supported."_s;
        QTest::newRow("no namespace") << "<ZeltaProject/>"_ba << false
                                      << u"(<ZeltaProject>) Namespace \"\" not supported."_s;
        add("no project", "</ZeltaProject>", u"(</ZeltaProject>) <Project> expected."_s);
        add("other element for the project", "<Box/></ZeltaProject>",
            u"(<Box>) <Project> expected."_s);
        add("no name", "<Project Version='1'/></ZeltaProject>",
            u"(<Project>) Project name missing or empty."_s);
        add("empty name", "<Project Name=''/></ZeltaProject>",
            u"(<Project>) Project name missing or empty."_s);
        add("bad attribute before the name check", "<Project Verbose='x'/></ZeltaProject>",
            u"(<Project>) Expected \"Verbose\" to be a number, but got \"x\""_s);
        for (const char *attribute :
             {"Svnversion", "BuildInstaller", "EncryptInstaller", "IncludeMBR"}) {
            add(attribute, QByteArray("<Project Name='B' ") + attribute + "='X'/></ZeltaProject>",
                u"(<Project>) Expected \"%1\" to be a boolean attribute, but got \"x\""_s.arg(
                        QLatin1StringView(attribute)));
        }
        add("second project", "<Project Name='B'/><Project Name='C'/></ZeltaProject>",
            u"(<Project>) End of <ZeltaProject> expected."_s);
        add("content behind the root", "<Project Name='B'/></ZeltaProject><x/>",
            u"(Invalid) End of document expected"_s);
        addChild("text in the project", "x", u"(Characters) Element expected."_s);
        addChild("text in a filesystem", "<Filesystem>x</Filesystem>",
                 u"(Characters) Element expected."_s);
        addChild("text in a merge", "<Filesystem><Merge Type='File'>x</Merge></Filesystem>",
                 u"(Characters) Element expected."_s);
        addChild("text in process", "<Process>x</Process>", u"(Characters) Element expected."_s);
        addChild("text in preprocess", "<Process><Preprocess Type='Ztlpp'>x</Preprocess></Process>",
                 u"(Characters) Element expected."_s);
        addChild("text in translation", "<Translation>x</Translation>",
                 u"(Characters) Element expected."_s);
        addChild("text in definitions", "<MTD16>x</MTD16>", u"(Characters) Element expected."_s);

        addChild("startup with content", "<Startup><x/></Startup>",
                 u"(<x>) End of <Startup> expected."_s);
        addChild(
                "startup attribute", "<Startup Interactive='x'/>",
                u"(<Startup>) Expected \"Interactive\" to be a boolean attribute, but got \"x\""_s);
        addChild("target without attributes", "<Target/>",
                 u"(<Target>) \"Model\" attribute missing or empty in <Target> element."_s);
        addChild("target with content", "<Target Model='A'>x</Target>",
                 u"(Characters) End of <Target> expected."_s);
        addChild("target level", "<Target Model='A' Verbose='0x10'/>",
                 u"(<Target>) Expected \"Verbose\" to be a number, but got \"0x10\""_s);
        addChild("target installer", "<Target Model='A' BuildInstaller='On'/>",
                 u"(<Target>) Expected \"BuildInstaller\" to be a boolean attribute, but got "
                 "\"on\""_s);
        addChild("target boot record", "<Target Model='A' IncludeMBR='On'/>",
                 u"(<Target>) Expected \"IncludeMBR\" to be a boolean attribute, but got \"on\""_s);
        addChild("filesystem type", "<Filesystem Type='ROMFS'/>",
                 u"(<Filesystem>) \"Type\" attribute value \"ROMFS\" invalid."_s);
        addChild("filesystem base", "<Filesystem IncludeBase='x'/>",
                 u"(<Filesystem>) Expected \"IncludeBase\" to be a boolean attribute, but got "
                 "\"x\""_s);
        addChild("filesystem level", "<Filesystem Verbose='x'/>",
                 u"(<Filesystem>) Expected \"Verbose\" to be a number, but got \"x\""_s);
        addChild("merge without type", "<Filesystem><Merge/></Filesystem>",
                 u"(<Merge>) \"Type\" attribute value \"\" missing or invalid."_s);
        addChild("merge type", "<Filesystem><Merge Type='file'/></Filesystem>",
                 u"(<Merge>) \"Type\" attribute value \"file\" missing or invalid."_s);
        addChild("source with a child",
                 "<Filesystem><Merge Type='File'><Source><x/></Source></Merge></Filesystem>",
                 u"(<x>) Characters for Source element expected."_s);
        addChild("destination with a child",
                 "<Filesystem><Merge Type='File'><Destination>x<y/></Destination></Merge>"
                 "</Filesystem>",
                 u"(<y>) End of Destination element expected."_s);
        addChild("preprocessing type", "<Process><Preprocess Type='x'/></Process>",
                 u"(<Preprocess>) Preprocessing type \"x\" not supported"_s);
        addChild("no preprocessing type", "<Process><Preprocess/></Process>",
                 u"(<Preprocess>) Preprocessing type \"\" not supported"_s);
        for (const char *attribute : {"Enabled", "RemoveComments", "SimplifyWhitespace"}) {
            QTest::newRow(attribute)
                    << QByteArray(root) + "<Project Name='B'><Process><Preprocess Type='Ztlpp' "
                               + attribute + "='x'/></Process></Project></ZeltaProject>"
                    << true
                    << u"(<Preprocess>) Expected \"%1\" to be a boolean attribute, but got "
                       "\"x\""_s.arg(QLatin1StringView(attribute));
        }
        addChild("compilation type", "<Process><Compile Type='lua'/></Process>",
                 u"(<Compile>) Compilation type \"lua\" not supported"_s);
        addChild("compilation attribute", "<Process><Compile Type='Lua' Strip='x'/></Process>",
                 u"(<Compile>) Expected \"Strip\" to be a boolean attribute, but got \"x\""_s);
        addChild("compilation with content",
                 "<Process><Compile Type='Lua'><x/></Compile></Process>",
                 u"(<x>) End of <Compile> expected."_s);
        addChild(
                "translation attribute", "<Translation Enabled='x'/>",
                u"(<Translation>) Expected \"Enabled\" to be a boolean attribute, but got \"x\""_s);
        addChild("language with a child", "<Translation><Language><x/></Language></Translation>",
                 u"(<x>) Characters for Language element expected."_s);
        addChild("definitions attribute", "<MTD16 Enabled='x'/>",
                 u"(<MTD16>) Expected \"Enabled\" to be a boolean attribute, but got \"x\""_s);
        addChild("header with a child", "<MTD16><Header><x/></Header></MTD16>",
                 u"(<x>) Characters for Header element expected."_s);
        addChild("unknown element too deep",
                 QByteArray("<n>").repeated(21) + QByteArray("</n>").repeated(21),
                 u"(<n>) File too deeply nested"_s);
    }
    void errors()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, message);
        const Reading reading(text);
        QVERIFY(!reading.ok);
        QTEST(reading.parser.recognised(), "recognised");
        QCOMPARE(reading.message(), message);
    }

    void malformedDocumentIsReportedByTheReaderThatMetIt()
    {
        const Reading reading(QByteArray(root) + "<Project Name='B'><Translation></Project>");
        QVERIFY(!reading.ok);
        QVERIFY(reading.parser.recognised());
        QCOMPARE(reading.message(), u"(Invalid) Element expected."_s);
    }

    void reportNamesFileLineAndColumn()
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"box.ztp"_s);
        QVERIFY(TestFiles::write(path, QByteArray(root) + "\n<Project Name='B'>\n  <Target/>"));
        ProjectSpec spec;
        ProjectParser2 parser;
        QVERIFY(!parser.parseProjectFile(path, &spec));
        QCOMPARE(parser.errorString(),
                 u"Error reading %1, Line 3, Column 11:\n  (<Target>) \"Model\" attribute missing "
                 "or empty in <Target> element."_s.arg(path));
    }

    void filesystemThatFailedIsNotAdded()
    {
        const Reading reading = readProject("<Filesystem Label='a'/><Filesystem Label='b'>x");
        QVERIFY(!reading.ok);
        QCOMPARE(reading.spec.filesystems.size(), 1);
    }

    void targetIsAddedBeforeItsEndIsChecked()
    {
        const Reading reading = readProject("<Target Model='A'>x</Target>");
        QVERIFY(!reading.ok);
        QCOMPARE(reading.spec.targets.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestProjectParser2)
#include "tst_projectparser2.moc"
