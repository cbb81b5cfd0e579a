#include "model/projectspec.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestProjectPaths : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_home = QDir::currentPath(); }
    void cleanup() { QDir::setCurrent(m_home); }

    void toolsLieBesideTheProgram()
    {
        const ProjectSpec spec;
        const QString here = QCoreApplication::applicationDirPath();
        QCOMPARE(spec.toolPath(u"ztlpp"_s), here + u"/ztlpp"_s);
        QCOMPARE(spec.toolPath({}), here);
        QCOMPARE(spec.toolPath(u"/opt/ztlpp"_s), u"/opt/ztlpp"_s);
    }

    void sdkPath()
    {
        ProjectSpec spec;
        QCOMPARE(spec.sdkPath(u"kernel"_s), u"kernel"_s);
        QCOMPARE(spec.sdkPath({}), QString());
        spec.sdkCache = u"/opt/sdk"_s;
        QCOMPARE(spec.sdkPath(u"kernel"_s), u"/opt/sdk/kernel"_s);
        QCOMPARE(spec.sdkPath({}), u"/opt/sdk/"_s);
        QCOMPARE(spec.sdkPath(u"/kernel"_s), u"/kernel"_s);
    }

    void projectFilePath_data()
    {
        Rows<QString, QString, QString, QString>
                row; // projectFile, projectDirectory, path, expected
        const QString box = u"work/box.ztp"_s;
        row("relative", box, {}, u"src/a.lua"_s, u"work/src/a.lua"_s);
        row("absolute", box, {}, u"/tmp/x"_s, u"/tmp/x"_s);
        row("below the SDK", box, {}, u"$SDK/include"_s, u"/opt/sdk-2.1/include"_s);
        row("the SDK", box, {}, u"$SDK"_s, u"/opt/sdk-2.1/"_s);
        row("the SDK with a slash", box, {}, u"$SDK/"_s, u"/opt/sdk-2.1/"_s);
        row("not at the start", box, {}, u"./$SDK/x"_s, u"work/./$SDK/x"_s);
        row("dots", box, {}, u"../a/./b"_s, u"work/../a/./b"_s);
        row("absolute behind the SDK prefix", box, {}, u"$SDK//x"_s, u"/x"_s);
        row("other case", box, {}, u"$sdk/x"_s, u"work/$sdk/x"_s);
        row("longer name", box, {}, u"$SDKs/x"_s, u"work/$SDKs/x"_s);
        row("in the working directory", u"box.ztp"_s, {}, u"src/a.lua"_s, u"src/a.lua"_s);
        row("the project directory", box, {}, {}, u"work"_s);
        row("empty for the working directory", u"box.ztp"_s, {}, {}, {});
        row("own directory", box, u"tree"_s, u"a"_s, u"tree/a"_s);
        row("own directory with separator", box, u"tree/"_s, u"a"_s, u"tree/a"_s);
        row("own directory as written", box, u"."_s, u"a"_s, u"./a"_s);
        row("own directory alone", box, u"tree"_s, {}, u"tree"_s);
        row("below the root", u"/box.ztp"_s, {}, u"a"_s, u"/a"_s);
    }
    void projectFilePath()
    {
        const auto [projectFile, projectDirectory, path, expected] =
                fetch<QString, QString, QString, QString>();
        ProjectSpec spec;
        spec.sdkCache = u"/opt/sdk-2.1"_s;
        spec.projectFile = projectFile;
        spec.projectDirectory = projectDirectory;
        QCOMPARE(spec.projectFilePath(path), expected);
    }

    void objectAndOutputPaths_data()
    {
        Rows<QString, QString, QString, QString> row; // directory, path, object, output
        row("default directory", {}, u"x"_s, u"work/obj/x"_s, u"work/firmware/x"_s);
        row("default alone", {}, {}, u"work/obj"_s, u"work/firmware"_s);
        row("absolute name", {}, u"/x"_s, u"/x"_s, u"/x"_s);
        row("own", u"out/"_s, u"x"_s, u"work/out/x"_s, u"work/out/x"_s);
        row("absolute directory", u"/o"_s, u"x"_s, u"/o/x"_s, u"/o/x"_s);
        row("in the SDK", u"$SDK/o"_s, u"x"_s, u"/opt/sdk/o/x"_s, u"/opt/sdk/o/x"_s);
    }
    void objectAndOutputPaths()
    {
        const auto [directory, path, object, output] = fetch<QString, QString, QString, QString>();
        ProjectSpec spec;
        spec.projectFile = u"work/box.ztp"_s;
        spec.sdkCache = u"/opt/sdk"_s;
        spec.objectDirectory = directory;
        spec.outputDirectory = directory;
        QCOMPARE(spec.objectFilePath(path), object);
        QCOMPARE(spec.outputFilePath(path), output);
    }

    void translationPaths()
    {
        ProjectSpec spec;
        spec.projectFile = u"work/box.ztp"_s;
        QCOMPARE(spec.tsFilePath({}), u"work/translations"_s);
        QCOMPARE(spec.tsFilePath(u"de.ts"_s), u"work/translations/de.ts"_s);
        QCOMPARE(spec.qmFilePath({}), u"work/obj/translations"_s);
        QCOMPARE(spec.qmFilePath(u"de.qm"_s), u"work/obj/translations/de.qm"_s);
    }

    void stateFile_data()
    {
        Rows<QString, QString, QString, QString> row; // projectFile, attribute, expected, ofStep
        row("default", u"work/box.ztp"_s, {}, u"work/box.ztn"_s, u"work/box-mtd16-x.ztn"_s);
        row("complete suffix", u"work/box.v2.ztp"_s, {}, u"work/box.v2.ztn"_s,
            u"work/box-mtd16-x.v2.ztn"_s);
        row("no extension, dot in the directory", u"a.b/box"_s, {}, u"a.ztn"_s, u"a-mtd16-x.ztn"_s);
        row("attribute", u"work/box.ztp"_s, u"s/my.state"_s, u"work/s/my.state"_s,
            u"work/s/my-mtd16-x.state"_s);
        row("attribute without suffix loses its last letter", u"box.ztp"_s, u"state"_s, u"state"_s,
            u"stat-mtd16-x."_s);
        row("default is not relative to the project directory", u"sub/box.ztp"_s, {},
            u"sub/box.ztn"_s, u"sub/box-mtd16-x.ztn"_s);
    }
    void stateFile()
    {
        const auto [projectFile, attribute, expected, ofStep] =
                fetch<QString, QString, QString, QString>();
        ProjectSpec spec;
        spec.projectFile = projectFile;
        spec.stateFile_ = attribute;
        QCOMPARE(spec.stateFile(), expected);
        QCOMPARE(spec.stateFile(u"mtd16"_s, u"x"_s), ofStep);
    }

    void stateFileOfAStepOfNothing()
    {
        ProjectSpec spec;
        spec.stateFile_ = u"$SDK"_s; // resolves to an empty path while no SDK is known
        QCOMPARE(spec.stateFile(u"a"_s, u"b"_s), u"-a-b."_s);
    }

    void definitionFile()
    {
        ProjectSpec spec;
        spec.projectFile = u"dev/box.ztp"_s;
        QCOMPARE(spec.mtd16DefaultDefinitionFile(), u"box.mtdef"_s);
        QCOMPARE(spec.mtd16DefinitionFile(), u"box.mtdef"_s);
        spec.setMtd16DefinitionFile(u"other.mtdef"_s);
        QCOMPARE(spec.mtd16Source, u"other.mtdef"_s);
        QCOMPARE(spec.mtd16DefinitionFile(), u"other.mtdef"_s);
        spec.setMtd16DefinitionFile(u"box.mtdef"_s);
        QCOMPARE(spec.mtd16Source, QString());
        QCOMPARE(spec.mtd16DefinitionFile(), u"box.mtdef"_s);
    }

    void setSdkForgetsTheDirectory()
    {
        ProjectSpec spec;
        spec.sdkCache = u"/opt/sdk"_s;
        spec.setSdk(u"2.1"_s);
        QCOMPARE(spec.sdk, u"2.1"_s);
        QCOMPARE(spec.sdkPath(u"kernel"_s), u"kernel"_s);
    }

    void absoluteSdkIsTakenUnseen()
    {
        ProjectSpec spec;
        spec.setSdk(u"/nowhere/sdk"_s);
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, u"/nowhere/sdk"_s);
    }

    void sdkSearchOrder()
    {
        const QTemporaryDir world;
        QDir::setCurrent(world.path());
        qputenv("HOME", QFile::encodeName(world.filePath(u"home"_s)));
        qputenv("ZELTASDK", QFile::encodeName(world.filePath(u"sdks"_s)));
        ProjectSpec spec;
        spec.projectFile = u"work/box.ztp"_s;
        spec.setSdk(u"2.1"_s);

        const QString repository = world.filePath(u"sdks/sdk-2.1"_s);
        for (const QString &directory : {u"work/sdk-2.1"_s, u"work/2.1"_s, repository})
            QVERIFY(QDir().mkpath(directory));
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, u"work/sdk-2.1"_s);
        QVERIFY(QDir().rmdir(u"work/sdk-2.1"_s));
        QVERIFY(TestFiles::write(u"work/sdk-2.1"_s)); // a plain file is none
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, u"work/2.1"_s);
        QVERIFY(QDir().rmdir(u"work/2.1"_s));
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, repository);
        QVERIFY(QDir().rmdir(repository));
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, QString());
    }

    void withoutANameTheDefaultSdkIsUsed()
    {
        const QTemporaryDir world;
        qputenv("ZELTADIR", QFile::encodeName(world.path()));
        const ProjectSpec spec;
        spec.sdkCache = u"left over"_s;
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, QString());
        QVERIFY(QDir().mkpath(world.filePath(u"src/sdk"_s)));
        spec.refreshSdkCache();
        QCOMPARE(spec.sdkCache, world.filePath(u"src/sdk"_s));
        qunsetenv("ZELTADIR");
    }

private:
    QString m_home;
};

QTEST_GUILESS_MAIN(TestProjectPaths)
#include "tst_projectpaths.moc"
