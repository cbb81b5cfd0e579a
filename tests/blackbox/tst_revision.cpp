#include "projects.h"
#include "rows.h"

#include <QElapsedTimer>

#include <csignal>

namespace {

void writeVersionedProject(World &world)
{
    world.project(demo + R"( Version="1." Svnversion="1")", "<Target Model=\"T1\"/>");
}

} // namespace

class TestRevision : public QObject
{
    Q_OBJECT

private slots:
    void revisionOfTheProject_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // plan, version, warning
        const QByteArray failed = "[ztmake] Warning: svnversion failed to run.\n";
        const QByteArray unversioned = "[ztmake] Warning: Unversioned directory.\n";
        row("plain", "out 1234\\n", "1.#1234", {});
        row("modified", "out 1234M\\n", "1.#1234M", {});
        row("mixed", "out 4123:4168MS\\n", "1.#4123:4168MS", {});
        row("exported", "out exported\\n", "1.#exported", {});
        row("no newline", "out 5", "1.#5", {});
        row("white space", "out \\n  5 \t 6\\n\\n7 ", "1.#5 6 7", {});
        row("status is not looked at", "out 5\\n\n* exit 3", "1.#5", {});
        row("standard error is not shown", "out 5\\n\n* err noise\\n", "1.#5", {});
        row("nothing", "exit 0", "1.#?", failed);
        row("white space alone", "out  \\n\\n", "1.#?", failed);
        row("failed", "err not a directory\\n\n* exit 1", "1.#?", failed);
        row("crashed", "crash", "1.#?", failed);
        row("unversioned", "out Unversioned directory\\n", "1.#?", unversioned);
        row("unversioned in other letters", "out It is UNVERSIONED.\\n", "1.#?", unversioned);
    }
    void revisionOfTheProject()
    {
        const auto [plan, version, warning] = fetch<QByteArray, QByteArray, QByteArray>();
        World world;
        writeVersionedProject(world);
        world.plan("svnversion", "* " + plan + '\n');
        SAME(world.run({}).text(), report(0, "svnversion ''\n", warning));
        SAME(world.read("project/obj/version.txt"), version + '\n');
    }

    void missingSvnversion()
    {
        World world;
        writeVersionedProject(world);
        world.write("sdk/bin/svnversion");
        world.setVariable("PATH", world.path("home"));
        SAME(world.run({"-q"}).text(),
             report(0, {}, "[ztmake] Warning: svnversion failed to run.\n"));
        SAME(world.read("project/obj/version.txt"), "1.#?\n");
    }

    void revisionIsAskedForInTheProjectDirectory_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // attributes, argument, asked
        row("working directory", demo, "demo.ztp", "''");
        row("other directory", demo, "../project/demo.ztp", "../project");
        row("named directory", demo + R"( ProjectDirectory="../project/")", "demo.ztp",
            "../project/");
    }
    void revisionIsAskedForInTheProjectDirectory()
    {
        const auto [attributes, argument, asked] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(attributes + R"( Svnversion="1")", "");
        SAME(world.run({"-q", argument}).text(), report(0, "svnversion " + asked + '\n'));
    }

    void silentSvnversionIsGivenUpAfterThirtySeconds()
    {
        World world;
        writeVersionedProject(world);
        world.plan("svnversion", "* out 7\\n\n* sleep 3000\n");
        QElapsedTimer timer;
        timer.start();
        const Result result = world.run({"-q"});
        QVERIFY2(timer.elapsed() >= 29000, qPrintable(QString::number(timer.elapsed())));
        SAME(result.text(),
             report(0, "svnversion ''\n", "[ztmake] Warning: svnversion failed to run.\n"));
        SAME(world.read("project/obj/version.txt"), "1.#?\n");
        const pid_t lingering = pid_t(result.calls[0].pid);
        QTRY_VERIFY_WITH_TIMEOUT(::kill(lingering, 0) != 0, 300'000);
    }
};

QTEST_GUILESS_MAIN(TestRevision)
#include "tst_revision.moc"
