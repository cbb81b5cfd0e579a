#include "projects.h"
#include "rows.h"

#include <QHash>

// Which tools run for a Lua file, for every combination of times. A time is a number from 1 to 3,
// "-" is a missing file. A table has a line for each time of the source, on it a group for each
// time of the preprocessed file, and in the group a letter for each time of the compiled file: B
// when both tools run, P for the preprocessor alone, C for the compiler alone, "." for none. What a
// tool writes is younger than everything that was there before.

namespace {

// Without a source nothing runs, whatever is left of it.
const QByteArray heading = "      -    1    2    3\n"
                           "- | .... .... .... ....\n";

// Both stages. A preprocessed file that is missing or older than its source is made again, and then
// the compiled file is; one that stays as it is is compiled when the compiled file is older.
const QByteArray both = heading
                        + "1 | BBBB C... CC.. CCC.\n"
                          "2 | BBBB BBBB CC.. CCC.\n"
                          "3 | BBBB BBBB BBBB CCC.\n";
// The same with a project file of time 2: outputs of time 1 are stale whatever their source.
const QByteArray bothProject2 = heading
                                + "1 | BBBB BBBB CC.. CCC.\n"
                                  "2 | BBBB BBBB CC.. CCC.\n"
                                  "3 | BBBB BBBB BBBB CCC.\n";
// A project file of time 3: outputs of time 1 and 2 are stale.
const QByteArray bothProject3 = heading
                                + "1 | BBBB BBBB BBBB CCC.\n"
                                  "2 | BBBB BBBB BBBB CCC.\n"
                                  "3 | BBBB BBBB BBBB CCC.\n";

// Preprocessing alone: the compiled file does not matter.
const QByteArray preprocessOnly = heading
                                  + "1 | PPPP .... .... ....\n"
                                    "2 | PPPP PPPP .... ....\n"
                                    "3 | PPPP PPPP PPPP ....\n";
const QByteArray preprocessProject2 = heading
                                      + "1 | PPPP PPPP .... ....\n"
                                        "2 | PPPP PPPP .... ....\n"
                                        "3 | PPPP PPPP PPPP ....\n";
const QByteArray preprocessProject3 = heading
                                      + "1 | PPPP PPPP PPPP ....\n"
                                        "2 | PPPP PPPP PPPP ....\n"
                                        "3 | PPPP PPPP PPPP ....\n";

// Compiling alone: the compiled file is compared with the source, the preprocessed file is not
// used.
const QByteArray compileOnly = heading
                               + "1 | C... C... C... C...\n"
                                 "2 | CC.. CC.. CC.. CC..\n"
                                 "3 | CCC. CCC. CCC. CCC.\n";
const QByteArray compileProject2 = heading
                                   + "1 | CC.. CC.. CC.. CC..\n"
                                     "2 | CC.. CC.. CC.. CC..\n"
                                     "3 | CCC. CCC. CCC. CCC.\n";
const QByteArray compileProject3 = heading
                                   + "1 | CCC. CCC. CCC. CCC.\n"
                                     "2 | CCC. CCC. CCC. CCC.\n"
                                     "3 | CCC. CCC. CCC. CCC.\n";

/// Every stage that is on runs for every source: forced, or the project file is younger than all.
QByteArray always(char stages)
{
    const QByteArray group = ' ' + QByteArray(4, stages);
    const QByteArray line = group + group + group + group + '\n';
    return heading + "1 |" + line + "2 |" + line + "3 |" + line;
}

// Neither stage: the source is copied (K) when its copy is missing, older than it, or older than
// the project file. A letter for each time of the copy.
const QByteArray copy = "- | ....\n1 | K...\n2 | KK..\n3 | KKK.\n";
const QByteArray copyProject2 = "- | ....\n1 | KK..\n2 | KK..\n3 | KKK.\n";
const QByteArray copyProject3 = "- | ....\n1 | KKK.\n2 | KKK.\n3 | KKK.\n";
const QByteArray copyAlways = "- | ....\n1 | KKKK\n2 | KKKK\n3 | KKKK\n";

constexpr qint64 unit = 1000000000;

/// The name of a file with the times of its source and two outputs, 0 for a missing one.
QByteArray nameOf(int source, int first, int second)
{
    return 's' + QByteArray::number(source) + 'p' + QByteArray::number(first) + 'c'
           + QByteArray::number(second);
}

void writeAt(World &world, const QByteArray &name, const QByteArray &content, int time)
{
    if (time > 0)
        world.write(name, content, time * unit);
}

void writeProject(World &world, bool preprocess, bool compile, int time)
{
    world.project(demo,
                  tree() + process((preprocess ? "" : noPreprocess) + (compile ? "" : noCompile)));
    world.setTime("project/demo.ztp", time * unit);
    world.makeDirectory("project/root");
}

QByteArray shown(int time)
{
    return time > 0 ? QByteArray::number(time) : QByteArray("-");
}

} // namespace

