#include "model/projectspec.h"

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
        QTest::addColumn<QString>("projectFile");
        QTest::addColumn<QString>("projectDirectory");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");
        const QString box = u"work/box.ztp"_s;
        QTest::newRow("relative") << box << u""_s << u"src/a.lua"_s << u"work/src/a.lua"_s;
        QTest::newRow("absolute") << box << u""_s << u"/tmp/x"_s << u"/tmp/x"_s;
        QTest::newRow("below the SDK")
                << box << u""_s << u"$SDK/include"_s << u"/opt/sdk-2.1/include"_s;
        QTest::newRow("the SDK") << box << u""_s << u"$SDK"_s << u"/opt/sdk-2.1/"_s;
        QTest::newRow("absolute behind the SDK prefix") << box << u""_s << u"$SDK//x"_s << u"/x"_s;
        QTest::newRow("other case") << box << u""_s << u"$sdk/x"_s << u"work/$sdk/x"_s;
        QTest::newRow("longer name") << box << u""_s << u"$SDKs/x"_s << u"work/$SDKs/x"_s;
        QTest::newRow("in the working directory")
                << u"box.ztp"_s << u""_s << u"src/a.lua"_s << u"src/a.lua"_s;
        QTest::newRow("the project directory") << box << u""_s << u""_s << u"work"_s;
        QTest::newRow("empty for the working directory") << u"box.ztp"_s << u""_s << u""_s << u""_s;
        QTest::newRow("own directory") << box << u"tree"_s << u"a"_s << u"tree/a"_s;
        QTest::newRow("own directory with separator") << box << u"tree/"_s << u"a"_s << u"tree/a"_s;
        QTest::newRow("own directory as written") << box << u"."_s << u"a"_s << u"./a"_s;
        QTest::newRow("own directory alone") << box << u"tree"_s << u""_s << u"tree"_s;
        QTest::newRow("below the root") << u"/box.ztp"_s << u""_s << u"a"_s << u"/a"_s;
    }
    void projectFilePath()
    {
        QFETCH(QString, path);
        ProjectSpec spec;
        spec.sdkCache = u"/opt/sdk-2.1"_s;
        QFETCH(QString, projectFile);
        QFETCH(QString, projectDirectory);
        spec.projectFile = projectFile;
        spec.projectDirectory = projectDirectory;
        QTEST(spec.projectFilePath(path), "expected");
    }

    void objectAndOutputPaths_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("object");
        QTest::addColumn<QString>("output");
        QTest::newRow("default directory")
                << u""_s << u"x"_s << u"work/obj/x"_s << u"work/firmware/x"_s;
        QTest::newRow("default alone") << u""_s << u""_s << u"work/obj"_s << u"work/firmware"_s;
        QTest::newRow("absolute name") << u""_s << u"/x"_s << u"/x"_s << u"/x"_s;
        QTest::newRow("own") << u"out/"_s << u"x"_s << u"work/out/x"_s << u"work/out/x"_s;
        QTest::newRow("absolute directory") << u"/o"_s << u"x"_s << u"/o/x"_s << u"/o/x"_s;
        QTest::newRow("in the SDK")
                << u"$SDK/o"_s << u"x"_s << u"/opt/sdk/o/x"_s << u"/opt/sdk/o/x"_s;
    }
    void objectAndOutputPaths()
    {
        QFETCH(QString, directory);
        QFETCH(QString, path);
        ProjectSpec spec;
        spec.projectFile = u"work/box.ztp"_s;
        spec.sdkCache = u"/opt/sdk"_s;
        spec.objectDirectory = directory;
        spec.outputDirectory = directory;
        QTEST(spec.objectFilePath(path), "object");
        QTEST(spec.outputFilePath(path), "output");
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
        QTest::addColumn<QString>("projectFile");
        QTest::addColumn<QString>("attribute");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("ofStep");
        QTest::newRow("default") << u"work/box.ztp"_s << u""_s << u"work/box.ztn"_s
                                 << u"work/box-mtd16-x.ztn"_s;
        QTest::newRow("complete suffix") << u"work/box.v2.ztp"_s << u""_s << u"work/box.v2.ztn"_s
                                         << u"work/box-mtd16-x.v2.ztn"_s;
        QTest::newRow("no extension, dot in the directory")
                << u"a.b/box"_s << u""_s << u"a.ztn"_s << u"a-mtd16-x.ztn"_s;
        QTest::newRow("attribute") << u"work/box.ztp"_s << u"s/my.state"_s << u"work/s/my.state"_s
                                   << u"work/s/my-mtd16-x.state"_s;
        QTest::newRow("attribute without suffix loses its last letter")
                << u"box.ztp"_s << u"state"_s << u"state"_s << u"stat-mtd16-x."_s;
        QTest::newRow("default is not relative to the project directory")
                << u"sub/box.ztp"_s << u""_s << u"sub/box.ztn"_s << u"sub/box-mtd16-x.ztn"_s;
    }
    void stateFile()
    {
        QFETCH(QString, projectFile);
        QFETCH(QString, attribute);
        ProjectSpec spec;
        spec.projectFile = projectFile;
        spec.stateFile_ = attribute;
        QTEST(spec.stateFile(), "expected");
        QTEST(spec.stateFile(u"mtd16"_s, u"x"_s), "ofStep");
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
