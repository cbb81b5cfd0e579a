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

    void largeFileIsRead()
    {
        const Reading reading = readProject(
                "<!--" + QByteArray(780'000, '=') + "--><Filesystem>"
                + QByteArray("<Merge Type='File'><Source>a</Source></Merge>").repeated(50'000)
                + "</Filesystem>");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
        QCOMPARE(reading.spec.filesystems[0].merges.size(), 50'000);
    }

    void commentsAreAllowedBetweenElements()
    {
        const Reading reading(QByteArray("<?xml version='1.0'?>\n<!-- c -->") + root
                              + "<!-- c -->\n<Project Name='Box'><!-- c --></Project><!-- c -->"
                                "</ZeltaProject><!-- c -->\n");
        QVERIFY2(reading.ok, qPrintable(reading.parser.errorString()));
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
