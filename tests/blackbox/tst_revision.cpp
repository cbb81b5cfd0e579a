#include "world.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";

void writeVersionedProject(World &world)
{
    world.project(demo + R"( Version="1." Svnversion="1")", "<Target Model=\"T1\"/>");
}

} // namespace

class tst_Revision : public QObject
{
    Q_OBJECT

private slots:
    void revisionOfTheProject_data();
    void revisionOfTheProject();
    void missingSvnversion();
    void revisionIsAskedForInTheProjectDirectory_data();
    void revisionIsAskedForInTheProjectDirectory();
    void silentSvnversionIsGivenUpAfterThirtySeconds();
};

void tst_Revision::revisionOfTheProject_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QByteArray>("version");
    QTest::addColumn<QByteArray>("warning");

    const QByteArray failed = "[ztmake] Warning: svnversion failed to run.\n";
    const QByteArray unversioned = "[ztmake] Warning: Unversioned directory.\n";
    QTest::newRow("plain") << QByteArray("out 1234\\n") << QByteArray("1.#1234") << QByteArray();
    QTest::newRow("modified") << QByteArray("out 1234M\\n") << QByteArray("1.#1234M")
                              << QByteArray();
    QTest::newRow("mixed") << QByteArray("out 4123:4168MS\\n") << QByteArray("1.#4123:4168MS")
                           << QByteArray();
    QTest::newRow("exported") << QByteArray("out exported\\n") << QByteArray("1.#exported")
                              << QByteArray();
    QTest::newRow("no newline") << QByteArray("out 5") << QByteArray("1.#5") << QByteArray();
    QTest::newRow("white space") << QByteArray("out \\n  5 \t 6\\n\\n7 ") << QByteArray("1.#5 6 7")
                                 << QByteArray();
    QTest::newRow("status is not looked at")
            << QByteArray("out 5\\n\n* exit 3") << QByteArray("1.#5") << QByteArray();
    QTest::newRow("standard error is not shown")
            << QByteArray("out 5\\n\n* err noise\\n") << QByteArray("1.#5") << QByteArray();
    QTest::newRow("nothing") << QByteArray("exit 0") << QByteArray("1.#?") << failed;
    QTest::newRow("white space alone") << QByteArray("out  \\n\\n") << QByteArray("1.#?") << failed;
    QTest::newRow("failed") << QByteArray("err not a directory\\n\n* exit 1") << QByteArray("1.#?")
                            << failed;
    QTest::newRow("crashed") << QByteArray("crash") << QByteArray("1.#?") << failed;
    QTest::newRow("unversioned") << QByteArray("out Unversioned directory\\n") << QByteArray("1.#?")
                                 << unversioned;
    QTest::newRow("unversioned in other letters")
            << QByteArray("out It is UNVERSIONED.\\n") << QByteArray("1.#?") << unversioned;
}

void tst_Revision::revisionOfTheProject()
{
    QFETCH(QByteArray, plan);
    QFETCH(QByteArray, version);
    QFETCH(QByteArray, warning);
    World world;
    writeVersionedProject(world);
    world.plan("svnversion", "* " + plan + '\n');
    SAME(world.run({}).text(), report(0, "svnversion ''\n", warning));
    SAME(world.read("project/obj/version.txt"), version + '\n');
}

void tst_Revision::missingSvnversion()
{
    World world;
    writeVersionedProject(world);
    world.write("sdk/bin/svnversion");
    world.environment().insert(QStringLiteral("PATH"), QString::fromUtf8(world.path("home")));
    SAME(world.run({"-q"}).text(), report(0, {}, "[ztmake] Warning: svnversion failed to run.\n"));
    SAME(world.read("project/obj/version.txt"), "1.#?\n");
}

void tst_Revision::revisionIsAskedForInTheProjectDirectory_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("asked");

    QTest::newRow("working directory") << demo << QByteArray("demo.ztp") << QByteArray("''");
    QTest::newRow("other directory")
            << demo << QByteArray("../project/demo.ztp") << QByteArray("../project");
    QTest::newRow("named directory") << demo + R"( ProjectDirectory="../project/")"
                                     << QByteArray("demo.ztp") << QByteArray("../project/");
}

void tst_Revision::revisionIsAskedForInTheProjectDirectory()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, argument);
    QFETCH(QByteArray, asked);
    World world;
    world.project(attributes + R"( Svnversion="1")", "");
    SAME(world.run({"-q", argument}).text(), report(0, "svnversion " + asked + '\n'));
}

void tst_Revision::silentSvnversionIsGivenUpAfterThirtySeconds()
{
    World world;
    writeVersionedProject(world);
    world.plan("svnversion", "* out 7\\n\n* sleep 300\n");
    QElapsedTimer timer;
    timer.start();
    const Result result = world.run({"-q"}, {.seconds = 100});
    const qint64 elapsed = timer.elapsed();
    SAME(result.text(),
         report(0, "svnversion ''\n", "[ztmake] Warning: svnversion failed to run.\n"));
    SAME(world.read("project/obj/version.txt"), "1.#?\n");
    QVERIFY2(elapsed >= 29000, qPrintable(QString::number(elapsed)));
    QVERIFY2(elapsed < 60000, qPrintable(QString::number(elapsed)));
    const pid_t lingering = pid_t(result.calls[0].pid);
    QTRY_VERIFY(::kill(lingering, 0) != 0);
}

QTEST_GUILESS_MAIN(tst_Revision)
#include "tst_revision.moc"
