#include "files/filestatus.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestFileStatus : public QObject
{
    Q_OBJECT

private slots:
    void kinds()
    {
        const QTemporaryDir world;
        const QString file = world.filePath(u"file"_s);
        QVERIFY(TestFiles::write(file));
        QVERIFY(FileStatus::of(file).exists());
        QVERIFY(FileStatus::of(file).isRegularFile());
        QVERIFY(!FileStatus::of(file).isDirectory());
        QVERIFY(FileStatus::of(world.path()).exists());
        QVERIFY(FileStatus::of(world.path()).isDirectory());
        QVERIFY(!FileStatus::of(world.path()).isRegularFile());
        const FileStatus device = FileStatus::of(u"/dev/null"_s);
        QVERIFY(device.exists() && !device.isRegularFile() && !device.isDirectory());
        const FileStatus missing = FileStatus::of(world.filePath(u"missing"_s));
        QVERIFY(!missing.exists() && !missing.isRegularFile() && !missing.isDirectory());
        QVERIFY(!FileStatus::of({}).exists());
        QVERIFY(!FileStatus::of(file + u"/below"_s).exists());
    }

    void onlySomeErrorsMeanThatNothingIsThere()
    {
        for (const int error : {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EACCES}) {
            const FileStatus missing = FileStatus::afterError(error);
            QVERIFY2(!missing.exists() && !missing.isUnknown(), strerror(error));
        }
        for (const int error : {EIO, ENOMEM, EMFILE}) {
            const FileStatus unknown = FileStatus::afterError(error);
            QVERIFY2(!unknown.exists() && unknown.isUnknown(), strerror(error));
            QVERIFY(!unknown.isRegularFile() && !unknown.isDirectory());
        }
        QVERIFY(!FileStatus().isUnknown());
    }

    void ofAnUnknownFileTheWorstIsAssumed()
    {
        const QTemporaryDir world;
        QVERIFY(TestFiles::write(world.filePath(u"file"_s)));
        const FileStatus file = FileStatus::of(world.filePath(u"file"_s));
        const FileStatus unknown = FileStatus::afterError(EIO);
        QVERIFY(file.isOutOfDate(unknown));
        QVERIFY(unknown.isOutOfDate(file));
    }

    void symbolicLinksAreFollowed()
    {
        const QTemporaryDir world;
        QVERIFY(QFile::link(world.path(), world.filePath(u"link"_s)));
        QVERIFY(QFile::link(world.filePath(u"missing"_s), world.filePath(u"broken"_s)));
        QVERIFY(FileStatus::of(world.filePath(u"link"_s)).isDirectory());
        QVERIFY(!FileStatus::of(world.filePath(u"broken"_s)).exists());
    }

    void timeIsKeptInNanoseconds()
    {
        const QTemporaryDir world;
        const QString file = world.filePath(u"file"_s);
        QVERIFY(TestFiles::write(file));
        QVERIFY(TestFiles::setModified(file, {1'000'000'000, 123'456'789}));
        const FileTime time = FileStatus::of(file).modified();
        QCOMPARE(time.seconds, 1'000'000'000);
        QCOMPARE(time.nanoseconds, 123'456'789);
        QCOMPARE(time.toMilliseconds(), 1'000'000'000'123);
    }

    void millisecondsOfATimeBefore1970AreCutDownwards()
    {
        QCOMPARE((FileTime{-1, 999'999'999}).toMilliseconds(), -1);
    }

    void outOfDate_data()
    {
        Rows<QString, QString, bool> row; // input, output, expected
        row("output missing", u"older"_s, u"missing"_s, true);
        row("both missing", u"missing"_s, u"missing"_s, true);
        row("input missing", u"missing"_s, u"older"_s, false);
        row("older by a nanosecond", u"newer"_s, u"older"_s, true);
        row("equal", u"newer"_s, u"newer"_s, false);
        row("newer by a nanosecond", u"older"_s, u"newer"_s, false);
    }
    void outOfDate()
    {
        auto [input, output, expected] = fetch<QString, QString, bool>();
        const QTemporaryDir world;
        for (const auto &[name, nanoseconds] :
             {std::pair(u"older"_s, 1), std::pair(u"newer"_s, 2)}) {
            QVERIFY(TestFiles::write(world.filePath(name)));
            QVERIFY(TestFiles::setModified(world.filePath(name), {1000, nanoseconds}));
        }
        input = world.filePath(input);
        output = world.filePath(output);
        QCOMPARE(FileStatus::of(output).isOutOfDate(FileStatus::of(input)), expected);
        QCOMPARE(needRebuild(input, output), expected);
    }
};

QTEST_GUILESS_MAIN(TestFileStatus)
#include "tst_filestatus.moc"
