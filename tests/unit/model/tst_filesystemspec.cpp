#include "model/filesystemspec.h"
#include "model/targetspec.h"

#include <QtTest>

#include <functional>

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
        QCOMPARE(static_cast<int>(MergeSpec().type), -1);
        QCOMPARE(TargetSpec().verbose, -1);
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

    void everyFieldIsCompared()
    {
        compare<FilesystemSpec>({[](auto &spec) { spec.type = 0; },
                                 [](auto &spec) { spec.includeBase = {0}; },
                                 [](auto &spec) { spec.label = u"x"_s; },
                                 [](auto &spec) { spec.merges.append(MergeSpec()); },
                                 [](auto &spec) { spec.verbose = 0; },
                                 [](auto &spec) { spec.process.strip = {1}; }});
        compare<MergeSpec>({[](auto &spec) { spec.type = MergeSpec::Type::File; },
                            [](auto &spec) { spec.source = u"x"_s; },
                            [](auto &spec) { spec.destination = u"x"_s; },
                            [](auto &spec) { spec.process.strip = {1}; }});
        compare<TargetSpec>({[](auto &spec) { spec.model = u"x"_s; },
                             [](auto &spec) { spec.buildInstaller = {0}; },
                             [](auto &spec) { spec.includeMbr = {0}; },
                             [](auto &spec) { spec.verbose = 0; }});
    }

private:
    template <typename Spec>
    static void compare(const QList<std::function<void(Spec &)>> &changes)
    {
        QVERIFY(Spec() == Spec());
        for (const auto &change : changes) {
            Spec other;
            change(other);
            QVERIFY(!(other == Spec()));
        }
    }
};

QTEST_APPLESS_MAIN(TestFilesystemSpec)
#include "tst_filesystemspec.moc"
