#include "tools/tools.h"

#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestTools : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_home = QDir::currentPath(); }
    void cleanup() { QDir::setCurrent(m_home); }

    void ensureDirectorySeparator_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty stays empty") << u""_s << u""_s;
        QTest::newRow("with separator") << u"a/"_s << u"a/"_s;
        QTest::newRow("without") << u"a/b"_s << u"a/b/"_s;
        QTest::newRow("root") << u"/"_s << u"/"_s;
    }
    void ensureDirectorySeparator()
    {
        QFETCH(QString, path);
        QTEST(Tools::ensureDirectorySeparator(path), "expected");
    }

    void replaceExtension_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("dot in a directory part") << u"a.b/c"_s << u"a.ztn"_s;
        QTest::newRow("no dot") << u"box"_s << u"box.ztn"_s;
        QTest::newRow("ends in a dot") << u"box."_s << u"box.ztn"_s;
        QTest::newRow("last of two") << u"box.v2.ztp"_s << u"box.v2.ztn"_s;
        QTest::newRow("empty") << u""_s << u".ztn"_s;
    }
    void replaceExtension()
    {
        QFETCH(QString, name);
        QTEST(Tools::replaceExtension(name, u"ztn"_s), "expected");
    }

    void safeFileName_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("some") << u"A/B:C?"_s << u"ABC"_s;
        QTest::newRow("all") << u":/\\?*"_s << u""_s;
        QTest::newRow("others stay") << u"a b.c-d\"<|>ä"_s << u"a b.c-d\"<|>ä"_s;
    }
    void safeFileName()
    {
        QFETCH(QString, text);
        QTEST(Tools::safeFileName(text), "expected");
    }

    void tokenName_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("expected");
        const char *const names[] = {
                "NoToken",      "Invalid",         "StartDocument",        "EndDocument",
                "StartElement", "EndElement",      "Characters",           "Comment",
                "DTD",          "EntityReference", "ProcessingInstruction"};
        for (int type = 0; type < 11; ++type)
            QTest::newRow(names[type]) << type << QString::fromLatin1(names[type]);
        QTest::newRow("beyond") << 11 << u"11"_s;
        QTest::newRow("negative") << -1 << u"-1"_s;
    }
    void tokenName()
    {
        QFETCH(int, type);
        QTEST(Tools::tokenName(static_cast<QXmlStreamReader::TokenType>(type)), "expected");
    }

    void findProfile_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none") << QStringList{u"box.txt"_s} << u""_s;
        QTest::newRow("the only one") << QStringList{u"other.ztp"_s} << u"other.ztp"_s;
        QTest::newRow("named after the directory")
                << QStringList{u"box.ztp"_s, u"other.ztp"_s} << u"box.ztp"_s;
        QTest::newRow("base name ends at the first dot")
                << QStringList{u"box.v2.ztp"_s, u"other.ztp"_s} << u"box.v2.ztp"_s;
        QTest::newRow("first by name of two")
                << QStringList{u"box.v2.ztp"_s, u"box.v1.ztp"_s} << u"box.v1.ztp"_s;
        QTest::newRow("several, none named so")
                << QStringList{u"other.ztp"_s, u"more.ztp"_s} << u""_s;
        QTest::newRow("suffix in any case") << QStringList{u"other.ZTP"_s} << u"other.ZTP"_s;
        QTest::newRow("hidden files do not count")
                << QStringList{u".hidden.ztp"_s, u"other.ztp"_s} << u"other.ztp"_s;
        QTest::newRow("directories do not count")
                << QStringList{u"dir.ztp/x"_s, u"other.ztp"_s} << u"other.ztp"_s;
    }
    void findProfile()
    {
        QFETCH(QStringList, files);
        const QTemporaryDir world;
        const QString box = world.filePath(u"box"_s);
        QVERIFY(QDir().mkpath(box));
        for (const QString &file : files)
            QVERIFY(TestFiles::write(box + u'/' + file));
        QDir::setCurrent(box);
        QTEST(Tools::findProfile({}, u"ztp"_s), "expected");
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
