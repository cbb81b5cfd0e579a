#include "faults.h"
#include "rows.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

/// Whether the call that failed has opened a folder of sources.
bool isSourceFolder(const QByteArray &description)
{
    static const QRegularExpression folder(u"\\((open|opendir) (root|plain)"_s);
    return folder.match(QString::fromUtf8(description)).hasMatch();
}

/// Files that may be there besides those of a clean build, when they could not be deleted.
bool mayRemain(const QByteArray &name)
{
    return FaultyProject::responseFile(name) || name == "obj/.unfinished"
           || name == "obj/root.romfs" || name.startsWith("firmware/");
}

/// The kinds of calls, and the errors that are tried every time; after a kill the first one alone.
const QList<std::pair<QByteArray, QByteArray>> likelyErrors{
        {"open", "EMFILE EACCES EIO"}, {"write", "ENOSPC EIO"},  {"close", "EIO ENOSPC"},
        {"mkdir", "ENOSPC EACCES"},    {"unlink", "EACCES EIO"}, {"rename", "EIO EACCES"},
        {"start", "ENOMEM EACCES"},    {"stat", "EIO"}};

} // namespace

/// System calls that fail: the program names what is to blame, and the next build is good.
class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void anyCallMayFail_data()
    {
        // The last column is the call in which the build before was killed; 0: none was.
        Rows<QByteArray, QByteArray, int> row;
        for (const auto &[kind, likely] : likelyErrors) {
            for (const QByteArray &error :
                 {"ENOSPC"_ba, "EACCES"_ba, "EIO"_ba, "EMFILE"_ba, "ENOMEM"_ba}) {
                if (triesAll() || likely.contains(error))
                    row(kind + ", " + error + ", from nothing", kind, error, 0);
                if (triesAll() || likely.startsWith(error))
                    row(kind + ", " + error + ", after a kill", kind, error, 3);
            }
        }
    }
    void anyCallMayFail()
    {
        const auto row = fetch<QByteArray, QByteArray, int>();
        const QByteArray kind = std::get<0>(row);
        const QByteArray error = std::get<1>(row);
        FaultyProject project;
        if (std::get<2>(row) > 0)
            project.buildAndKill(std::get<2>(row));
        project.saveAndExpect();
        const auto whatIsWrong = [&](const FaultyRun &run) -> QByteArray {
            const bool isFailure = run.result.status == 1;
            if (run.count < 0 || (!isFailure && run.result.status != 0))
                return "it does not end properly";
            if (isFailure)
                return run.hasGoodMessage() ? "" : "its message is not a good one";
            // A folder that the user may not read is left out without a message.
            if (error == "EACCES" && isSourceFolder(run.description))
                return {};
            return project.wrongOutputs(kind == "unlink" ? mayRemain : FaultyProject::nothing);
        };
        SAME(project.failEveryCall(kind, error, whatIsWrong,
                                   kind == "unlink" ? FaultyProject::responseFile
                                                    : FaultyProject::nothing),
             "");
    }

    void writesMayBeCutShort()
    {
        FaultyProject project;
        project.saveAndExpect();
        SAME(project.failEveryCall("write", "SHORT",
                                   [&](const FaultyRun &run) -> QByteArray {
                                       if (run.count < 0)
                                           return "it does not end properly";
                                       if (run.result.status == 0)
                                           return project.wrongOutputs();
                                       return run.hasGoodMessage()
                                                      ? ""
                                                      : "its message is not a good one";
                                   }),
             "");
    }

    void processThatCannotBeStarted_data()
    {
        // Error, what it says about itself, and which program it is. The second can run in a job.
        Rows<QByteArray, QByteArray, int> row;
        for (const int program : {1, 2}) {
            const QByteArray number = ", " + QByteArray::number(program);
            row("no memory" + number, "ENOMEM", "Cannot start a process: Cannot allocate memory",
                program);
            row("too many" + number, "EAGAIN",
                "Cannot start a process: Resource temporarily unavailable", program);
            row("no right" + number, "EACCES", {}, program);
        }
    }
    void processThatCannotBeStarted()
    {
        const auto [error, reason, program] = fetch<QByteArray, QByteArray, int>();
        FaultyProject project;
        const FaultyRun run = project.run("start", error, program);
        QCOMPARE(run.result.status, 1);
        SAME(run.result.err, (reason.isEmpty() ? "" : "[ztmake] " + reason + '\n')
                                     + "[ztmake] Command failed to run: $W/sdk/bin/"
                                     + (program == 1 ? "ztmkmtd\n" : "ztlpp\n"));
    }

    void responseFileThatCannotBeClosed()
    {
        FaultyProject project;
        project.save();
        static const QRegularExpression message(
                u"^\\[ztmake\\] Error writing \\S+/args\\.\\w{6}: Input/output error\\n$"_s);
        for (int number = 1;; ++number) {
            project.restore();
            const FaultyRun run = project.run("close", "EIO", number);
            QVERIFY2(run.count >= number, "no call was made for a response file");
            if (message.match(QString::fromUtf8(run.result.err)).hasMatch()) {
                QCOMPARE(run.result.status, 1);
                return;
            }
        }
    }

    void svnversionThatCannotBeStarted()
    {
        FaultyProject project("1");
        // Qt starts the process by means that cannot be seen here; its program can.
        const FaultyRun run = project.run("exec", "EACCES", 1);
        QVERIFY2(run.result.status == 0, run.description.constData());
        SAME(run.result.err, "[ztmake] Warning: svnversion failed to run.\n");
        SAME(project.world.read("project/obj/version.txt"), "1#?\n");
    }
};

QTEST_GUILESS_MAIN(TestFaults)
#include "tst_faults.moc"
