#include "engine/unfinishednote.h"

#include "rows.h"
#include "testfiles.h"
#include "testprocess.h"

using namespace Qt::StringLiterals;

/// Holds each output's name in the note with the boot that it was written in.
class TestUnfinishedNote : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir().mkpath(path(u"obj"_s)));
        QVERIFY(QFile::setPermissions(m_world->path(), QFile::Permissions(0x7777)));
    }

    void nothingIsThereBeforeTheFirstWrite()
    {
        UnfinishedNote note(path(u"obj"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Absent);
        QVERIFY(!note.isWritten());
        QCOMPARE(entries(), QStringList());
    }

    void noteIsReadAsItWasWritten_data()
    {
        Rows<QStringList, bool> row; // outputs, all
        row("nothing", {}, false);
        row("outputs", {u"root/a.lui"_s, u"root/b c\nü.lui"_s}, false);
        row("everything", {}, true);
        row("both", {u"a"_s}, true);
    }
    void noteIsReadAsItWasWritten()
    {
        const auto [outputs, all] = fetch<QStringList, bool>();
        {
            UnfinishedNote note(path(u"obj"_s));
            if (all)
                note.setAllSince({1234, 567});
            // What is left of a longer list does not count.
            QVERIFY(write(&note, {u"a/longer/name"_s, u"another"_s, u"and another"_s}));
            QVERIFY(write(&note, outputs));
            QVERIFY(note.isWritten());
        }
        QCOMPARE(entries(), QStringList{u".unfinished"_s});
        QVERIFY(!(QFile::permissions(file()) & QFile::ExeOther));
        UnfinishedNote next(path(u"obj"_s));
        QCOMPARE(read(&next), UnfinishedNote::State::Whole);
        QCOMPARE(next.outputs(), outputs);
        QCOMPARE(next.allSince().has_value(), all);
        if (all)
            QVERIFY(next.allSince()->seconds == 1234 && next.allSince()->nanoseconds == 567);
        next.remove();
        QCOMPARE(entries(), QStringList());
    }

    void otherNotesAreTorn_data()
    {
        Rows<QByteArray> row; // content
        const QByteArray boot = TestFiles::read(u"/proc/sys/kernel/random/boot_id"_s).trimmed();
        const QByteArray head = "ztmake-unfinished-2 " + boot + " - -\n";
        row("empty", {});
        row("zeros", QByteArray(200, '\0'));
        row("head alone", head);
        row("half a name", head + "root/a");
        row("no end mark, everything", QByteArray(head).replace("- -", "1 2") + "root/a"_ba + '\0');
        row("no end mark", head + "root/a"_ba + '\0');
        row("empty name", head + '\0' + "\n"_ba);
        row("another boot", "ztmake-unfinished-2 0-0 - -\n\n");
        row("another format", "ztmake-unfinished-1 " + boot + " - -\n\n");
        row("a word less", "ztmake-unfinished-2 " + boot + " -\n\n");
        row("too large", head + QByteArray(1 << 20, 'x') + '\0' + "\n"_ba);
    }
    void otherNotesAreTorn()
    {
        const auto [content] = fetch<QByteArray>();
        QVERIFY(TestFiles::write(file(), content));
        UnfinishedNote note(path(u"obj"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Torn);
        QCOMPARE(note.outputs(), QStringList());
        QVERIFY(!note.allSince());
    }

    void noteThatLeadsElsewhereIsNotFollowed_data()
    {
        Rows<bool> row; // hard
        row("symbolic link", false);
        row("hard link", true);
    }
    void noteThatLeadsElsewhereIsNotFollowed()
    {
        const auto [hard] = fetch<bool>();
        const QString victim = path(u"victim"_s);
        {
            UnfinishedNote note(path(u"obj"_s));
            QVERIFY(write(&note, {u"a"_s}));
        }
        QVERIFY(QFile::rename(file(), victim));
        const QByteArray before = TestFiles::read(victim);
        const QByteArray from = QFile::encodeName(victim);
        const QByteArray to = QFile::encodeName(file());
        QVERIFY((hard ? link(from, to) : symlink(from, to)) == 0);
        UnfinishedNote note(path(u"obj"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Torn);
        QVERIFY(write(&note, {u"another"_s}));
        QCOMPARE(TestFiles::read(victim), before);
        QVERIFY(!QFileInfo(file()).isSymLink());
    }

    void pipeIsNotWaitedFor()
    {
        QVERIFY(mkfifo(QFile::encodeName(file()).constData(), 0600) == 0);
        UnfinishedNote note(path(u"obj"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Torn);
        QVERIFY(write(&note, {}));
    }

    void noteOfSomebodyElseIsTorn()
    {
        if (geteuid() != 0)
            QSKIP("Only root can give a file away.");
        {
            UnfinishedNote note(path(u"obj"_s));
            QVERIFY(write(&note, {u"a"_s}));
        }
        QVERIFY(chown(QFile::encodeName(file()).constData(), OrdinaryUser::number,
                      OrdinaryUser::number)
                == 0);
        UnfinishedNote note(path(u"obj"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Torn);
    }

    void directoryInItsPlaceIsReplacedIfItIsEmpty()
    {
        QVERIFY(QDir().mkpath(file() + u"/sub"_s));
        UnfinishedNote note(path(u"obj"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Torn);
        QString error;
        QVERIFY(!note.write({}, &error));
        QCOMPARE(error, u"Error writing %1: Directory not empty"_s.arg(file()));
        QCOMPARE(entries(), QStringList{u".unfinished"_s});
        QVERIFY(QDir().rmdir(file() + u"/sub"_s));
        QVERIFY(note.write({}, &error));
        QVERIFY(QFileInfo(file()).isFile());
    }

    void noteThatCannotBeWritten_data()
    {
        Rows<rlim_t, bool, QString> row; // bytes, whether its first name is taken, reason
        row("cut short", 10, false, u"No space left on device"_s);
        row("name taken", RLIM_INFINITY, true, u"File exists"_s);
    }
    void noteThatCannotBeWritten()
    {
        const auto [bytes, isTaken, reason] = fetch<rlim_t, bool, QString>();
        QVERIFY(!isTaken || QDir().mkpath(file() + u".new"_s));
        QString error;
        const rlimit unlimited = TestProcess::limitFileSize(bytes);
        const bool ok = UnfinishedNote(path(u"obj"_s)).write({u"a/long/name"_s}, &error);
        setrlimit(RLIMIT_FSIZE, &unlimited);
        QVERIFY(!ok);
        QCOMPARE(error, u"Error writing %1: %2"_s.arg(file(), reason));
    }

    void missingObjectDirectoryIsMade()
    {
        UnfinishedNote note(path(u"a/b"_s));
        QCOMPARE(read(&note), UnfinishedNote::State::Absent);
        QVERIFY(write(&note, {u"x"_s}));
        QVERIFY(QFile::exists(path(u"a/b/.unfinished"_s)));
        note.remove();
        QVERIFY(!note.isWritten());
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    QString file() const { return path(u"obj/.unfinished"_s); }
    QStringList entries() const
    {
        return QDir(path(u"obj"_s))
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }
    static std::optional<UnfinishedNote::State> read(UnfinishedNote *note)
    {
        QString error;
        return note->read(&error);
    }
    static bool write(UnfinishedNote *note, const QStringList &outputs)
    {
        QString error;
        return note->write(outputs, &error);
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestUnfinishedNote)
#include "tst_unfinishednote.moc"
