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

    void ensureDirectorySeparator_data()
    {
        Rows<QString, QString> row; // path, expected
        row("empty stays empty", {}, {});
        row("with separator", u"a/"_s, u"a/"_s);
        row("without", u"a/b"_s, u"a/b/"_s);
        row("root", u"/"_s, u"/"_s);
    }
    void ensureDirectorySeparator()
    {
        const auto [path, expected] = fetch<QString, QString>();
        QCOMPARE(Tools::ensureDirectorySeparator(path), expected);
    }

    void joinPath_data()
    {
        Rows<QString, QByteArray, QByteArray, QString> row; // prefix, name, extension, expected
        row("plain", u"a/"_s, "b", ".lua", u"a/b.lua"_s);
        row("no prefix", {}, "b", ".lua", u"b.lua"_s);
        row("no extension", u"a/"_s, "b", {}, u"a/b"_s);
        row("nothing", {}, {}, {}, {});
        row("beyond ASCII", u"ä/"_s, "\xc3\xbc", ".\xf0\x9f\x98\x80", u"ä/ü.\U0001F600"_s);
        row("extension beyond ASCII", u"a/"_s, "b", ".\xc3\xbc", u"a/b.ü"_s);
    }
    void joinPath()
    {
        const auto [prefix, name, extension, expected] =
                fetch<QString, QByteArray, QByteArray, QString>();
        QCOMPARE(Tools::joinPath(prefix, name, extension), expected);
    }

    void replaceExtension_data()
    {
        Rows<QString, QString> row; // name, expected
        row("dot in a directory part", u"a.b/c"_s, u"a.ztn"_s);
        row("no dot", u"box"_s, u"box.ztn"_s);
        row("ends in a dot", u"box."_s, u"box.ztn"_s);
        row("last of two", u"box.v2.ztp"_s, u"box.v2.ztn"_s);
        row("empty", {}, u".ztn"_s);
    }
    void replaceExtension()
    {
        const auto [name, expected] = fetch<QString, QString>();
        QCOMPARE(Tools::replaceExtension(name, u"ztn"_s), expected);
    }

    void safeFileName_data()
    {
        Rows<QString, QString> row; // text, expected
        row("some", u"A/B:C?"_s, u"ABC"_s);
        row("all", u":/\\?*"_s, {});
        row("others stay", u"a b.c-d\"<|>ä"_s, u"a b.c-d\"<|>ä"_s);
    }
    void safeFileName()
    {
        const auto [text, expected] = fetch<QString, QString>();
        QCOMPARE(Tools::safeFileName(text), expected);
    }

    void tokenName_data()
    {
        Rows<int, QString> row; // type, expected
        const char *const names[] = {
                "NoToken",      "Invalid",         "StartDocument",        "EndDocument",
                "StartElement", "EndElement",      "Characters",           "Comment",
                "DTD",          "EntityReference", "ProcessingInstruction"};
        for (int type = 0; type < 11; ++type)
            row(names[type], type, QString::fromLatin1(names[type]));
        row("beyond", 11, u"11"_s);
        row("negative", -1, u"-1"_s);
    }
    void tokenName()
    {
        const auto [type, expected] = fetch<int, QString>();
        QCOMPARE(Tools::tokenName(static_cast<QXmlStreamReader::TokenType>(type)), expected);
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
