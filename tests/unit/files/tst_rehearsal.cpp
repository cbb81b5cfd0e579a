#include "files/rehearsal.h"

#include "files/changes.h"
#include "files/copyfile.h"
#include "testfiles.h"

#include <QDir>

using namespace Qt::StringLiterals;

class TestRehearsal : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        QVERIFY(TestFiles::write(path(u"old.lua"_s), "x"));
        Rehearsal::begin();
    }
    void cleanup() { Rehearsal::end(); }

    void untouchedFilesAreAsOnTheDisk()
    {
        QVERIFY(FileStatus::of(path(u"old.lua"_s)).isRegularFile());
        QVERIFY(!FileStatus::of(path(u"new.lua"_s)).exists());
        QVERIFY(!Rehearsal::status(path(u"old.lua"_s)));
    }

    void madeFileIsYoungerThanAllOthersAndNotOnTheDisk()
    {
        Rehearsal::make(path(u"new.lua"_s));
        const FileStatus made = FileStatus::of(path(u"new.lua"_s));
        QVERIFY(made.isRegularFile());
        QVERIFY(FileStatus::of(path(u"old.lua"_s)).isOutOfDate(made));
        QVERIFY(!QFile::exists(path(u"new.lua"_s)));
    }

    void fileThatIsMadeAgainStaysTheSameFile()
    {
        const FileStatus before = FileStatus::of(path(u"old.lua"_s));
        Rehearsal::make(path(u"old.lua"_s));
        QVERIFY(FileStatus::of(path(u"old.lua"_s)).isSameFileAs(before));
    }

    void removedFileIsGoneAndOnTheDisk()
    {
        QVERIFY(Changes::removeFile(path(u"old.lua"_s)));
        QVERIFY(!FileStatus::of(path(u"old.lua"_s)).exists());
        QVERIFY(!Changes::removeFile(path(u"old.lua"_s)));
        QVERIFY(QFile::exists(path(u"old.lua"_s)));
    }

    void copyIsOnlyRemembered()
    {
        QVERIFY(copyFile(path(u"old.lua"_s), path(u"copy.lua"_s)));
        QVERIFY(FileStatus::of(path(u"copy.lua"_s)).isRegularFile());
        QVERIFY(!QFile::exists(path(u"copy.lua"_s)));
    }

    void whatIsMadeCanBeCopied()
    {
        Rehearsal::make(path(u"new.lua"_s));
        QVERIFY(copyFile(path(u"new.lua"_s), path(u"copy.lua"_s)));
        QVERIFY(!copyFile(path(u"missing.lua"_s), path(u"other.lua"_s)));
    }

    void listingShowsWhatWasMadeAndRemoved()
    {
        Rehearsal::make(path(u"new.lua"_s));
        Rehearsal::make(path(u"text.txt"_s));
        Rehearsal::make(path(u".hidden.lua"_s));
        Rehearsal::make(path(u"deep/er/module.lua"_s));
        Rehearsal::make(path(u"old.lua"_s));
        Rehearsal::remove(path(u"missing.lua"_s));
        QCOMPARE(listed(path({})), QStringList({u"deep/"_s, u"new.lua"_s, u"old.lua"_s}));
        Rehearsal::remove(path(u"old.lua"_s));
        QCOMPARE(listed(path({})), QStringList({u"deep/"_s, u"new.lua"_s}));
        QCOMPARE(listed(path(u"missing"_s)), QStringList{u"error"_s});
        QVERIFY(!Rehearsal::isNewDirectory(path(u"new.lua"_s)));
        QVERIFY(Rehearsal::isNewDirectory(path(u"deep"_s)));
        QCOMPARE(listed(path(u"deep"_s)), QStringList{u"er/"_s});
        QCOMPARE(listed(path(u"deep/er"_s)), QStringList{u"module.lua"_s});
    }

    void madeDirectoriesAreToldApart()
    {
        Rehearsal::make(path(u"deep/er/module.lua"_s));
        const FileStatus outer = FileStatus::of(path(u"deep"_s));
        const FileStatus inner = FileStatus::of(path(u"deep/er"_s));
        QVERIFY(outer.isDirectory() && inner.isDirectory() && !outer.isSameFileAs(inner));
    }

    void fileIsKnownByOtherWaysToIt()
    {
        QVERIFY(QDir().mkpath(path(u"folder"_s)));
        QVERIFY(QFile::link(path(u"folder"_s), path(u"link"_s)));
        Rehearsal::make(path(u"link/new.lua"_s));
        QVERIFY(FileStatus::of(path(u"folder/new.lua"_s)).exists());
        QVERIFY(FileStatus::of(path(u"folder/./new.lua"_s)).exists());
        QCOMPARE(listed(path(u"folder/"_s)), QStringList{u"new.lua"_s});
    }

    void directoryCanBeMadeWhereThereIsAPlaceForIt()
    {
        QVERIFY(Changes::makeDirectory(path(u"a/b"_s)));
        QVERIFY(!QFile::exists(path(u"a"_s)));
        QVERIFY(FileStatus::of(path(u"a/b"_s)).isDirectory());
        QVERIFY(Changes::makeDirectory(path(u"c/"_s)));
        QCOMPARE(listed(path({})), QStringList({u"a/"_s, u"c/"_s, u"old.lua"_s}));
        QVERIFY(!Changes::makeDirectory(path(u"old.lua/b"_s)));
    }

    void directoryCannotBeRemovedAsAFile()
    {
        QVERIFY(Changes::makeDirectory(path(u"a"_s)));
        QVERIFY(!Changes::removeFile(path(u"a"_s)));
        QVERIFY(FileStatus::of(path(u"a"_s)).isDirectory());
    }

    void nothingIsLeftAtItsEnd()
    {
        Rehearsal::make(path(u"new.lua"_s));
        Rehearsal::end();
        QVERIFY(!FileStatus::of(path(u"new.lua"_s)).exists());
        Rehearsal::begin();
        QVERIFY(!FileStatus::of(path(u"new.lua"_s)).exists());
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }

    static QStringList listed(const QString &directory)
    {
        QStringList names;
        const DirectoryListing listing = Directory(directory).luaFilesAndDirectories();
        for (const DirectoryListing::Entry &entry : listing.entries)
            names << QString::fromStdString(entry.name) + (entry.isLuaFile ? u""_s : u"/"_s);
        names.sort();
        return listing.error == 0 ? names : QStringList{u"error"_s};
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestRehearsal)
#include "tst_rehearsal.moc"
