#include "xml/projectparser1.h"

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
                {}, "Name='B' Version='1' Svnversion='Yes' ProjectDirectory='p' Verbose='3' "
                    "OutputDirectory='o' ObjectDirectory='j' BuildInstaller='0' IncludeMBR='1' "
                    "SDK='2' KeyFile='k' TagMap='t' StateFile='s' CompileLua='true'"));
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        ProjectSpec expected;
        expected.projectFile = reading.path;
        expected.name = u"B"_s;
        expected.version = u"1"_s;
        expected.svnversion = {1};
        expected.projectDirectory = u"p"_s;
        expected.verbose = 3;
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

    void errors_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("message");
        const QString noProject = u"I'm sorry, but I can't find a valid project in that file."_s;
        QTest::newRow("empty file") << ""_ba << noProject;
        QTest::newRow("no XML") << "hello"_ba << noProject;
        QTest::newRow("malformed") << root + "<Project>"_ba << noProject;
        QTest::newRow("document type") << "<!DOCTYPE ZeltaProject>" + project({})
                                       << u"Document type declaration not supported."_s;
        QTest::newRow("too large")
                << project("<!--" + QByteArray(512 << 10, 'x') + "-->") << u"File too large"_s;
        QTest::newRow("too large behind the project")
                << project({}) + QByteArray(512 << 10, '\n') << u"File too large"_s;
        QTest::newRow("current schema")
                << "<ZeltaProject xmlns='http://zelta.example/Zelta/Project/2009/42'/>"_ba
                << u"Namespace \"http://zelta.example/Zelta/Project/2009/42\" not supported."_s;
        QTest::newRow("no namespace") << "<ZeltaProject/>"_ba << u"Namespace \"\" not supported."_s;
        QTest::newRow("child in another namespace")
                << project("<Target xmlns='x' Model='A'/>") << u"Namespace \"x\" not supported."_s;
        QTest::newRow("prefixed element")
                << "<p:ZeltaProject xmlns:p='http://zelta.example/Zelta/Project/2009'/>"_ba
                << u"Unexpected \"p:ZeltaProject\" element"_s;
        QTest::newRow("other root") << "<Other xmlns='http://zelta.example/Zelta/Project/2009'/>"_ba
                                    << u"Unexpected \"Other\" element"_s;
        for (const char *element :
             {"Startup", "Process", "Translation", "MTD16", "Merge", "Project"}) {
            QTest::newRow(element)
                    << project(QByteArray("<") + element + "/>")
                    << u"Unexpected \"%1\" element"_s.arg(QLatin1StringView(element));
        }
        QTest::newRow("element in a target")
                << project("<Target Model='A'><Target Model='B'/></Target>")
                << u"Unexpected \"Target\" element"_s;
        QTest::newRow("element in a merge")
                << project("<Filesystem><Merge Type='File'><Source/></Merge></Filesystem>")
                << u"Unexpected \"Source\" element"_s;
        QTest::newRow("text in the project") << project("x") << u"Characters not expected."_s;
        QTest::newRow("text in the root")
                << root + "x</ZeltaProject>"_ba << u"Characters not expected."_s;
        QTest::newRow("text in a filesystem")
                << project("<Filesystem>x</Filesystem>") << u"Characters not expected."_s;
        QTest::newRow("text in a target")
                << project("<Target Model='A'>x</Target>") << u"Characters not expected."_s;
        QTest::newRow("target without model")
                << project("<Target Verbose='1'/>")
                << u"\"Model\" attribute missing in \"Target\" element."_s;
        QTest::newRow("merge without type")
                << project("<Filesystem><Merge/></Filesystem>")
                << u"\"Type\" attribute missing in \"Merge\" element."_s;
        QTest::newRow("merge type") << project("<Filesystem><Merge Type='x'/></Filesystem>")
                                    << u"\"Type\" attribute value \"x\" invalid."_s;
        QTest::newRow("filesystem type") << project("<Filesystem Type='ext2'/>")
                                         << u"\"Type\" attribute value \"ext2\" invalid."_s;
        QTest::newRow("empty filesystem type")
                << project("<Filesystem Type=''/>") << u"\"Type\" attribute value \"\" invalid."_s;
        const auto badWord = [](const char *attribute, const QByteArray &text) {
            QTest::addRow("%s %s", attribute, text.left(12).constData())
                    << text
                    << u"Expected a \"%1\" boolean value, but got \"maybe\""_s.arg(
                               QLatin1StringView(attribute));
        };
        for (const char *attribute : {"Svnversion", "BuildInstaller", "IncludeMBR", "CompileLua"})
            badWord(attribute, project({}, QByteArray(attribute) + "='Maybe'"));
        for (const char *attribute : {"BuildInstaller", "IncludeMBR"})
            badWord(attribute,
                    project(QByteArray("<Target Model='A' ") + attribute + "='Maybe'/>"));
        for (const char *attribute : {"IncludeBase", "CompileLua"})
            badWord(attribute, project(QByteArray("<Filesystem ") + attribute + "='Maybe'/>"));
        badWord("CompileLua",
                project("<Filesystem><Merge Type='File' CompileLua='Maybe'/></Filesystem>"));
        QTest::newRow("empty word") << project({}, "IncludeMBR=''")
                                    << u"Expected a \"IncludeMBR\" boolean value, but got \"\""_s;
    }
    void errors()
    {
        QFETCH(QByteArray, text);
        const Reading reading(text);
        QVERIFY(!reading.ok);
        QTEST(reading.parser.errorString(), "message");
    }

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
};

QTEST_GUILESS_MAIN(TestProjectParser1)
#include "tst_projectparser1.moc"
