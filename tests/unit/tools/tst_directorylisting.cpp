#include "tools/directorylisting.h"

#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestDirectoryListing : public QObject
{
    Q_OBJECT

private slots:
    void luaSuffixInAnyCase()
    {
        QVERIFY(isLuaFile(u"a/b.lua"_s));
        QVERIFY(isLuaFile(u"X.LUA"_s));
        QVERIFY(isLuaFile(u"a.b.Lua"_s));
        QVERIFY(!isLuaFile(u"lua"_s));
        QVERIFY(!isLuaFile(u"a.luac"_s));
        QVERIFY(!isLuaFile(u"a.lua.txt"_s));
    }

    void luaFilesAndDirectoriesAreListed()
    {
        const QTemporaryDir world;
        for (const QString &name : {u"a.lua"_s, u"B.LUA"_s, u"c.txt"_s, u".hidden.lua"_s,
                                    u"dir/x"_s, u"dir.lua/x"_s, u".hiddendir/x.lua"_s, u"ü.lua"_s})
            QVERIFY(TestFiles::write(world.filePath(name)));
        QVERIFY(QFile::link(u"a.lua"_s, world.filePath(u"link.lua"_s)));
        QVERIFY(QFile::link(u"dir"_s, world.filePath(u"dirlink"_s)));
        QStringList names = luaFilesAndDirectories(world.path());
        names.sort();
        const QStringList expected{u"B.LUA"_s,   u"a.lua"_s,    u"dir"_s,  u"dir.lua"_s,
                                   u"dirlink"_s, u"link.lua"_s, u"ü.lua"_s};
        QCOMPARE(names, expected);
    }

    void orderIsTheFileSystems()
    {
        const QTemporaryDir world;
        for (int i = 0; i < 50; ++i)
            QVERIFY(TestFiles::write(world.filePath(u"f%1.lua"_s.arg(i))));
        QCOMPARE(luaFilesAndDirectories(world.path()),
                 QDir(world.path()).entryList({u"*.lua"_s}, QDir::Files, QDir::Unsorted));
    }

    void namesThatAreNotUtf8AreLeftOut()
    {
        const QTemporaryDir world;
        const QByteArray name = QFile::encodeName(world.path()) + "/\xff.lua";
        const int file = open(name.constData(), O_CREAT | O_WRONLY, 0600);
        QVERIFY(file >= 0);
        ::close(file);
        QCOMPARE(luaFilesAndDirectories(world.path()), QStringList());
    }

    void specialFilesAreLeftOut()
    {
        const QTemporaryDir world;
        QCOMPARE(mkfifo(QFile::encodeName(world.filePath(u"pipe.lua"_s)).constData(), 0600), 0);
        QCOMPARE(luaFilesAndDirectories(world.path()), QStringList());
    }

    void unreadableDirectoryIsEmpty()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"file"_s)));
        QCOMPARE(luaFilesAndDirectories(world.filePath(u"missing"_s)), QStringList());
        QCOMPARE(luaFilesAndDirectories(world.filePath(u"file"_s)), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestDirectoryListing)
#include "tst_directorylisting.moc"
