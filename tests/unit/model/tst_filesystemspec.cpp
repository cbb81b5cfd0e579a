#include "model/filesystemspec.h"
#include "model/targetspec.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestFilesystemSpec : public QObject
{
    Q_OBJECT

private slots:
    void startsUnset()
    {
        const FilesystemSpec spec;
        QCOMPARE(spec.type, -1);
        QCOMPARE(spec.includeBase.value, -1);
        QCOMPARE(spec.verbose, -1);
        const MergeSpec merge;
        QCOMPARE(static_cast<int>(merge.type), -1);
    }

    void mergeTypesHaveTheirNumbers()
    {
        QCOMPARE(static_cast<int>(MergeSpec::Type::File), 0);
        QCOMPARE(static_cast<int>(MergeSpec::Type::Directory), 1);
        QCOMPARE(static_cast<int>(MergeSpec::Type::Archive), 2);
    }

    void clearLeavesProcessAndVerbosity()
    {
        FilesystemSpec spec;
        spec.type = FilesystemSpec::romfsType;
        spec.includeBase = {1};
        spec.label = u"root"_s;
        spec.merges.append(MergeSpec());
        spec.process.compile = {0};
        spec.verbose = 3;
        spec.clear();
        FilesystemSpec expected;
        expected.process.compile = {0};
        expected.verbose = 3;
        QVERIFY(spec == expected);
    }

    void everyFieldOfAFilesystemIsCompared()
    {
        const FilesystemSpec base;
        FilesystemSpec other = base;
        QVERIFY(other == base);
        other.type = 0;
        QVERIFY(!(other == base));
        other = base;
        other.includeBase = {0};
        QVERIFY(!(other == base));
        other = base;
        other.label = u"x"_s;
        QVERIFY(!(other == base));
        other = base;
        other.merges.append(MergeSpec());
        QVERIFY(!(other == base));
        other = base;
        other.verbose = 0;
        QVERIFY(!(other == base));
        other = base;
        other.process.strip = {1};
        QVERIFY(!(other == base));
    }

    void everyFieldOfAMergeIsCompared()
    {
        const MergeSpec base;
        MergeSpec other = base;
        QVERIFY(other == base);
        other.type = MergeSpec::Type::File;
        QVERIFY(!(other == base));
        other = base;
        other.source = u"x"_s;
        QVERIFY(!(other == base));
        other = base;
        other.destination = u"x"_s;
        QVERIFY(!(other == base));
        other = base;
        other.process.strip = {1};
        QVERIFY(!(other == base));
    }

    void everyFieldOfATargetIsCompared()
    {
        const TargetSpec base;
        QCOMPARE(base.verbose, -1);
        TargetSpec other = base;
        QVERIFY(other == base);
        other.model = u"x"_s;
        QVERIFY(!(other == base));
        other = base;
        other.buildInstaller = {0};
        QVERIFY(!(other == base));
        other = base;
        other.includeMbr = {0};
        QVERIFY(!(other == base));
        other = base;
        other.verbose = 0;
        QVERIFY(!(other == base));
    }
};

QTEST_APPLESS_MAIN(TestFilesystemSpec)
#include "tst_filesystemspec.moc"
