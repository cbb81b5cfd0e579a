#include "files/copyfile.h"

#include "rows.h"
#include "testfiles.h"

#include <csignal>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

class TestCopyFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_world = std::make_unique<QTemporaryDir>(); }

    void contentIsCopied_data()
    {
        Rows<QByteArray> row; // content
        row("empty", {});
        row("short", "one\0two\n"_ba);
        row("long", QByteArray(300'001, 'x') + '\n');
    }
    void contentIsCopied()
    {
        const auto [content] = fetch<QByteArray>();
        QVERIFY(TestFiles::write(path(u"from"_s), content));
        QVERIFY(copyFile(path(u"from"_s), path(u"to"_s)));
        QCOMPARE(TestFiles::read(path(u"to"_s)), content);
        QCOMPARE(names(), QStringList({u"from"_s, u"to"_s}));
    }

    void fileThatClaimsToBeEmptyIsReadByHand()
    {
        QVERIFY(copyFile(u"/proc/cpuinfo"_s, path(u"to"_s)));
        QVERIFY(TestFiles::read(path(u"to"_s)).startsWith("processor"));
        QVERIFY(copyFile(u"/proc/version"_s, path(u"version"_s)));
        QCOMPARE(TestFiles::read(path(u"version"_s)), TestFiles::read(u"/proc/version"_s));
    }

    void fullDiskIsAFailure()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit before = {};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit little{10, before.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &little), 0);
        const bool ok = copyFile(u"/proc/version"_s, path(u"to"_s));
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &before), 0);
        QVERIFY(!ok);
        QCOMPARE(names(), QStringList());
    }

    void permissionsAreThoseOfQFileCopy_data()
    {
        Rows<unsigned, bool> row; // mode, ordinaryUser
        for (const unsigned mode : {0644U, 0755U, 0400U, 0455U, 0555U, 0666U, 04755U}) {
            row(QByteArray::number(mode, 8), mode, false);
            row(QByteArray::number(mode, 8) + " for an ordinary user", mode, true);
        }
    }
    void permissionsAreThoseOfQFileCopy()
    {
        const auto [mode, ordinaryUser] = fetch<unsigned, bool>();
        QVERIFY(TestFiles::write(path(u"from"_s)));
        for (const QString &name : {m_world->path(), path(u"from"_s)})
            QVERIFY(chown(name.toUtf8().constData(), OrdinaryUser::number, OrdinaryUser::number)
                            == 0
                    || geteuid() != 0);
        QVERIFY(chmod(path(u"from"_s).toUtf8().constData(), mode) == 0);
        {
            const std::unique_ptr<OrdinaryUser> user(ordinaryUser ? new OrdinaryUser : nullptr);
            QVERIFY(copyFile(path(u"from"_s), path(u"to"_s)));
            QVERIFY(QFile::copy(path(u"from"_s), path(u"qt"_s)));
        }
        QCOMPARE(QFile::permissions(path(u"to"_s)), QFile::permissions(path(u"qt"_s)));
    }

    void whatIsThereIsNotReplaced()
    {
        QVERIFY(TestFiles::write(path(u"from"_s), "new"));
        QVERIFY(TestFiles::write(path(u"to"_s), "old"));
        QVERIFY(!copyFile(path(u"from"_s), path(u"to"_s)));
        QCOMPARE(TestFiles::read(path(u"to"_s)), "old"_ba);
        QVERIFY(QFile::link(path(u"missing"_s), path(u"link"_s)));
        QVERIFY(!copyFile(path(u"from"_s), path(u"link"_s)));
        QCOMPARE(names(), QStringList({u"from"_s, u"link"_s, u"to"_s}));
    }

    void halfACopyOfAKilledBuildIsReplaced()
    {
        QCOMPARE(temporaryCopyOf(u"a/b/c.lua"_s), u"a/b/.ztmake-copy"_s);
        QCOMPARE(temporaryCopyOf(u"c.lua"_s), u".ztmake-copy"_s);
        QVERIFY(TestFiles::write(path(u"victim"_s), "victim"));
        QVERIFY(QFile::link(path(u"victim"_s), temporaryCopyOf(path(u"to"_s))));
        QVERIFY(TestFiles::write(path(u"from"_s), "new"));
        QVERIFY(copyFile(path(u"from"_s), path(u"to"_s)));
        QCOMPARE(TestFiles::read(path(u"to"_s)), "new"_ba);
        QCOMPARE(TestFiles::read(path(u"victim"_s)), "victim"_ba);
        QCOMPARE(names(), QStringList({u"from"_s, u"to"_s, u"victim"_s}));
    }

    void sourceOrFolderThatIsMissing()
    {
        QVERIFY(!copyFile(path(u"from"_s), path(u"to"_s)));
        QCOMPARE(names(), QStringList());
        QVERIFY(TestFiles::write(path(u"from"_s)));
        QVERIFY(!copyFile(path(u"from"_s), path(u"missing/to"_s)));
        QVERIFY(!copyFile(m_world->path(), path(u"to"_s)));
        QCOMPARE(names(), QStringList{u"from"_s});
    }

    void descriptorsAreGivenBack()
    {
        const int before = nextDescriptor();
        QVERIFY(TestFiles::write(path(u"from"_s)));
        QVERIFY(copyFile(path(u"from"_s), path(u"to"_s)));
        QVERIFY(!copyFile(path(u"from"_s), path(u"to"_s)));
        QVERIFY(!copyFile(path(u"from"_s), path(u"missing/to"_s)));
        QCOMPARE(nextDescriptor(), before);
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }
    QStringList names() const
    {
        return QDir(m_world->path())
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                           QDir::Name);
    }
    static int nextDescriptor()
    {
        const int descriptor = open("/dev/null", O_RDONLY);
        close(descriptor);
        return descriptor;
    }

    std::unique_ptr<QTemporaryDir> m_world;
};

QTEST_GUILESS_MAIN(TestCopyFile)
#include "tst_copyfile.moc"
