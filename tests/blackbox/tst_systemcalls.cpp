#include "world.h"

#include <QtTest>

/// Holds down what a build with nothing to do asks of the file system: a change that asks once more
/// for each file is seen here, without a clock.
namespace {

constexpr int folders = 20;
constexpr int filesInFolder = 50;
constexpr int files = folders * filesInFolder;

} // namespace

class TestSystemCalls : public QObject
{
    Q_OBJECT

private slots:
    void buildWithNothingToDoAsksThriceAFileAndOpensAFolderOnce()
    {
        World world(
                "Name=\"Demo\" SDK=\"../sdk\"",
                "<Filesystem><Merge Type=\"Directory\"><Source>root</Source></Merge></Filesystem>");
        for (int i = 0; i < files; ++i) {
            const QByteArray name =
                    "d" + QByteArray::number(i % folders) + "/f" + QByteArray::number(i);
            world.write("project/root/" + name + ".lua", "x\n", 1);
            world.write("project/obj/root/" + name + ".lui", "x\n", 2);
            world.write("project/obj/root/" + name + ".luo", "x\n", 3);
        }
        world.environment().insert(QStringLiteral("LD_PRELOAD"),
                                   QStringLiteral(COUNTCALLS_LIBRARY));
        world.environment().insert(QStringLiteral("COUNTCALLS_LOG"),
                                   QString::fromUtf8(world.path("counts")));
        const Result result = world.run({"-q"});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.size(), 1); // the image alone

        const QByteArrayList counts = world.read("counts").simplified().split(' ');
        QCOMPARE(counts.size(), 4);
        const int stats = counts[0].toInt();
        QVERIFY2(stats >= 3 * files, "the counting does not work");
        QVERIFY2(stats <= 3 * files + 2 * folders, counts[0].constData());
        QVERIFY2(counts[1].toInt() <= 5, counts[1].constData());
        QVERIFY2(counts[2].toInt() <= 5, counts[2].constData());
        const int opens = counts[3].toInt();
        QVERIFY2(opens >= 2 * folders, "the counting does not work");
        QVERIFY2(opens < 3 * folders, counts[3].constData()); // of the sources, and of the outputs
    }
};

QTEST_GUILESS_MAIN(TestSystemCalls)
#include "tst_systemcalls.moc"
