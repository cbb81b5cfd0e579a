#include "faults.h"
#include "rows.h"

#include <csignal>

using namespace Qt::StringLiterals;

/// Kills, signals and edits right before any system call: the next build is good.
class TestAnyMoment : public QObject
{
    Q_OBJECT

private slots:
    void killed_data()
    {
        Rows<int> row; // in which call the build before was killed; 0: none was
        row("from nothing", 0);
        row("after a kill in call 3", 3);
        for (const int call : {1, 6}) {
            if (triesAll())
                row("after a kill in call " + QByteArray::number(call), call);
        }
    }
    void killed()
    {
        const auto [before] = fetch<int>();
        FaultyProject project;
        if (before > 0)
            project.buildAndKill(before);
        project.saveAndExpect();
        const auto whatIsWrong = [](const FaultyRun &run) -> QByteArray {
            return run.result.signal == SIGKILL ? "" : "it was not killed";
        };
        SAME(project.failEveryCall("any", "KILL", whatIsWrong), "");
    }

    void interrupted()
    {
        FaultyProject project("1");
        project.buildAndKill(4);
        project.saveAndExpect();
        const auto whatIsWrong = [&](const FaultyRun &run) -> QByteArray {
            // At its last calls it has done all that there was to do.
            if (run.result.signal != SIGTERM && run.result.status != 0)
                return "it was not interrupted";
            for (const QByteArray &name : project.outputs().keys()) {
                if (FaultyProject::responseFile(name))
                    return name + " is too much";
            }
            return run.result.status == 0 ? project.wrongOutputs() : "";
        };
        SAME(project.failEveryCall("any", "TERM", whatIsWrong), "");
    }

    void edited_data()
    {
        Rows<QByteArray> row;
        row("copied", "plain/c.lua");
        if (triesAll()) {
            row("compiled", "root/a.lua");
            row("definitions", "demo.mtdef");
        }
    }
    void edited()
    {
        const auto [file] = fetch<QByteArray>();
        FaultyProject project;
        project.save();
        project.world.write("project/" + file, "first\nedited meanwhile\n");
        project.expectOutputs();
        project.world.setVariable("ZTTEST_FAULT_FILE", project.world.path("project/" + file));
        const auto whatIsWrong = [](const FaultyRun &run) -> QByteArray {
            return run.result.status == 0 ? "" : "it failed";
        };
        SAME(project.failEveryCall("any", "EDIT", whatIsWrong), "");
    }
};

QTEST_GUILESS_MAIN(TestAnyMoment)
#include "tst_anymoment.moc"
