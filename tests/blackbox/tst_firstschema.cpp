#include "world.h"

#include <QTest>

namespace {

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray noProject = "[ztmake] demo.ztp: This is not a ZeltaManager project file.\n";

QByteArray pack(const QByteArray &merges = {})
{
    return "ztmkromfs -x .svn -o obj/root.romfs --label root " + merges
           + "-D /etc/version -i obj/version.txt\n";
}

QByteArray linkTo(const QByteArray &model, const QByteArray &stem,
                  const QByteArray &afterOutput = " --name Demo")
{
    return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/root.romfs --output "
           + "firmware/" + stem + "-firmware.ztf" + afterOutput + '\n';
}

void addRow(const char *name, const QByteArray &attributes, const QByteArray &children,
            const QByteArray &calls)
{
    QTest::newRow(name) << attributes << children << calls;
}

} // namespace

class tst_FirstSchema : public QObject
{
    Q_OBJECT

private slots:
    void callsFollowTheProjectFile_data();
    void callsFollowTheProjectFile();
    void luaIsCompiledOnlyWhereItIsAskedFor_data();
    void luaIsCompiledOnlyWhereItIsAskedFor();
    void verboseIsRead_data();
    void verboseIsRead();
    void nothingElseIsAccepted_data();
    void nothingElseIsAccepted();
    void pathsFollowTheProjectFile();
    void otherOperationsWork();

private:
    void projectRows();
    void targetRows();
    void mergeRows();
};

void tst_FirstSchema::projectRows()
{
    const QByteArray minimal = "<Target Model=\"T1\"/>\n<Filesystem/>\n";
    addRow("least", demo, minimal, pack() + linkTo("T1", "T1-Demo"));
    addRow("no name", R"(SDK="../sdk")", minimal, pack() + linkTo("T1", "T1", ""));
    addRow("no name but a version", R"(SDK="../sdk" Name="" Version="1.0")", minimal,
           pack() + linkTo("T1", "T1-1.0", " --version 1.0"));
    addRow("Version", demo + R"( Version="2.0")", minimal,
           pack() + linkTo("T1", "T1-Demo-2.0", " --name Demo --version 2.0"));
    addRow("Svnversion", demo + R"( Svnversion="TRUE")", minimal,
           "svnversion ''\n" + pack()
                   + linkTo("T1", "T1-Demo-#1234", " --name Demo --version #1234"));
    addRow("Svnversion off", demo + R"( Svnversion="No")", minimal,
           pack() + linkTo("T1", "T1-Demo"));
    addRow("directories", demo + R"( ProjectDirectory="." ObjectDirectory="o" OutputDirectory="f")",
           minimal,
           QByteArray(pack() + linkTo("T1", "T1-Demo"))
                   .replace(" obj/", " ./o/")
                   .replace(" firmware/", " ./f/")
                   .replace("../sdk", "./../sdk"));
    addRow("KeyFile", demo + R"( KeyFile="$SDK/a.key")", minimal,
           pack() + linkTo("T1", "T1-Demo", " -C ../sdk/a.key --name Demo"));
    addRow("TagMap and StateFile", demo + R"( TagMap="t" StateFile="s")", minimal,
           pack() + linkTo("T1", "T1-Demo"));
    addRow("unknown attributes", demo + R"( EncryptInstaller="perhaps" Colour="x")", minimal,
           pack() + linkTo("T1", "T1-Demo"));
    addRow("blank text everywhere", demo,
           " \n\t<Target Model=\"T1\"> \n</Target> <Filesystem>\n"
           "</Filesystem><!-- text --> ",
           pack() + linkTo("T1", "T1-Demo"));
    const QByteArray installer =
            "ztmkromfs -x .svn --out obj/installer.romfs --label root"
            " --merge ../sdk/kernel/install.romfs --destination /usr/share/firmware.ztf"
            " --in firmware/T1-Demo-firmware.ztf"
            " --destination /usr/share/mbr.bin --in ../sdk/kernel/T1-boot.bin\n"
            "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/installer.romfs"
            " --output firmware/T1-Demo-install.ztf --name 'Demo [Installer]'\n";
    addRow("BuildInstaller and IncludeMBR", demo + R"( BuildInstaller="1" IncludeMBR="yes")",
           minimal, pack() + linkTo("T1", "T1-Demo") + installer);
    addRow("BuildInstaller and IncludeMBR of the target", demo,
           R"(<Target Model="T1" BuildInstaller="1" IncludeMBR="yes"/><Filesystem/>)",
           pack() + linkTo("T1", "T1-Demo") + installer);
    addRow("no installer for the target", demo + R"( BuildInstaller="1")",
           R"(<Target Model="T1" BuildInstaller="no"/><Filesystem/>)",
           pack() + linkTo("T1", "T1-Demo"));
}

