#include "world.h"

#include <QTest>

// What the elements and attributes of a project file do, seen in the calls of a build. Each row
// has the project and every call of its build.

namespace {

/// A build of nothing but the image and one link, with places to be filled in.
QByteArray packAndLink(const QByteArray &merges = {}, const QByteArray &afterOutput = "--name Demo",
                       const QByteArray &stem = "T1-Demo")
{
    return "ztmkromfs -x .svn -o obj/root.romfs --label root " + merges
           + "-D /etc/version -i obj/version.txt\n"
           + "ztlink --kernel ../sdk/kernel/T1-kernel.bin --data obj/root.romfs --output firmware/"
           + stem + "-firmware.ztf " + afterOutput + '\n';
}

QByteArray pack(const QByteArray &merges)
{
    return "ztmkromfs -x .svn -o obj/root.romfs --label root " + merges
           + "-D /etc/version -i obj/version.txt\n";
}

const QByteArray Demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray Minimal = "<Target Model=\"T1\"/><Filesystem/>\n";

void addRow(const char *name, const QByteArray &attributes, const QByteArray &children,
            const QByteArray &calls)
{
    QTest::newRow(name) << attributes << children << calls;
}

QByteArray merge(const QByteArray &type, const QByteArray &content)
{
    return "<Filesystem><Merge Type=\"" + type + "\">" + content + "</Merge></Filesystem>\n";
}

} // namespace

class tst_ProjectAttributes : public QObject
{
    Q_OBJECT

private slots:
    void callsFollowTheProjectFile_data();
    void callsFollowTheProjectFile();

private:
    void projectRows();
    void directoryRows();
    void targetRows();
    void filesystemRows();
    void processRows();
    void repeatedRows();
};

void tst_ProjectAttributes::projectRows()
{
    addRow("least", Demo, Minimal, packAndLink());
    addRow("Version", Demo + R"( Version="1.2")", Minimal,
           packAndLink({}, "--name Demo --version 1.2", "T1-Demo-1.2"));
    addRow("Svnversion on", Demo + R"( Version="1.2-" Svnversion="yes")", Minimal,
           "svnversion ''\n"
                   + packAndLink({}, "--name Demo --version 1.2-#1234", "T1-Demo-1.2-#1234"));
    addRow("Svnversion off", Demo + R"( Svnversion="no")", Minimal, packAndLink());
    addRow("Svnversion empty", Demo + R"( Svnversion="")", Minimal, packAndLink());
    addRow("KeyFile", Demo + R"( KeyFile="keys/a.key")", Minimal,
           packAndLink({}, "-C keys/a.key --name Demo"));
    addRow("TagMap and StateFile", Demo + R"( TagMap="tags" StateFile="state")", Minimal,
           packAndLink());
    addRow("EncryptInstaller alone", Demo + R"( EncryptInstaller="1")", Minimal, packAndLink());
    addRow("IncludeMBR alone", Demo + R"( IncludeMBR="1")", Minimal, packAndLink());
    addRow("unknown attributes", Demo + R"( name="x" Colour="blue")", Minimal, packAndLink());
    addRow("blanks in the name", R"(Name="My Box" SDK="../sdk")", Minimal,
           packAndLink({}, "--name 'My Box'")
                   .replace("firmware/T1-Demo-firmware.ztf", "'firmware/T1-My Box-firmware.ztf'"));
    addRow("Startup", Demo, "<Startup File=\"/usr/a.lua\"/>" + Minimal,
           packAndLink("").replace(
                   "-i obj/version.txt\n",
                   "-i obj/version.txt -D /etc/autoexec.lua -i obj/autoexec.lua\n"));
    addRow("Startup without a file", Demo, "<Startup Interactive=\"true\"/>" + Minimal,
           packAndLink());
}

