#include "tools/sdkdir.h"

#include "testfiles.h"

#include <QSettings>

using namespace Qt::StringLiterals;

/// The results are remembered for the whole process, so each test uses directories of its own and
/// removes them at its end.
class TestSdkDir : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        QVERIFY(m_world->isValid());
        qputenv("HOME", QFile::encodeName(path(u"home"_s)));
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, path(u"settings"_s));
        qunsetenv("ZELTADIR");
        qunsetenv("ZELTASDK");
    }
    void cleanup() { m_world.reset(); }

    void noDevelopmentTreeNoDefaultSdk() { QCOMPARE(Tools::zeltaSdkDir(), QString()); }

    void defaultSdkLiesInTheDevelopmentTree()
    {
        makeDirectory(u"tree/src/sdk"_s);
        qputenv("ZELTADIR", QFile::encodeName(path(u"tree"_s)));
        QCOMPARE(Tools::zeltaSdkDir(), path(u"tree/src/sdk"_s));
    }

    void separatorOfTheDevelopmentTreeIsNotDoubled()
    {
        makeDirectory(u"tree/src/sdk"_s);
        qputenv("ZELTADIR", QFile::encodeName(path(u"tree/"_s)));
        QCOMPARE(Tools::zeltaSdkDir(), path(u"tree/src/sdk"_s));
    }

    void developmentTreeWithoutSdkGivesNone()
    {
        makeDirectory(u"tree/src"_s);
        qputenv("ZELTADIR", QFile::encodeName(path(u"tree"_s)));
        QCOMPARE(Tools::zeltaSdkDir(), QString());
    }

    void plainFileIsNoDefaultSdk()
    {
        QVERIFY(TestFiles::write(path(u"tree/src/sdk"_s)));
        qputenv("ZELTADIR", QFile::encodeName(path(u"tree"_s)));
        QCOMPARE(Tools::zeltaSdkDir(), QString());
    }

    void defaultSdkIsRememberedWhileItExists()
    {
        makeDirectory(u"one/src/sdk"_s);
        makeDirectory(u"two/src/sdk"_s);
        qputenv("ZELTADIR", QFile::encodeName(path(u"one"_s)));
        QCOMPARE(Tools::zeltaSdkDir(), path(u"one/src/sdk"_s));
        qputenv("ZELTADIR", QFile::encodeName(path(u"two"_s)));
        QCOMPARE(Tools::zeltaSdkDir(), path(u"one/src/sdk"_s));
        QVERIFY(QDir(path(u"one"_s)).removeRecursively());
        QCOMPARE(Tools::zeltaSdkDir(), path(u"two/src/sdk"_s));
    }

    void repositoryFallsBackToTheHomeDirectoryUnseen()
    {
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"home/ZeltaSDK"_s));
    }

    void repositoryFromTheEnvironment()
    {
        makeDirectory(u"sdks"_s);
        qputenv("ZELTASDK", QFile::encodeName(path(u"sdks"_s)));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"sdks"_s));
    }

    void missingRepositoryOfTheEnvironmentIsPassedOver()
    {
        qputenv("ZELTASDK", QFile::encodeName(path(u"missing"_s)));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"home/ZeltaSDK"_s));
    }

    void settingComesBeforeTheEnvironment()
    {
        makeDirectory(u"sdks"_s);
        makeDirectory(u"preferred"_s);
        qputenv("ZELTASDK", QFile::encodeName(path(u"sdks"_s)));
        writeSetting(path(u"preferred"_s));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"preferred"_s));
    }

    void missingDirectoryOfTheSettingIsPassedOver()
    {
        makeDirectory(u"sdks"_s);
        qputenv("ZELTASDK", QFile::encodeName(path(u"sdks"_s)));
        writeSetting(path(u"missing"_s));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"sdks"_s));
    }

    void repositoryIsRememberedWhileItExists()
    {
        makeDirectory(u"one"_s);
        makeDirectory(u"two"_s);
        qputenv("ZELTASDK", QFile::encodeName(path(u"one"_s)));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"one"_s));
        qputenv("ZELTASDK", QFile::encodeName(path(u"two"_s)));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"one"_s));
        QVERIFY(QDir().rmdir(path(u"one"_s)));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(u"two"_s));
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    void makeDirectory(const QString &name) { QVERIFY(QDir().mkpath(path(name))); }
    static void writeSetting(const QString &directory)
    {
        // By file, as the store of a program without organisation and application name.
        QSettings store;
        QVERIFY(TestFiles::write(store.fileName(),
                                 "[Preferences]\nZeltaSDK=" + directory.toUtf8() + "\n"));
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestSdkDir)
#include "tst_sdkdir.moc"