void tst_FirstSchema::targetRows()
{
    addRow("two targets", demo, "<Target Model=\"B\"/><Filesystem/><Target Model=\"A\"/>",
           pack() + linkTo("B", "B-Demo") + linkTo("A", "A-Demo"));
    addRow("empty model", demo, "<Target Model=\"\"/><Filesystem/>", pack() + linkTo("", "-Demo"));
    addRow("settings of a target end with it", demo,
           R"(<Target Model="B" BuildInstaller="0" IncludeMBR="0"/><Filesystem/><Target Model="A"/>)",
           pack() + linkTo("B", "B-Demo") + linkTo("A", "A-Demo"));
}

void tst_FirstSchema::mergeRows()
{
    const auto filesystem = [](const QByteArray &attributes, const QByteArray &merges) {
        return "<Filesystem " + attributes + ">" + merges + "</Filesystem>";
    };
    addRow("filesystem attributes", demo,
           filesystem(R"(Type="romfs" Label="root" IncludeBase="yes" Verbose="0")", ""),
           pack("--merge ../sdk/kernel/base.romfs "));
    addRow("base off", demo, filesystem(R"(IncludeBase="0")", ""), pack());
    addRow("file", demo,
           filesystem("", R"(<Merge Type="File" Destination="/etc">data/x.cfg</Merge>)"),
           pack("-D /etc -i data/x.cfg "));
    addRow("source keeps its blanks", demo,
           filesystem("", "<Merge Type=\"File\"> data/x.cfg\n</Merge>"),
           pack("-i ' data/x.cfg\\n' "));
    addRow("empty source", demo, filesystem("", "<Merge Type=\"File\"/>"), pack("-i '' "));
    addRow("only the last piece of a source counts", demo,
           filesystem("", "<Merge Type=\"File\">one<![CDATA[two]]></Merge>"), pack("-i two "));
    addRow("archive", demo,
           filesystem("", R"(<Merge Type="Archive" Destination="/a">$SDK/a.romfs</Merge>)"),
           pack("-D /a --merge ../sdk/a.romfs "));
    addRow("one destination for two", demo,
           filesystem("", R"(<Merge Type="File" Destination="/a">b</Merge>
                             <Merge Type="File" Destination="/a">c</Merge>)"),
           pack("-D /a -i b -i c "));
    addRow("destination ends with its merge", demo,
           filesystem("", R"(<Merge Type="File" Destination="/a">b</Merge>
                             <Merge Type="File">c</Merge>)"),
           pack("-D /a -i b -D / -i c ").replace("ztmkromfs", "ztmkromfs@"));
}

void tst_FirstSchema::callsFollowTheProjectFile_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArray>("calls");
    projectRows();
    targetRows();
    mergeRows();
}

void tst_FirstSchema::callsFollowTheProjectFile()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, children);
    QFETCH(QByteArray, calls);
    World world;
    world.write("sdk/kernel/T1-boot.bin");
    world.firstSchemaProject(attributes, children);
    SAME(world.run({"-q"}).text(), report(0, calls));
}

