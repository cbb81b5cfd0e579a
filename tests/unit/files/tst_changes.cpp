#include "files/changes.h"
#include "files/rehearsal.h"
#include "files/removebelow.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestChanges : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        QVERIFY(TestFiles::write(path("file"), "x"));
        QVERIFY(TestFiles::write(path("dir/below"), "x"));
    }
    void cleanup() { Rehearsal::end(); }

    void linksAreSeparated_data()
    {
        // Name, whether it is gone after hard links are separated, and after all links are
        Rows<QByteArray, bool, bool> row;
        row("file", "file", false, false);
        row("hard link", "hard", true, true);
        row("symbolic link", "symbolic", false, true);
        row("symbolic link to a directory", "todir", false, false);
        row("pipe with two names", "pipe", false, false);
        row("missing", "missing", true, true);
    }
    void linksAreSeparated()
    {
        const auto [name, isHard, isAny] = fetch<QByteArray, bool, bool>();
        QVERIFY(TestFiles::write(path("other"), "x"));
        QVERIFY(link(bytes("other"), bytes("hard")) == 0 && symlink("file", bytes("symbolic")) == 0
                && symlink("dir", bytes("todir")) == 0 && mkfifo(bytes("pipe"), 0600) == 0
                && link(bytes("pipe"), bytes("pipe2")) == 0);
        struct stat data = {};
        Changes::separateHardLinks(path(name));
        QCOMPARE(lstat(bytes(name), &data) != 0, isHard);
        Changes::separateLinks(path(name));
        QCOMPARE(lstat(bytes(name), &data) != 0, isAny);
        QCOMPARE(TestFiles::read(path("other")), "x"_ba);
    }

    void fileBelowIsRemoved_data()
    {
        Rows<QByteArray, Removal, bool> row; // name, result, whether "dir/below" is left
        row("file", "dir/below", Removal::Gone, false);
        row("directory", "dir", Removal::Gone, true);
        row("missing", "dir/other", Removal::Gone, true);
        row("missing folder", "other/below", Removal::Gone, true);
        row("absolute", "/dir/below", Removal::Outside, true);
        row("dots", "../below", Removal::Outside, true);
        row("empty", "", Removal::Outside, true);
    }
    void fileBelowIsRemoved()
    {
        const auto [name, expected, isLeft] = fetch<QByteArray, Removal, bool>();
        {
            QVERIFY(chmod(m_world->path().toUtf8().constData(), 0777) == 0);
            QVERIFY(chmod(bytes("dir"), 0333) == 0); // a folder that cannot be listed
            const OrdinaryUser user;
            Rehearsal::begin();
            QVERIFY(removeFileBelow(m_world->path(), QString::fromUtf8(name)) == expected);
            QVERIFY(Rehearsal::isOn() && access(bytes("dir/below"), F_OK) == 0);
            Rehearsal::end();
            QVERIFY(removeFileBelow(m_world->path(), QString::fromUtf8(name)) == expected);
        }
        QCOMPARE(QFile::exists(path("dir/below")), isLeft);
        QVERIFY(chmod(bytes("dir"), 0755) == 0);
    }

private:
    QString path(const QByteArray &name) const
    {
        return m_world->filePath(QString::fromUtf8(name));
    }
    const char *bytes(const QByteArray &name)
    {
        m_bytes.append(path(name).toUtf8());
        return m_bytes.last().constData();
    }

    std::unique_ptr<QTemporaryDir> m_world;
    QByteArrayList m_bytes; ///< alive until the end of the test
};

QTEST_GUILESS_MAIN(TestChanges)
#include "tst_changes.moc"
