#include "tools/tools.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestTools : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_home = QDir::currentPath(); }
    void cleanup() { QDir::setCurrent(m_home); }

    void ensureDirectorySeparator()
    {
        QCOMPARE(Tools::ensureDirectorySeparator(u""_s), u""_s);
        QCOMPARE(Tools::ensureDirectorySeparator(u"a/"_s), u"a/"_s);
        QCOMPARE(Tools::ensureDirectorySeparator(u"a/b"_s), u"a/b/"_s);
        QCOMPARE(Tools::ensureDirectorySeparator(u"/"_s), u"/"_s);
    }

    void replaceExtension()
    {
        QCOMPARE(Tools::replaceExtension(u"a.b/c"_s, u"ztn"_s), u"a.ztn"_s);
        QCOMPARE(Tools::replaceExtension(u"box"_s, u"ztn"_s), u"box.ztn"_s);
        QCOMPARE(Tools::replaceExtension(u"box."_s, u"ztn"_s), u"box.ztn"_s);
        QCOMPARE(Tools::replaceExtension(u"box.v2.ztp"_s, u"ztn"_s), u"box.v2.ztn"_s);
        QCOMPARE(Tools::replaceExtension(u".box"_s, u"ztn"_s), u".ztn"_s);
        QCOMPARE(Tools::replaceExtension({}, u"ztn"_s), u".ztn"_s);
    }

    void safeFileName()
    {
        QCOMPARE(Tools::safeFileName(u"A/B:C?"_s), u"ABC"_s);
        QCOMPARE(Tools::safeFileName(u":/\\?*"_s), u""_s);
        QCOMPARE(Tools::safeFileName(u"a b.c-d~\"<|>ä"_s), u"a b.c-d~\"<|>ä"_s);
    }

    void tokenName()
    {
        const QStringList names{u"NoToken"_s,
                                u"Invalid"_s,
                                u"StartDocument"_s,
                                u"EndDocument"_s,
                                u"StartElement"_s,
                                u"EndElement"_s,
                                u"Characters"_s,
                                u"Comment"_s,
                                u"DTD"_s,
                                u"EntityReference"_s,
                                u"ProcessingInstruction"_s,
                                u"11"_s};
        const auto tokenName = [](int type) {
            return Tools::tokenName(static_cast<QXmlStreamReader::TokenType>(type));
        };
        for (int type = 0; type < names.size(); ++type)
            QCOMPARE(tokenName(type), names[type]);
        QCOMPARE(tokenName(-1), u"-1"_s);
    }

    void findProfile_data()
    {
        Rows<QStringList, QString> row; // files, expected
        row("none", {u"box.txt"_s}, {});
        row("the only one", {u"other.ztp"_s}, u"other.ztp"_s);
        row("named after the directory", {u"box.ztp"_s, u"other.ztp"_s}, u"box.ztp"_s);
        row("base name ends at the first dot", {u"box.v2.ztp"_s, u"other.ztp"_s}, u"box.v2.ztp"_s);
        row("first by name of two", {u"box.v2.ztp"_s, u"box.v1.ztp"_s}, u"box.v1.ztp"_s);
        row("several, none named so", {u"other.ztp"_s, u"more.ztp"_s}, {});
        row("suffix in any case", {u"other.ZTP"_s}, u"other.ZTP"_s);
        row("hidden files do not count", {u".hidden.ztp"_s, u"other.ztp"_s}, u"other.ztp"_s);
        row("directories do not count", {u"dir.ztp/x"_s, u"other.ztp"_s}, u"other.ztp"_s);
    }
    void findProfile()
    {
        const auto [files, expected] = fetch<QStringList, QString>();
        const QTemporaryDir world;
        const QString box = world.filePath(u"box"_s);
        QVERIFY(QDir().mkpath(box));
        for (const QString &file : files)
            QVERIFY(TestFiles::write(box + u'/' + file));
        QDir::setCurrent(box);
        QCOMPARE(Tools::findProfile({}, u"ztp"_s), expected);
    }

    void extensionIsPartOfAPattern()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"other.ztp"_s)));
        QDir::setCurrent(world.path());
        for (const QString &extension : {u"zt?"_s, u"[yz]tp"_s, u"z*"_s})
            QCOMPARE(Tools::findProfile({}, extension), u"other.ztp"_s);
    }

    void findProfileListsTheWorkingDirectoryWhateverTheArgument()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"here/there.ztp"_s)));
        QVERIFY(TestFiles::write(world.filePath(u"here/other.ztp"_s)));
        QVERIFY(TestFiles::write(world.filePath(u"here/there/inside.ztp"_s)));
        QDir::setCurrent(world.filePath(u"here"_s));
        QCOMPARE(Tools::findProfile(u"there"_s, u"ztp"_s), u"there/there.ztp"_s);
    }

    void foldersOfTheUser()
    {
        const QByteArray home = qgetenv("HOME");
        qputenv("HOME", "/nowhere/me");
        const QString data = Tools::appDataPath();
        const QString documents = Tools::documentsPath();
        qputenv("HOME", home);
        QCOMPARE(data, u"/nowhere/me"_s);
        QCOMPARE(documents, u"/nowhere/me/Documents"_s);
    }

private:
    QString m_home;
};

QTEST_GUILESS_MAIN(TestTools)
#include "tst_tools.moc"