void tst_FirstSchema::luaIsCompiledOnlyWhereItIsAskedFor_data()
{
    QTest::addColumn<QByteArray>("project");
    QTest::addColumn<QByteArray>("filesystem");
    QTest::addColumn<QByteArray>("merge");
    QTest::addColumn<bool>("compiled");

    const QByteArray on = R"( CompileLua="true")";
    const QByteArray off = R"( CompileLua="false")";
    const QByteArray unset;
    QTest::newRow("nowhere") << unset << unset << unset << false;
    QTest::newRow("the project's word does not count") << on << unset << unset << false;
    QTest::newRow("filesystem") << unset << on << unset << true;
    QTest::newRow("filesystem against the project") << off << on << unset << true;
    QTest::newRow("merge") << unset << unset << on << true;
    QTest::newRow("merge against the filesystem") << unset << off << on << true;
    QTest::newRow("filesystem on, merge off") << on << on << off << false;
}

void tst_FirstSchema::luaIsCompiledOnlyWhereItIsAskedFor()
{
    QFETCH(QByteArray, project);
    QFETCH(QByteArray, filesystem);
    QFETCH(QByteArray, merge);
    QFETCH(bool, compiled);
    World world;
    world.write("project/root/a.lua", "source\n");
    world.write("project/more/b.lua", "source\n");
    world.firstSchemaProject(demo + project, "<Filesystem" + filesystem
                                                     + "><Merge Type=\"Directory\"" + merge
                                                     + ">root</Merge></Filesystem>");
    const QByteArray object = compiled ? "obj/root/a.luo" : "obj/root/a.lua";
    SAME(world.run({"-q"}).text(),
         report(0, (compiled ? "ztluac -o obj/root/a.luo -- root/a.lua\n" : QByteArray())
                           + pack("-i root -D a.lua -i " + object + ' ')));
    SAME(world.tree("project/obj"),
         (compiled ? "root/\nroot/a.luo\n" : "root/\nroot/a.lua\n") + QByteArray("version.txt\n"));
    if (!compiled)
        SAME(world.read("project/obj/root/a.lua"), "source\n");

    // What one merge says does not hold for the next.
    world.firstSchemaProject(demo,
                             R"(<Filesystem><Merge Type="Directory" CompileLua="1">root</Merge>
                                      <Merge Type="Directory">more</Merge></Filesystem>)");
    world.run({"-q", "-A"});
    QVERIFY(world.exists("project/obj/root01/b.lua"));
    QVERIFY(!world.exists("project/obj/root01/b.luo"));
}

void tst_FirstSchema::verboseIsRead_data()
{
    QTest::addColumn<QByteArray>("verbose");
    QTest::addColumn<QByteArray>("letters");

    QTest::newRow("absent") << QByteArray() << QByteArray();
    QTest::newRow("one") << QByteArray(R"(Verbose="1")") << QByteArray();
    QTest::newRow("two") << QByteArray(R"(Verbose="2")") << QByteArray("-v ");
    QTest::newRow("three") << QByteArray(R"(Verbose="3")") << QByteArray("-vv ");
    QTest::newRow("no number") << QByteArray(R"(Verbose="abc")") << QByteArray();
    QTest::newRow("not decimal") << QByteArray(R"(Verbose="0x3")") << QByteArray();
    QTest::newRow("empty") << QByteArray(R"(Verbose="")") << QByteArray();
}

void tst_FirstSchema::verboseIsRead()
{
    QFETCH(QByteArray, verbose);
    QFETCH(QByteArray, letters);
    World world;
    world.firstSchemaProject(demo + " Verbose=\"x\"", "<Target Model=\"T1\" " + verbose
                                                              + " BuildInstaller=\"1\"/>"
                                                                "<Filesystem "
                                                              + verbose + "/>");
    const Result result = world.run({});
    QCOMPARE(result.status, 0);
    QCOMPARE(result.calls.size(), 4);
    SAME(result.calls[0].arguments.join(' '),
         letters + "-x .svn -o obj/root.romfs --label root -D /etc/version -i obj/version.txt");
    QVERIFY(result.err.contains("ztlink --kernel"));
    QCOMPARE(result.calls[2].arguments.first(), letters == "-vv " ? QByteArray("-v") : "-x");
}

