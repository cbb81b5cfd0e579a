#include "faults.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 later = 4'000'000'000;

} // namespace

bool FaultyRun::hasGoodMessage() const
{
    static const QRegularExpression good(
            u"^(\\[ztmake\\] Cannot start a process: "
            "(Cannot allocate memory|Too many open files)\\n)?"
            "\\[ztmake\\] (Cannot make directory \\S+|Cannot read \\S+|"
            "Cannot (write|delete) \\S+|Error (writing|reading) \\S+: .+|"
            "Command failed to run: \\S+|demo\\.ztp: .+|"
            "SDK \\S+ does not exist\\.|MTD16 input file \"\\S+\" not found\\.|"
            // Known texts without a name.
            "Cannot find SDK directory\\.|Cannot remove %s)\\n$"_s);
    return good.match(QString::fromUtf8(result.err)).hasMatch();
}

FaultyProject::FaultyProject(const QByteArray &svnversion)
{
    const QByteArrayList tools = World::toolNames() + QByteArrayList{"../../path/svnversion"};
    for (const QByteArray &tool : tools) {
        world.remove("sdk/bin/" + tool);
        require(QFile::copy(QStringLiteral(HONEST_TOOL),
                            QString::fromUtf8(world.path("sdk/bin/" + tool))),
                "install", tool);
    }
    world.makeDirectory("plan");
    world.setVariable("ZTTEST_PLAN", world.path("plan"));
    world.setVariable("ZTTEST_FAULT_LOG", world.path("faults"));
    world.project("Name=\"Demo\" Version=\"1\" SDK=\"../sdk\" BuildInstaller=\"1\" Svnversion=\""
                          + svnversion + '"',
                  R"(<Target Model="A"/><Startup File="/main.lua"/>
<MTD16 Enabled="1"><Source>demo.mtdef</Source><Header>made/m.lh</Header><Lua>made/m.lua</Lua></MTD16>
<Translation Enabled="1"><Language>de</Language></Translation>
<Filesystem><Merge Type="Directory"><Source>root</Source></Merge>
<Merge Type="Directory"><Source>plain</Source><Destination>plain</Destination>
<Process><Preprocess Type="Ztlpp" Enabled="0"/><Compile Type="Lua" Enabled="0"/></Process></Merge>
</Filesystem>)");
    world.makeDirectory("project/made");
    for (const char *kernel : {"A-kernel.bin", "install.romfs", "base.romfs"})
        world.write("sdk/kernel/"_ba + kernel);
    writeSources("first", 0);
    // A folder is opened again for what follows a folder in it.
    const auto isAtTheEdge = [](const QByteArrayList &names) {
        return names.first() == "sub" || names.last() == "sub";
    };
    for (int i = 0; isAtTheEdge(world.entries("project/plain")); ++i)
        world.write("project/plain/more" + QByteArray::number(i) + ".lua");
}

void FaultyProject::writeSources(const QByteArray &text, qint64 time)
{
    for (const char *name : {"root/a.lua", "root/sub/b.lua", "plain/c.lua", "plain/sub/d.lua",
                             "demo.mtdef", "translations/de.ts"})
        world.write("project/"_ba + name, text + '\n', time);
}

Files FaultyProject::outputs() const
{
    Files files;
    for (const QByteArray &name : world.tree("project").split('\n')) {
        const bool isSource = name.startsWith("root/") || name.startsWith("plain/")
                              || name.startsWith("demo.") || name.isEmpty() || name.endsWith('/');
        if (!isSource)
            files.insert(name, world.read("project/" + name));
    }
    return files;
}

void FaultyProject::copy(const QByteArray &from, const QByteArray &to) const
{
    const QStringList arguments{u"-a"_s, QString::fromUtf8(world.path(from)),
                                QString::fromUtf8(world.path(to))};
    require(QProcess::execute(u"cp"_s, arguments) == 0, "copy", from);
}

void FaultyProject::restore()
{
    world.remove("project");
    copy("saved", "project");
}

void FaultyProject::expectOutputs()
{
    require(world.run({"-q"}).status == 0, "build", "the project");
    expected = outputs();
}

void FaultyProject::saveAndExpect()
{
    save();
    expectOutputs();
}

void FaultyProject::buildAndKill(int call)
{
    require(world.run({"-q"}).status == 0, "build", "the project");
    writeSources("second", later);
    for (const QByteArray &name : outputs().keys())
        world.setTime("project/" + name, name.startsWith("translations/") ? later : 1);
    world.write("plan/plan", QByteArray::number(call) + " half group 9\n");
    world.remove("plan/calls");
    require(world.run({"-q"}, {.ownGroup = true}).signal == SIGKILL, "kill", "the build");
    world.remove("plan/plan");
    require(world.exists("project/obj/.unfinished"), "find", "the note");
}

QByteArray FaultyProject::wrongOutputs(Ignored isIgnored) const
{
    const Files actual = outputs();
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        const QByteArray content = actual.value(it.key(), "(missing)");
        if (content != it.value())
            return it.key() + " is\n" + content + "instead of\n" + it.value();
    }
    for (const QByteArray &name : actual.keys()) {
        if (!expected.contains(name) && !isIgnored(name))
            return name + " is too much";
    }
    return {};
}

QByteArray FaultyProject::wrongNextBuild(Ignored isIgnored)
{
    const Result next = world.run({"-q"});
    const bool isGood = next.status == 0 && next.err.isEmpty();
    const QByteArray wrong = isGood ? wrongOutputs(isIgnored) : '\n' + next.err;
    return wrong.isEmpty() ? wrong : "then: " + wrong;
}

FaultyRun FaultyProject::run(const QByteArray &kind, const QByteArray &what, int number)
{
    const QByteArray plan = kind + ' ' + what + ' ' + QByteArray::number(number);
    world.setVariable("LD_PRELOAD", FAILCALLS_LIBRARY);
    world.setVariable("ZTTEST_FAULT", plan);
    if (world.exists("faults"))
        world.remove("faults");
    FaultyRun run;
    run.result = world.run({"-q", "demo.ztp"}, {.ownGroup = true});
    world.environment().remove(u"LD_PRELOAD"_s);
    const QByteArray log = world.exists("faults") ? world.read("faults") : "-1 ";
    run.count = log.left(log.indexOf(' ')).toInt();
    run.description = plan + " (" + log.mid(log.indexOf(' ') + 1).trimmed() + "): status "
                      + QByteArray::number(run.result.status) + ", signal "
                      + QByteArray::number(run.result.signal) + '\n' + run.result.err;
    return run;
}

QByteArray
FaultyProject::failEveryCall(const QByteArray &kind, const QByteArray &what,
                             const std::function<QByteArray(const FaultyRun &)> &whatIsWrong,
                             Ignored isIgnored)
{
    for (int number = 1;; ++number) {
        restore();
        const FaultyRun run = this->run(kind, what, number);
        if (run.count >= 0 && run.count < number) {
            qInfo("%d calls were made to fail", number - 1);
            return number > 1 ? QByteArray() : "no call was made to fail";
        }
        QByteArray wrong = whatIsWrong(run);
        if (wrong.isEmpty())
            wrong = wrongNextBuild(isIgnored);
        if (!wrong.isEmpty())
            return run.description + wrong;
    }
}

bool triesAll()
{
    return qEnvironmentVariableIsSet("ZTTEST_ALL_FAULTS");
}
