#include "tools/sdkdir.h"

#include "rows.h"
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
        setVariable("HOME", u"home"_s);
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, path(u"settings"_s));
        qunsetenv("ZELTADIR");
        qunsetenv("ZELTASDK");
    }
    void cleanup() { m_world.reset(); }

    void defaultSdk_data()
    {
        Rows<QString, QString, QString> row; // what is there, the development tree, the SDK
        row("no development tree", {}, {}, {});
        row("in the development tree", u"tree/src/sdk/"_s, u"tree"_s, u"tree/src/sdk"_s);
        row("separator is not doubled", u"tree/src/sdk/"_s, u"tree/"_s, u"tree/src/sdk"_s);
        row("development tree without an SDK", u"tree/src/"_s, u"tree"_s, {});
        row("plain file", u"tree/src/sdk"_s, u"tree"_s, {});
    }
    void defaultSdk()
    {
        const auto [there, tree, sdk] = fetch<QString, QString, QString>();
        if (there.endsWith(u'/'))
            makeDirectory(there);
        else if (!there.isEmpty())
            QVERIFY(TestFiles::write(path(there)));
        if (!tree.isEmpty())
            setVariable("ZELTADIR", tree);
        QCOMPARE(Tools::zeltaSdkDir(), sdk.isEmpty() ? sdk : path(sdk));
    }

    void repository_data()
    {
        // The setting and the variable name directories, of which some exist.
        Rows<QStringList, QString, QString, QString> row;
        row("home directory, unseen", {}, {}, {}, u"home/ZeltaSDK"_s);
        row("environment", {u"sdks"_s}, {}, u"sdks"_s, u"sdks"_s);
        row("missing one of the environment", {}, {}, u"missing"_s, u"home/ZeltaSDK"_s);
        row("setting", {u"sdks"_s, u"preferred"_s}, u"preferred"_s, u"sdks"_s, u"preferred"_s);
        row("missing one of the setting", {u"sdks"_s}, u"missing"_s, u"sdks"_s, u"sdks"_s);
    }
    void repository()
    {
        const auto [there, setting, variable, found] =
                fetch<QStringList, QString, QString, QString>();
        for (const QString &name : there)
            makeDirectory(name);
        if (!variable.isEmpty())
            setVariable("ZELTASDK", variable);
        // By file, as the store of a program without organisation and application name.
        if (!setting.isEmpty())
            QVERIFY(TestFiles::write(QSettings().fileName(),
                                     "[Preferences]\nZeltaSDK=" + path(setting).toUtf8() + "\n"));
        QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(found));
    }

    void bothAreRememberedWhileTheyExist()
    {
        for (const char *name : {"one", "two"})
            makeDirectory(QString::fromLatin1(name) + u"/src/sdk"_s);
        const auto check = [this](const QString &variable, const QString &found) {
            setVariable("ZELTADIR", variable);
            setVariable("ZELTASDK", variable);
            QCOMPARE(Tools::zeltaSdkDir(), path(found + u"/src/sdk"_s));
            QCOMPARE(Tools::zeltaSDKRepositoryDir(), path(found));
        };
        check(u"one"_s, u"one"_s);
        check(u"two"_s, u"one"_s);
        QVERIFY(QDir(path(u"one"_s)).removeRecursively());
        check(u"two"_s, u"two"_s);
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    void makeDirectory(const QString &name) { QVERIFY(QDir().mkpath(path(name))); }
    void setVariable(const char *variable, const QString &name) const
    {
        qputenv(variable, QFile::encodeName(path(name)));
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestSdkDir)
#include "tst_sdkdir.moc"