void tst_FirstSchema::nothingElseIsAccepted_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("children");

    const auto child = [](const char *name, const QByteArray &children) {
        QTest::newRow(name) << demo << children;
    };
    const auto attribute = [](const QByteArray &text) {
        QTest::newRow(text.constData()) << demo + ' ' + text << QByteArray("<Filesystem/>");
    };
    for (const char *name :
         {"Startup", "Process", "Translation", "MTD16", "Merge", "Project", "Other", "filesystem"})
        QTest::newRow(name) << demo << '<' + QByteArray(name) + " Type=\"File\"/>";
    child("element in Target", "<Target Model=\"x\"><Target Model=\"y\"/></Target>");
    child("element in Filesystem", "<Filesystem><Process/></Filesystem>");
    child("element in Merge",
          "<Filesystem><Merge Type=\"File\"><Source>x</Source></Merge></Filesystem>");
    child("text in Project", "x");
    child("text in Target", "<Target Model=\"x\">y</Target>");
    child("text in Filesystem", "<Filesystem>y</Filesystem>");
    child("no Model", "<Target Verbose=\"1\"/>");
    child("other filesystem", "<Filesystem Type=\"ext2\"/>");
    child("empty filesystem type", "<Filesystem Type=\"\"/>");
    child("no Merge type", "<Filesystem><Merge>x</Merge></Filesystem>");
    child("other Merge type", "<Filesystem><Merge Type=\"file\">x</Merge></Filesystem>");
    child("prefixed element",
          "<p:Filesystem xmlns:p=\"http://zelta.example/Zelta/Project/2009\"/>");
    child("element of another namespace", "<Filesystem xmlns=\"http://zelta.example/\"/>");
    child("element of the current schema",
          "<Filesystem xmlns=\"http://zelta.example/Zelta/Project/2009/42\"/>");
    child("malformed", "<Filesystem></Target>");
    for (const char *name : {"Svnversion", "BuildInstaller", "IncludeMBR", "CompileLua"})
        attribute(QByteArray(name) + "=\"on\"");
    attribute("IncludeMBR=\"\"");
    for (const char *name : {"BuildInstaller", "IncludeMBR"})
        child(name, "<Target Model=\"x\" " + QByteArray(name) + "=\"on\"/>");
    for (const char *name : {"IncludeBase", "CompileLua"})
        child((QByteArray("Filesystem ") + name).constData(),
              "<Filesystem " + QByteArray(name) + "=\"on\"/>");
    child("Merge CompileLua",
          "<Filesystem><Merge Type=\"File\" CompileLua=\"on\">x</Merge></Filesystem>");
}

void tst_FirstSchema::nothingElseIsAccepted()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, children);
    World world;
    world.firstSchemaProject(attributes, children);
    SAME(world.run({"demo.ztp"}).text(), report(1, {}, noProject));
    QVERIFY(!world.exists("project/obj"));
}

void tst_FirstSchema::pathsFollowTheProjectFile()
{
    World world;
    world.firstSchemaProject(R"(Name="Demo" SDK="2.1")",
                             "<Target Model=\"T1\"/><Filesystem>"
                             "<Merge Type=\"File\">a</Merge></Filesystem>",
                             "project/sub/demo.ztp");
    world.makeDirectory("project/sub/sdk-2.1");
    SAME(world.run({"-q", "sub/demo.ztp"}).text(),
         report(0, "ztmkromfs -x .svn -o sub/obj/root.romfs --label root -i sub/a"
                   " -D /etc/version -i sub/obj/version.txt\n"
                   "ztlink --kernel sub/sdk-2.1/kernel/T1-kernel.bin --data sub/obj/root.romfs"
                   " --output sub/firmware/T1-Demo-firmware.ztf --name Demo\n"));
}

void tst_FirstSchema::otherOperationsWork()
{
    World world;
    world.firstSchemaProject(demo, "<Filesystem/>");
    world.makeDirectory("project/translations");
    world.write("project/firmware/T1-Demo-1-install.ztf");
    SAME(world.run({"-q", "--clearobsolete"}).text(),
         report(0, "(in $W/project/translations) ztlupdate --clearobsolete"
                   " --xml-report ../obj/translations/report.xml\n"));
    SAME(world.run({"-v", "--cleanfirmwarefolder"}).text(),
         report(0, {}, "[ztmake] Removing T1-Demo-1-install.ztf\n"));
}

QTEST_GUILESS_MAIN(tst_FirstSchema)
#include "tst_firstschema.moc"
