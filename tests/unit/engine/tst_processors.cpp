#include "engine/processors.h"

#include "rows.h"
#include "testfiles.h"

#include <sched.h>

using namespace Qt::StringLiterals;

class TestProcessors : public QObject
{
    Q_OBJECT

private slots:
    void quotaIsTheSmallestOneAboveTheGroup_data()
    {
        using Files = QList<std::pair<QString, QByteArray>>;
        const Rows<Files, QString, int> row;
        row("none", {}, u"/a/b"_s, 0);
        row("unlimited", {{u"a/cpu.max"_s, "max 100000\n"}}, u"/a"_s, 0);
        row("of the group", {{u"a/cpu.max"_s, "300000 100000\n"}}, u"/a"_s, 3);
        row("rounded up", {{u"a/cpu.max"_s, "150000 100000\n"}}, u"/a"_s, 2);
        row("less than one", {{u"a/cpu.max"_s, "5000 100000\n"}}, u"/a"_s, 1);
        row("least quota and period", {{u"a/cpu.max"_s, "1 1\n"}}, u"/a"_s, 1);
        row("no period", {{u"a/cpu.max"_s, "100000 0\n"}}, u"/a"_s, 0);
        row("above", {{u"a/cpu.max"_s, "200000 100000\n"}}, u"/a/b/c"_s, 2);
        row("smaller above",
            {{u"a/cpu.max"_s, "200000 100000\n"}, {u"a/b/cpu.max"_s, "800000 100000\n"}}, u"/a/b"_s,
            2);
        row("smaller below",
            {{u"a/cpu.max"_s, "800000 100000\n"}, {u"a/b/cpu.max"_s, "200000 100000\n"}}, u"/a/b"_s,
            2);
        row("of the root", {{u"cpu.max"_s, "400000 100000\n"}}, u"/"_s, 4);
        row("above, of the root", {{u"cpu.max"_s, "400000 100000\n"}}, u"/a"_s, 4);
        row("version 1",
            {{u"a/cpu.cfs_quota_us"_s, "250000\n"}, {u"a/cpu.cfs_period_us"_s, "100000\n"}},
            u"/a"_s, 3);
        row("version 1, unlimited",
            {{u"a/cpu.cfs_quota_us"_s, "-1\n"}, {u"a/cpu.cfs_period_us"_s, "100000\n"}}, u"/a"_s,
            0);
        row("no numbers", {{u"a/cpu.max"_s, "some of it\n"}}, u"/a"_s, 0);
    }
    void quotaIsTheSmallestOneAboveTheGroup()
    {
        const auto &[files, group, quota] =
                fetch<QList<std::pair<QString, QByteArray>>, QString, int>();
        const QTemporaryDir root;
        for (const auto &[name, content] : files)
            QVERIFY(TestFiles::write(root.filePath(name), content));
        QCOMPARE(processorQuota(root.path(), group), quota);
    }

    void affinityCounts()
    {
        cpu_set_t before;
        QCOMPARE(sched_getaffinity(0, sizeof before, &before), 0);
        QVERIFY(availableProcessors() >= 1);
        QVERIFY(availableProcessors() <= CPU_COUNT(&before));
        cpu_set_t one;
        CPU_ZERO(&one);
        for (int number = 0; number < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++number) {
            if (CPU_ISSET(number, &before))
                CPU_SET(number, &one);
        }
        QCOMPARE(sched_setaffinity(0, sizeof one, &one), 0);
        QCOMPARE(availableProcessors(), 1);
        QCOMPARE(sched_setaffinity(0, sizeof before, &before), 0);
    }
};

QTEST_GUILESS_MAIN(TestProcessors)
#include "tst_processors.moc"
