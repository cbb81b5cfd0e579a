#include "tools/directory.h"

#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestDirectory : public QObject
{
    Q_OBJECT

private slots:
    void luaSuffixInAnyCase()
    {
        QVERIFY(isLuaFile("a/b.lua"));
        QVERIFY(isLuaFile("X.LUA"));
        QVERIFY(isLuaFile("a.b.Lua"));
        QVERIFY(isLuaFile(".lua"));
        QVERIFY(isLuaFile(".LUA"));
        QVERIFY(!isLuaFile("lua"));
        QVERIFY(!isLuaFile("a.luac"));
        QVERIFY(!isLuaFile("a.lua.txt"));
        QVERIFY(!isLuaFile(""));
    }

    void nameIsCutAtItsLastDot_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("stem");
        QTest::addColumn<QByteArray>("extension");
        QTest::newRow("plain") << "box.lua"_ba
                               << "box"_ba
                               << ".lua"_ba;
        QTest::newRow("two dots") << "a.b.lua"_ba
                                  << "a.b"_ba
                                  << ".lua"_ba;
        QTest::newRow("no dot") << "box"_ba
                                << "box"_ba
                                << ""_ba;
        QTest::newRow("dot in a directory") << "a.b/box"_ba
                                            << "a"_ba
                                            << ".b/box"_ba;
        QTest::newRow("nothing") << ""_ba
                                 << ""_ba
                                 << ""_ba;
    }

    void nameIsCutAtItsLastDot()
    {
        QFETCH(const QByteArray, name);
        const auto [stem, extension] = FileName::of(name);
        QTEST(stem.toByteArray(), "stem");
        QTEST(extension.toByteArray(), "extension");
    }

    void filesAreAskedForByName()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"a.lua"_s)));
        QVERIFY(TestFiles::setModified(world.filePath(u"a.lua"_s), {1000, 7}));
        Directory directory(world.path());
        QCOMPARE(directory.path(), world.path());
        const FileName name = FileName::of("a.lua");
        QCOMPARE(directory.filePath(name), world.filePath(u"a.lua"_s));
        QVERIFY(directory.exists());
        for (int i = 0; i < 2; ++i) {
            QVERIFY(directory.status(name).isRegularFile());
            QCOMPARE(directory.status(name).modified().nanoseconds, 7);
            QVERIFY(!directory.status({name.stem, ".lui"}).exists());
            directory.close(); // the second round opens it again
        }
    }

    void closingGivesTheDescriptorBack()
    {
        const QTemporaryDir world;
        const auto openFiles = [] { return QDir(u"/proc/self/fd"_s).entryList().size(); };
        const qsizetype before = openFiles();
        Directory directory(world.path());
        QVERIFY(directory.exists());
        QCOMPARE(openFiles(), before + 1);
        directory.close();
        QCOMPARE(openFiles(), before);
    }

    void missingDirectoryHasNoFilesUntilItIsMade()
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"later"_s);
        const Directory directory(path);
        QVERIFY(!directory.exists());
        QVERIFY(!directory.status(FileName::of("a")).exists());
        QVERIFY(TestFiles::write(path + u"/a"_s));
        QVERIFY(directory.exists());
        QVERIFY(directory.status(FileName::of("a")).exists());
    }

    void plainFileIsNoDirectory()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"file"_s)));
        QVERIFY(!Directory(world.filePath(u"file"_s)).exists());
    }

    void emptyPathIsTheWorkingDirectory()
    {
        const QTemporaryDir world;
        const QByteArray path = QFile::encodeName(world.filePath(u"a"_s));
        const FileName file = FileName::of(path);
        QVERIFY(TestFiles::write(world.filePath(u"a"_s)));
        QVERIFY(Directory(u""_s).status(file).exists());
        Directory directory({});
        QVERIFY(directory.exists());
        QVERIFY(directory.status(file).exists());
        QCOMPARE(directory.filePath(file), world.filePath(u"a"_s));
        directory.close();
        QVERIFY(directory.status(file).exists());
    }

    void luaFilesAndDirectoriesAreListed()
    {
        const QTemporaryDir world;
        for (const QString &name : {u"a.lua"_s, u"B.LUA"_s, u"c.txt"_s, u".hidden.lua"_s,
                                    u"dir/x"_s, u"dir.lua/x"_s, u".hiddendir/x.lua"_s, u"ü.lua"_s})
            QVERIFY(TestFiles::write(world.filePath(name)));
        QVERIFY(QFile::link(u"a.lua"_s, world.filePath(u"link.lua"_s)));
        QVERIFY(QFile::link(u"dir"_s, world.filePath(u"dirlink"_s)));
        QStringList names = namesIn(world.path());
        names.sort();
        const QStringList expected{u"B.LUA"_s,    u"a.lua"_s,     u"dir.lua?"_s, u"dir?"_s,
                                   u"dirlink?"_s, u"link.lua?"_s, u"ü.lua"_s};
        QCOMPARE(names, expected);
    }

    void orderIsTheFileSystems()
    {
        const QTemporaryDir world;
        for (int i = 0; i < 50; ++i)
            QVERIFY(TestFiles::write(world.filePath(u"f%1.lua"_s.arg(i))));
        QCOMPARE(namesIn(world.path()),
                 QDir(world.path()).entryList({u"*.lua"_s}, QDir::Files, QDir::Unsorted));
    }

    void namesThatAreNotUtf8AreLeftOut()
    {
        const QTemporaryDir world;
        const QByteArray name = QFile::encodeName(world.path()) + "/\xff.lua";
        const int file = open(name.constData(), O_CREAT | O_WRONLY, 0600);
        QVERIFY(file >= 0);
        ::close(file);
        const QStringList names = namesIn(world.path());
        unlink(name.constData()); // QTemporaryDir cannot
        QCOMPARE(names, QStringList());
    }

    void specialFilesAreLeftOut()
    {
        const QTemporaryDir world;
        QCOMPARE(mkfifo(QFile::encodeName(world.filePath(u"pipe.lua"_s)).constData(), 0600), 0);
        QCOMPARE(namesIn(world.path()), QStringList());
    }

    void unreadableDirectoryIsEmpty()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"file"_s)));
        QCOMPARE(namesIn(world.filePath(u"missing"_s)), QStringList());
        QCOMPARE(namesIn(world.filePath(u"file"_s)), QStringList());
    }

private:
    /// @return the names; "?" follows one that may be other than a Lua file
    static QStringList namesIn(const QString &path)
    {
        QStringList names;
        const DirectoryListing listing = Directory(path).luaFilesAndDirectories();
        for (const DirectoryListing::Entry &entry : listing.entries) {
            names.append(QString::fromUtf8(listing.name(entry))
                         + (entry.isLuaFile ? u""_s : u"?"_s));
        }
        return names;
    }
};

QTEST_GUILESS_MAIN(TestDirectory)
#include "tst_directory.moc"