class TestStaleness : public QObject
{
    Q_OBJECT

private slots:
    void tools_data()
    {
        Rows<bool, bool, int, bool, QByteArray>
                row; // preprocess, compile, projectTime, forced, table [projectTime: 0: older than
                     // all, 4: younger than all]

        row("both, project 0", true, true, 0, false, both);
        row("both, project 1", true, true, 1, false, both);
        row("both, project 2", true, true, 2, false, bothProject2);
        row("both, project 3", true, true, 3, false, bothProject3);
        row("both, project 4", true, true, 4, false, always('B'));
        row("preprocess, project 0", true, false, 0, false, preprocessOnly);
        row("preprocess, project 1", true, false, 1, false, preprocessOnly);
        row("preprocess, project 2", true, false, 2, false, preprocessProject2);
        row("preprocess, project 3", true, false, 3, false, preprocessProject3);
        row("preprocess, project 4", true, false, 4, false, always('P'));
        row("compile, project 0", false, true, 0, false, compileOnly);
        row("compile, project 1", false, true, 1, false, compileOnly);
        row("compile, project 2", false, true, 2, false, compileProject2);
        row("compile, project 3", false, true, 3, false, compileProject3);
        row("compile, project 4", false, true, 4, false, always('C'));
        for (const int time : {0, 2, 4}) {
            const QByteArray suffix = ", project " + QByteArray::number(time) + ", forced";
            row("both" + suffix, true, true, time, true, always('B'));
            row("preprocess" + suffix, true, false, time, true, always('P'));
            row("compile" + suffix, false, true, time, true, always('C'));
        }
    }
    void tools()
    {
        const auto [preprocess, compile, projectTime, forced, table] =
                fetch<bool, bool, int, bool, QByteArray>();
        World world;
        writeProject(world, preprocess, compile, projectTime);
        for (int i = 0; i < 64; ++i) {
            const QByteArray name = nameOf(i / 16, i / 4 % 4, i % 4);
            writeAt(world, "project/root/" + name + ".lua", "source\n", i / 16);
            writeAt(world, "project/obj/root/" + name + ".lui", "old\n", i / 4 % 4);
            writeAt(world, "project/obj/root/" + name + ".luo", "old\n", i % 4);
        }

        const Result result = world.run({"-q", forced ? "-A" : "-R"});
        QCOMPARE(result.status, 0);
        QHash<QByteArray, QByteArray> runs;
        for (const Call &call : result.calls) {
            const QByteArray input = call.arguments.last();
            runs[input.mid(input.lastIndexOf('/') + 1).chopped(4)] += call.name + ' ';
        }
        const QHash<QByteArray, char> letters{
                {"", '.'}, {"ztlpp ", 'P'}, {"ztluac ", 'C'}, {"ztlpp ztluac ", 'B'}};
        QByteArray actual = heading.left(heading.indexOf('\n') + 1);
        for (int i = 0; i < 64; ++i) {
            if (i % 16 == 0)
                actual += shown(i / 16) + " |";
            if (i % 4 == 0)
                actual += ' ';
            actual += letters.value(runs.value(nameOf(i / 16, i / 4 % 4, i % 4)), '?');
            if (i % 16 == 15)
                actual += '\n';
        }
        SAME(actual, table);
    }

    void copies_data()
    {
        Rows<int, bool, QByteArray> row; // projectTime, forced, table
        row("project 0", 0, false, copy);
        row("project 1", 1, false, copy);
        row("project 2", 2, false, copyProject2);
        row("project 3", 3, false, copyProject3);
        row("project 4", 4, false, copyAlways);
        for (const int time : {0, 2, 4})
            row("project " + QByteArray::number(time) + ", forced", time, true, copyAlways);
    }
    void copies()
    {
        const auto [projectTime, forced, table] = fetch<int, bool, QByteArray>();
        World world;
        writeProject(world, false, false, projectTime);
        for (int i = 0; i < 16; ++i) {
            const QByteArray name = nameOf(i / 4, 0, i % 4);
            writeAt(world, "project/root/" + name + ".lua", "source\n", i / 4);
            writeAt(world, "project/obj/root/" + name + ".lua", "old\n", i % 4);
        }

        const Result result = world.run({"-q", forced ? "-A" : "-R"});
        QCOMPARE(result.status, 0);
        QCOMPARE(result.calls.size(), 1);
        QByteArray actual;
        for (int i = 0; i < 16; ++i) {
            if (i % 4 == 0)
                actual += shown(i / 4) + " | ";
            const QByteArray object = "project/obj/root/" + nameOf(i / 4, 0, i % 4) + ".lua";
            actual += world.exists(object) && world.read(object) == "source\n" ? 'K' : '.';
            if (i % 4 == 3)
                actual += '\n';
        }
        SAME(actual, table);
    }
};

QTEST_GUILESS_MAIN(TestStaleness)
#include "tst_staleness.moc"
