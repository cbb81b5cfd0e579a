#include "files/directory.h"

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

    void extensionFollowsTheLastDot()
    {
        QCOMPARE(withExtension("box.lua", "lui"), std::string("box.lui"));
        QCOMPARE(withExtension("a.b.lua", "lui"), std::string("a.b.lui"));
        QCOMPARE(withExtension("box", "lui"), std::string("box.lui"));
        QCOMPARE(withExtension("a.b/box", "lui"), std::string("a.lui"));
        QCOMPARE(withExtension("", "lui"), std::string(".lui"));
    }

    void nameInAnyScriptIsJoined()
    {
        QCOMPARE(joinPath(u"a/"_s, "b.lua"), u"a/b.lua"_s);
        QCOMPARE(joinPath(u"ä/"_s, "ü.lua"), u"ä/ü.lua"_s);
    }

    void filesAreLookedUpByName()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"a.lua"_s)));
        QVERIFY(TestFiles::setModified(world.filePath(u"a.lua"_s), {1000, 7}));
        Directory directory(world.path());
        QCOMPARE(directory.path(), world.path());
        const std::string name = "a.lua";
        QCOMPARE(directory.filePath(name), world.filePath(u"a.lua"_s));
        QVERIFY(directory.ensureOpen());
        for (int i = 0; i < 2; ++i) {
            QVERIFY(directory.status(name).isRegularFile());
            QCOMPARE(directory.status(name).modified().nanoseconds, 7);
            QVERIFY(!directory.status("a.lui").exists());
            directory.close(); // the second round opens it again
        }
    }

    void closingGivesTheDescriptorBack()
    {
        const QTemporaryDir world;
        const auto openFiles = [] { return QDir(u"/proc/self/fd"_s).entryList().size(); };
        const qsizetype before = openFiles();
        {
            Directory directory(world.path());
            QVERIFY(directory.ensureOpen());
            QCOMPARE(openFiles(), before + 1);
            directory.close();
            QCOMPARE(openFiles(), before);
            QVERIFY(directory.ensureOpen());
            directory.luaFilesAndDirectories();
            QCOMPARE(openFiles(), before + 1);
        }
        QCOMPARE(openFiles(), before);
    }

    void missingDirectoryHasNoFilesUntilItIsMade()
    {
        const QTemporaryDir world;
        const QString path = world.filePath(u"later"_s);
        Directory directory(path);
        QVERIFY(!directory.ensureOpen());
        QVERIFY(!directory.status("a").exists());
        QVERIFY(TestFiles::write(path + u"/a"_s));
        QVERIFY(directory.ensureOpen());
        QVERIFY(directory.status("a").exists());
    }

    void plainFileIsNoDirectory()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"file"_s)));
        QVERIFY(!Directory(world.filePath(u"file"_s)).ensureOpen());
    }

    void emptyPathIsTheWorkingDirectory()
    {
        const QTemporaryDir world;
        const std::string file = QFile::encodeName(world.filePath(u"a"_s)).toStdString();
        QVERIFY(TestFiles::write(world.filePath(u"a"_s)));
        QVERIFY(Directory(u""_s).status(file).exists());
        Directory directory({});
        QVERIFY(directory.ensureOpen());
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

    void namesThatAreNotUtf8AreLeftOutAndCounted()
    {
        const QTemporaryDir world;
        const QByteArray top = QFile::encodeName(world.path()) + '/';
        const QByteArrayList directories{"\xfe", "\xfe/deep", "\xfe/.hidden"};
        const QByteArrayList files{"\xff.lua",    "\xff.txt",          ".\xff.lua",
                                   "\xfe/a.lua",  "\xfe/deep/b.LUA",   "\xfe/c.txt",
                                   "\xfe/.d.lua", "\xfe/.hidden/e.lua"};
        for (const QByteArray &name : directories)
            QVERIFY(mkdir((top + name).constData(), 0700) == 0);
        for (const QByteArray &name : files) {
            const int file = open((top + name).constData(), O_CREAT | O_WRONLY, 0600);
            QVERIFY(file >= 0);
            ::close(file);
        }
        const DirectoryListing listing = Directory(world.path()).luaFilesAndDirectories();
        for (const QByteArray &name : files) // QTemporaryDir cannot
            unlink((top + name).constData());
        for (auto name = directories.rbegin(); name != directories.rend(); ++name)
            rmdir((top + *name).constData());
        QVERIFY(listing.entries.empty());
        QCOMPARE(listing.undecodableFiles, 3);
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
        for (const auto &[name, error] : {std::pair(u"missing"_s, ENOENT), {u"file"_s, ENOTDIR}}) {
            QCOMPARE(namesIn(world.filePath(name)), QStringList());
            QCOMPARE(Directory(world.filePath(name)).luaFilesAndDirectories().error, error);
        }
    }

private:
    /// @return the names; "?" follows one that may be other than a Lua file
    static QStringList namesIn(const QString &path)
    {
        QStringList names;
        const DirectoryListing listing = Directory(path).luaFilesAndDirectories();
        for (const DirectoryListing::Entry &entry : listing.entries) {
            names.append(QString::fromStdString(entry.name) + (entry.isLuaFile ? u""_s : u"?"_s));
        }
        return names;
    }
};

QTEST_GUILESS_MAIN(TestDirectory)
#include "tst_directory.moc"
