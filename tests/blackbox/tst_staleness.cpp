#include "world.h"

#include <QTest>

// Which tools run for a Lua file, for every combination of times. A time is a number from 1 to 3,
// "-" is a missing file. A table has a line for each time of the source and of the preprocessed
// file, and a column for each time of the compiled file. P stands for a run of the preprocessor, C
// for one of the compiler, "." for none. What a tool writes is younger than everything that was
// there before.

namespace {

const QByteArray heading = "source preprocessed | compiled -  1  2  3\n";

// Without a source nothing runs, whatever is left of it.
const QByteArray withoutSource = "-      -            |          .  .  .  .\n"
                                 "-      1            |          .  .  .  .\n"
                                 "-      2            |          .  .  .  .\n"
                                 "-      3            |          .  .  .  .\n";

// both stages. A preprocessed file that is missing or older than its source is made again, and then
// the compiled file is; one that stays as it is is compiled when the compiled file is older.
const QByteArray both = heading + withoutSource
                        + "1      -            |          PC PC PC PC\n"
                          "1      1            |          C  .  .  .\n"
                          "1      2            |          C  C  .  .\n"
                          "1      3            |          C  C  C  .\n"
                          "2      -            |          PC PC PC PC\n"
                          "2      1            |          PC PC PC PC\n"
                          "2      2            |          C  C  .  .\n"
                          "2      3            |          C  C  C  .\n"
                          "3      -            |          PC PC PC PC\n"
                          "3      1            |          PC PC PC PC\n"
                          "3      2            |          PC PC PC PC\n"
                          "3      3            |          C  C  C  .\n";

// The same with a project file of time 2: outputs of time 1 are stale whatever their source.
const QByteArray bothProject2 = heading + withoutSource
                                + "1      -            |          PC PC PC PC\n"
                                  "1      1            |          PC PC PC PC\n"
                                  "1      2            |          C  C  .  .\n"
                                  "1      3            |          C  C  C  .\n"
                                  "2      -            |          PC PC PC PC\n"
                                  "2      1            |          PC PC PC PC\n"
                                  "2      2            |          C  C  .  .\n"
                                  "2      3            |          C  C  C  .\n"
                                  "3      -            |          PC PC PC PC\n"
                                  "3      1            |          PC PC PC PC\n"
                                  "3      2            |          PC PC PC PC\n"
                                  "3      3            |          C  C  C  .\n";

// A project file of time 3: outputs of time 1 and 2 are stale.
const QByteArray bothProject3 = heading + withoutSource
                                + "1      -            |          PC PC PC PC\n"
                                  "1      1            |          PC PC PC PC\n"
                                  "1      2            |          PC PC PC PC\n"
                                  "1      3            |          C  C  C  .\n"
                                  "2      -            |          PC PC PC PC\n"
                                  "2      1            |          PC PC PC PC\n"
                                  "2      2            |          PC PC PC PC\n"
                                  "2      3            |          C  C  C  .\n"
                                  "3      -            |          PC PC PC PC\n"
                                  "3      1            |          PC PC PC PC\n"
                                  "3      2            |          PC PC PC PC\n"
                                  "3      3            |          C  C  C  .\n";

// Preprocessing alone: the compiled file does not matter.
const QByteArray preprocessOnly = heading + withoutSource
                                  + "1      -            |          P  P  P  P\n"
                                    "1      1            |          .  .  .  .\n"
                                    "1      2            |          .  .  .  .\n"
                                    "1      3            |          .  .  .  .\n"
                                    "2      -            |          P  P  P  P\n"
                                    "2      1            |          P  P  P  P\n"
                                    "2      2            |          .  .  .  .\n"
                                    "2      3            |          .  .  .  .\n"
                                    "3      -            |          P  P  P  P\n"
                                    "3      1            |          P  P  P  P\n"
                                    "3      2            |          P  P  P  P\n"
                                    "3      3            |          .  .  .  .\n";

const QByteArray preprocessProject2 = heading + withoutSource
                                      + "1      -            |          P  P  P  P\n"
                                        "1      1            |          P  P  P  P\n"
                                        "1      2            |          .  .  .  .\n"
                                        "1      3            |          .  .  .  .\n"
                                        "2      -            |          P  P  P  P\n"
                                        "2      1            |          P  P  P  P\n"
                                        "2      2            |          .  .  .  .\n"
                                        "2      3            |          .  .  .  .\n"
                                        "3      -            |          P  P  P  P\n"
                                        "3      1            |          P  P  P  P\n"
                                        "3      2            |          P  P  P  P\n"
                                        "3      3            |          .  .  .  .\n";

const QByteArray preprocessProject3 = heading + withoutSource
                                      + "1      -            |          P  P  P  P\n"
                                        "1      1            |          P  P  P  P\n"
                                        "1      2            |          P  P  P  P\n"
                                        "1      3            |          .  .  .  .\n"
                                        "2      -            |          P  P  P  P\n"
                                        "2      1            |          P  P  P  P\n"
                                        "2      2            |          P  P  P  P\n"
                                        "2      3            |          .  .  .  .\n"
                                        "3      -            |          P  P  P  P\n"
                                        "3      1            |          P  P  P  P\n"
                                        "3      2            |          P  P  P  P\n"
                                        "3      3            |          .  .  .  .\n";

// Compiling alone: the compiled file is compared with the source, the preprocessed file is not
// used.
const QByteArray compileOnly = heading + withoutSource
                               + "1      -            |          C  .  .  .\n"
                                 "1      1            |          C  .  .  .\n"
                                 "1      2            |          C  .  .  .\n"
                                 "1      3            |          C  .  .  .\n"
                                 "2      -            |          C  C  .  .\n"
                                 "2      1            |          C  C  .  .\n"
                                 "2      2            |          C  C  .  .\n"
                                 "2      3            |          C  C  .  .\n"
                                 "3      -            |          C  C  C  .\n"
                                 "3      1            |          C  C  C  .\n"
                                 "3      2            |          C  C  C  .\n"
                                 "3      3            |          C  C  C  .\n";

const QByteArray compileProject2 = heading + withoutSource
                                   + "1      -            |          C  C  .  .\n"
                                     "1      1            |          C  C  .  .\n"
                                     "1      2            |          C  C  .  .\n"
                                     "1      3            |          C  C  .  .\n"
                                     "2      -            |          C  C  .  .\n"
                                     "2      1            |          C  C  .  .\n"
                                     "2      2            |          C  C  .  .\n"
                                     "2      3            |          C  C  .  .\n"
                                     "3      -            |          C  C  C  .\n"
                                     "3      1            |          C  C  C  .\n"
                                     "3      2            |          C  C  C  .\n"
                                     "3      3            |          C  C  C  .\n";

const QByteArray compileProject3 = heading + withoutSource
                                   + "1      -            |          C  C  C  .\n"
                                     "1      1            |          C  C  C  .\n"
                                     "1      2            |          C  C  C  .\n"
                                     "1      3            |          C  C  C  .\n"
                                     "2      -            |          C  C  C  .\n"
                                     "2      1            |          C  C  C  .\n"
                                     "2      2            |          C  C  C  .\n"
                                     "2      3            |          C  C  C  .\n"
                                     "3      -            |          C  C  C  .\n"
                                     "3      1            |          C  C  C  .\n"
                                     "3      2            |          C  C  C  .\n"
                                     "3      3            |          C  C  C  .\n";

/// Every stage that is on runs for every source: forced, or the project file is younger than all.
QByteArray always(const QByteArray &stages)
{
    QByteArray table = heading + withoutSource;
    const QByteArray cell = stages.leftJustified(3);
    for (const char *source : {"1", "2", "3"}) {
        for (const char *preprocessed : {"-", "1", "2", "3"})
            table += QByteArray(source) + "      " + preprocessed + "            |          " + cell
                     + cell + cell + stages + '\n';
    }
    return table;
}

// Neither stage: the source is copied when its copy is missing, older than it, or older than the
// project file. The letter of a copy is K.
const QByteArray copyHeading = "source | copy -  1  2  3\n";
const QByteArray copy = copyHeading
                        + "-      |      .  .  .  .\n"
                          "1      |      K  .  .  .\n"
                          "2      |      K  K  .  .\n"
                          "3      |      K  K  K  .\n";
const QByteArray copyProject2 = copyHeading
                                + "-      |      .  .  .  .\n"
                                  "1      |      K  K  .  .\n"
                                  "2      |      K  K  .  .\n"
                                  "3      |      K  K  K  .\n";
const QByteArray copyProject3 = copyHeading
                                + "-      |      .  .  .  .\n"
                                  "1      |      K  K  K  .\n"
                                  "2      |      K  K  K  .\n"
                                  "3      |      K  K  K  .\n";
const QByteArray copyAlways = copyHeading
                              + "-      |      .  .  .  .\n"
                                "1      |      K  K  K  K\n"
                                "2      |      K  K  K  K\n"
                                "3      |      K  K  K  K\n";

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
    const auto enabled = [](bool on) {
        return QByteArray(on ? " Enabled=\"1\"/>" : " Enabled=\"0\"/>");
    };
    world.project(R"(Name="Demo" SDK="../sdk")",
                  R"(<Filesystem><Merge Type="Directory"><Source>root</Source></Merge></Filesystem>
                     <Process><Preprocess Type="Ztlpp")"
                          + enabled(preprocess) + R"(<Compile Type="Lua")" + enabled(compile)
                          + "</Process>");
    world.setTime("project/demo.ztp", time * unit);
    world.makeDirectory("project/root");
}