void tst_ProjectAttributes::directoryRows()
{
    const auto moved = [](QByteArray calls, const char *from, const char *to) {
        return calls.replace(from, to);
    };
    addRow("ObjectDirectory", Demo + R"( ObjectDirectory="build/out")", Minimal,
           moved(packAndLink(), " obj/", " build/out/"));
    addRow("ObjectDirectory with a slash", Demo + R"( ObjectDirectory="build/")", Minimal,
           moved(packAndLink(), " obj/", " build/"));
    addRow("ObjectDirectory in the SDK", Demo + R"( ObjectDirectory="$SDK/build")", Minimal,
           moved(packAndLink(), " obj/", " ../sdk/build/"));
    addRow("OutputDirectory", Demo + R"( OutputDirectory="../out")", Minimal,
           moved(packAndLink(), " firmware/", " ../out/"));
    addRow("OutputDirectory in the SDK", Demo + R"( OutputDirectory="$SDK")", Minimal,
           moved(packAndLink(), " firmware/", " ../sdk/"));
    addRow("ProjectDirectory", Demo + R"( ProjectDirectory="../sdk/../project/")",
           merge("Archive", "<Source>a.romfs</Source>"),
           "ztmkromfs -x .svn -o ../sdk/../project/obj/root.romfs --label root"
           " --merge ../sdk/../project/a.romfs -D /etc/version"
           " -i ../sdk/../project/obj/version.txt\n");
    addRow("ProjectDirectory, all three",
           Demo + R"( ProjectDirectory="." KeyFile="k")"
                   + R"( ObjectDirectory="o" OutputDirectory="f")",
           Minimal,
           "ztmkromfs -x .svn -o ./o/root.romfs --label root -D /etc/version -i ./o/version.txt\n"
           "ztlink --kernel ./../sdk/kernel/T1-kernel.bin --data ./o/root.romfs"
           " --output ./f/T1-Demo-firmware.ztf -C ./k --name Demo\n");
    addRow("KeyFile in the SDK", Demo + R"( KeyFile="$SDK/keys/a.key")", Minimal,
           packAndLink({}, "-C ../sdk/keys/a.key --name Demo"));
    addRow("absolute KeyFile", Demo + R"( KeyFile="/keys/a.key")", Minimal,
           packAndLink({}, "-C /keys/a.key --name Demo"));
    addRow("KeyFile that only looks like the SDK", Demo + R"( KeyFile="$SDKS/a.key")", Minimal,
           packAndLink({}, "-C '$SDKS/a.key' --name Demo"));
    addRow("KeyFile in lower-case sdk", Demo + R"( KeyFile="$sdk/a.key")", Minimal,
           packAndLink({}, "-C '$sdk/a.key' --name Demo"));
}

void tst_ProjectAttributes::targetRows()
{
    const auto link = [](const QByteArray &model) {
        return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/root.romfs"
               + " --output firmware/" + model + "-Demo-firmware.ztf --name Demo\n";
    };
    addRow("no target", Demo, "<Filesystem/>", pack(""));
    addRow("two targets", Demo, "<Target Model=\"B\"/><Filesystem/><Target Model=\"A\"/>",
           pack("") + link("B") + link("A"));
    addRow("the same target twice", Demo, "<Target Model=\"B\"/><Filesystem/><Target Model=\"B\"/>",
           pack("") + link("B") + link("B"));
    addRow("empty model", Demo, "<Target Model=\"\"/><Filesystem/>", pack("") + link(""));
    addRow("other attributes but no model", Demo, "<Target IncludeMBR=\"1\"/><Filesystem/>",
           pack("")
                   + "ztlink --kernel ../sdk/kernel/-kernel.bin --data obj/root.romfs"
                     " --output firmware/-Demo-firmware.ztf --name Demo\n");
    addRow("comment in Target", Demo, "<Target Model=\"T1\"> <!-- c -->\n</Target><Filesystem/>",
           packAndLink());
}

void tst_ProjectAttributes::filesystemRows()
{
    addRow("filesystem type", Demo, "<Filesystem Type=\"romfs\" Label=\"root\"/>", pack(""));
    addRow("empty filesystem type", Demo, "<Filesystem Type=\"\" Label=\"\"/>", pack(""));
    addRow("archive", Demo, merge("Archive", "<Source>a.romfs</Source>"), pack("--merge a.romfs "));
    addRow("archive with a destination", Demo,
           merge("Archive", "<Source>a.romfs</Source><Destination>/b</Destination>"),
           pack("-D /b --merge a.romfs "));
    addRow("file", Demo, merge("File", "<Source>a.txt</Source><Destination>/etc/b</Destination>"),
           pack("-D /etc/b -i a.txt "));
    addRow("directory", Demo, merge("Directory", "<Destination>x</Destination><Source>a</Source>"),
           pack("-D x -i a "));
    addRow("no source", Demo, merge("File", ""), pack("-i '' "));
    addRow("empty sources", Demo, merge("File", "<Source/><Destination></Destination>"),
           pack("-i '' "));
    addRow("blanks in the source are kept", Demo, merge("File", "<Source> a b </Source>"),
           pack("-i ' a b ' "));
    addRow("comment after the source", Demo, merge("File", "<Source>a<!-- c --></Source>"),
           pack("-i a "));
    addRow("source in the SDK", Demo, merge("File", "<Source>$SDK/share/a</Source>"),
           pack("-i ../sdk/share/a "));
    addRow("the SDK itself as the source", Demo, merge("Archive", "<Source>$SDK</Source>"),
           pack("--merge ../sdk/ "));
    addRow("absolute source", Demo, merge("File", "<Source>/a</Source>"), pack("-i /a "));
    addRow("second source wins", Demo, merge("File", "<Source>a</Source><Source>b</Source>"),
           pack("-i b "));
}