QByteArray shown(int time)
{
    return time > 0 ? QByteArray::number(time) : QByteArray("-");
}

} // namespace

class tst_Staleness : public QObject
{
    Q_OBJECT

private slots:
    void tools_data();
    void tools();
    void copies_data();
    void copies();
};

void tst_Staleness::tools_data()
{
    QTest::addColumn<bool>("preprocess");
    QTest::addColumn<bool>("compile");
    QTest::addColumn<int>("projectTime"); // 0: older than all, 4: younger than all
    QTest::addColumn<bool>("forced");
    QTest::addColumn<QByteArray>("table");

    QTest::newRow("both, project 0") << true << true << 0 << false << both;
    QTest::newRow("both, project 1") << true << true << 1 << false << both;
    QTest::newRow("both, project 2") << true << true << 2 << false << bothProject2;
    QTest::newRow("both, project 3") << true << true << 3 << false << bothProject3;
    QTest::newRow("both, project 4") << true << true << 4 << false << always("PC");
    QTest::newRow("preprocess, project 0") << true << false << 0 << false << preprocessOnly;
    QTest::newRow("preprocess, project 1") << true << false << 1 << false << preprocessOnly;
    QTest::newRow("preprocess, project 2") << true << false << 2 << false << preprocessProject2;
    QTest::newRow("preprocess, project 3") << true << false << 3 << false << preprocessProject3;
    QTest::newRow("preprocess, project 4") << true << false << 4 << false << always("P");
    QTest::newRow("compile, project 0") << false << true << 0 << false << compileOnly;
    QTest::newRow("compile, project 1") << false << true << 1 << false << compileOnly;
    QTest::newRow("compile, project 2") << false << true << 2 << false << compileProject2;
    QTest::newRow("compile, project 3") << false << true << 3 << false << compileProject3;
    QTest::newRow("compile, project 4") << false << true << 4 << false << always("C");
    for (const int time : {0, 2, 4}) {
        const QByteArray suffix = ", project " + QByteArray::number(time) + ", forced";
        QTest::newRow("both" + suffix) << true << true << time << true << always("PC");
        QTest::newRow("preprocess" + suffix) << true << false << time << true << always("P");
        QTest::newRow("compile" + suffix) << false << true << time << true << always("C");
    }
}