void tst_ProjectAttributes::processRows()
{
    const auto project = [](const QByteArray &process) {
        return merge("Directory", "<Source>root</Source>") + "<Process>" + process + "</Process>";
    };
    const QByteArray preprocess = "ztlpp --strip --trim -I ../sdk/usr/include --out obj/root/a.lui"
                                  " --root root -- root/a.lua\n";
    const QByteArray compile = "ztluac -o obj/root/a.luo -- obj/root/a.lui\n";
    const auto packed = [](const char *object) {
        return pack("-i root -D a.lua -i obj/root/" + QByteArray(object) + ' ');
    };
    addRow("processing by default", Demo, project(""), preprocess + compile + packed("a.luo"));
    addRow("Preprocess off", Demo, project(R"(<Preprocess Type="Ztlpp" Enabled="no"/>)"),
           "ztluac -o obj/root/a.luo -- root/a.lua\n" + packed("a.luo"));
    addRow("Compile off", Demo, project(R"(<Compile Type="Lua" Enabled="no"/>)"),
           preprocess + packed("a.lui"));
    addRow("both off", Demo,
           project(R"(<Compile Type="Lua" Enabled="0"/><Preprocess Type="Ztlpp" Enabled="0"/>)"),
           packed("a.lua"));
    addRow("RemoveComments off", Demo, project(R"(<Preprocess Type="Ztlpp" RemoveComments="no"/>)"),
           QByteArray(preprocess).replace("--strip ", "") + compile + packed("a.luo"));
    addRow("SimplifyWhitespace off", Demo,
           project(R"(<Preprocess Type="Ztlpp" SimplifyWhitespace="no"/>)"),
           QByteArray(preprocess).replace("--trim ", "") + compile + packed("a.luo"));
    addRow("Strip on", Demo, project(R"(<Compile Type="Lua" Strip="yes"/>)"),
           preprocess + QByteArray(compile).replace("-o", "-s -o") + packed("a.luo"));
    addRow("Strict on", Demo, project(R"(<Compile Type="Lua" Strict="yes"/>)"),
           preprocess + compile + packed("a.luo"));
    addRow("Include", Demo,
           project("<Preprocess Type=\"Ztlpp\"><Include>b</Include><Include>$SDK/a</Include>"
                   "<Include> </Include><Include/></Preprocess>"),
           QByteArray(preprocess).replace("--out", "-I b -I '$SDK/a' -I ' ' -I '' --out") + compile
                   + packed("a.luo"));
}

void tst_ProjectAttributes::repeatedRows()
{
    addRow("second Startup wins", Demo,
           "<Startup File=\"/usr/a.lua\"/><Startup File=\"\"/>" + Minimal, packAndLink());
    addRow("second Process adds", Demo,
           merge("Directory", "<Source>root</Source>")
                   + R"(<Process><Preprocess Type="Ztlpp" RemoveComments="no">
                       <Include>a</Include></Preprocess></Process>
                       <Process><Preprocess Type="Ztlpp"><Include>b</Include></Preprocess>
                       <Compile Type="Lua" Strip="1"/></Process>)",
           "ztlpp --strip --trim -I ../sdk/usr/include -I a -I b --out obj/root/a.lui --root root"
           " -- root/a.lua\nztluac -s -o obj/root/a.luo -- obj/root/a.lui\n"
                   + pack("-i root -D a.lua -i obj/root/a.luo "));
    addRow("second MTD16 wins", Demo,
           "<MTD16 Enabled=\"1\"><Source>a.mtdef</Source></MTD16><MTD16/>" + Minimal,
           packAndLink());
    addRow("second Translation wins", Demo,
           "<Translation Enabled=\"1\"><Language>de</Language></Translation><Translation/>"
                   + Minimal,
           packAndLink());
}

void tst_ProjectAttributes::callsFollowTheProjectFile_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QByteArray>("calls");
    projectRows();
    directoryRows();
    targetRows();
    filesystemRows();
    processRows();
    repeatedRows();
}

void tst_ProjectAttributes::callsFollowTheProjectFile()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QByteArray, children);
    QFETCH(QByteArray, calls);
    World world;
    world.project(attributes, children);
    world.write("project/root/a.lua");
    // Seventeen arguments and more travel in a file, which other tests look at.
    Result result = world.run({"-q"});
    for (Call &call : result.calls)
        call.responseFile.clear();
    SAME(result.text(), report(0, calls));
}

QTEST_GUILESS_MAIN(tst_ProjectAttributes)
#include "tst_projectattributes.moc"