void tst_Staleness::tools()
{
    QFETCH(bool, preprocess);
    QFETCH(bool, compile);
    QFETCH(int, projectTime);
    QFETCH(bool, forced);
    QFETCH(QByteArray, table);
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
        if (call.name == "ztmkromfs")
            continue;
        const QByteArray input = call.arguments.last();
        runs[input.mid(input.lastIndexOf('/') + 1).chopped(4)] += call.name == "ztlpp" ? 'P' : 'C';
    }
    QByteArray actual = heading;
    for (int i = 0; i < 64; ++i) {
        if (i % 4 == 0)
            actual += shown(i / 16) + "      " + shown(i / 4 % 4) + "            |          ";
        const QByteArray cell = runs.value(nameOf(i / 16, i / 4 % 4, i % 4), ".");
        actual += i % 4 < 3 ? cell.leftJustified(3) : cell + '\n';
    }
    SAME(actual, table);
}

void tst_Staleness::copies_data()
{
    QTest::addColumn<int>("projectTime");
    QTest::addColumn<bool>("forced");
    QTest::addColumn<QByteArray>("table");

    QTest::newRow("project 0") << 0 << false << copy;
    QTest::newRow("project 1") << 1 << false << copy;
    QTest::newRow("project 2") << 2 << false << copyProject2;
    QTest::newRow("project 3") << 3 << false << copyProject3;
    QTest::newRow("project 4") << 4 << false << copyAlways;
    for (const int time : {0, 2, 4})
        QTest::newRow("project " + QByteArray::number(time) + ", forced")
                << time << true << copyAlways;
}

void tst_Staleness::copies()
{
    QFETCH(int, projectTime);
    QFETCH(bool, forced);
    QFETCH(QByteArray, table);
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
    QByteArray actual = copyHeading;
    for (int i = 0; i < 16; ++i) {
        if (i % 4 == 0)
            actual += shown(i / 4) + "      |      ";
        const QByteArray object = "project/obj/root/" + nameOf(i / 4, 0, i % 4) + ".lua";
        const bool copied = world.exists(object) && world.read(object) == "source\n";
        actual += QByteArray(copied ? "K" : ".") + (i % 4 < 3 ? "  " : "\n");
    }
    SAME(actual, table);
}

QTEST_GUILESS_MAIN(tst_Staleness)
#include "tst_staleness.moc"
