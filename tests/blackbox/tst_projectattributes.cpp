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

const QByteArray demo = R"(Name="Demo" SDK="../sdk")";
const QByteArray minimal = "<Target Model=\"T1\"/><Filesystem/>\n";

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
    addRow("least", demo, minimal, packAndLink());
    addRow("Version", demo + R"( Version="1.2")", minimal,
           packAndLink({}, "--name Demo --version 1.2", "T1-Demo-1.2"));
    addRow("Svnversion on", demo + R"( Version="1.2-" Svnversion="yes")", minimal,
           "svnversion ''\n"
                   + packAndLink({}, "--name Demo --version 1.2-#1234", "T1-Demo-1.2-#1234"));
    addRow("Svnversion off", demo + R"( Svnversion="no")", minimal, packAndLink());
    addRow("Svnversion empty", demo + R"( Svnversion="")", minimal, packAndLink());
    addRow("KeyFile", demo + R"( KeyFile="keys/a.key")", minimal,
           packAndLink({}, "-C keys/a.key --name Demo"));
    addRow("TagMap and StateFile", demo + R"( TagMap="tags" StateFile="state")", minimal,
           packAndLink());
    addRow("EncryptInstaller alone", demo + R"( EncryptInstaller="1")", minimal, packAndLink());
    addRow("IncludeMBR alone", demo + R"( IncludeMBR="1")", minimal, packAndLink());
    addRow("unknown attributes", demo + R"( name="x" Colour="blue")", minimal, packAndLink());
    addRow("blanks in the name", R"(Name="My Box" SDK="../sdk")", minimal,
           packAndLink({}, "--name 'My Box'")
                   .replace("firmware/T1-Demo-firmware.ztf", "'firmware/T1-My Box-firmware.ztf'"));
    addRow("Startup", demo, "<Startup File=\"/usr/a.lua\"/>" + minimal,
           packAndLink("").replace(
                   "-i obj/version.txt\n",
                   "-i obj/version.txt -D /etc/autoexec.lua -i obj/autoexec.lua\n"));
    addRow("Startup without a file", demo, "<Startup Interactive=\"true\"/>" + minimal,
           packAndLink());
}

void tst_ProjectAttributes::directoryRows()
{
    const auto moved = [](QByteArray calls, const char *from, const char *to) {
        return calls.replace(from, to);
    };
    addRow("ObjectDirectory", demo + R"( ObjectDirectory="build/out")", minimal,
           moved(packAndLink(), " obj/", " build/out/"));
    addRow("ObjectDirectory with a slash", demo + R"( ObjectDirectory="build/")", minimal,
           moved(packAndLink(), " obj/", " build/"));
    addRow("ObjectDirectory in the SDK", demo + R"( ObjectDirectory="$SDK/build")", minimal,
           moved(packAndLink(), " obj/", " ../sdk/build/"));
    addRow("OutputDirectory", demo + R"( OutputDirectory="../out")", minimal,
           moved(packAndLink(), " firmware/", " ../out/"));
    addRow("OutputDirectory in the SDK", demo + R"( OutputDirectory="$SDK")", minimal,
           moved(packAndLink(), " firmware/", " ../sdk/"));
    addRow("ProjectDirectory", demo + R"( ProjectDirectory="../sdk/../project/")",
           merge("Archive", "<Source>a.romfs</Source>"),
           "ztmkromfs -x .svn -o ../sdk/../project/obj/root.romfs --label root"
           " --merge ../sdk/../project/a.romfs -D /etc/version"
           " -i ../sdk/../project/obj/version.txt\n");
    addRow("ProjectDirectory, all three",
           demo + R"( ProjectDirectory="." KeyFile="k")"
                   + R"( ObjectDirectory="o" OutputDirectory="f")",
           minimal,
           "ztmkromfs -x .svn -o ./o/root.romfs --label root -D /etc/version -i ./o/version.txt\n"
           "ztlink --kernel ./../sdk/kernel/T1-kernel.bin --data ./o/root.romfs"
           " --output ./f/T1-Demo-firmware.ztf -C ./k --name Demo\n");
    addRow("KeyFile in the SDK", demo + R"( KeyFile="$SDK/keys/a.key")", minimal,
           packAndLink({}, "-C ../sdk/keys/a.key --name Demo"));
    addRow("absolute KeyFile", demo + R"( KeyFile="/keys/a.key")", minimal,
           packAndLink({}, "-C /keys/a.key --name Demo"));
    addRow("KeyFile that only looks like the SDK", demo + R"( KeyFile="$SDKS/a.key")", minimal,
           packAndLink({}, "-C '$SDKS/a.key' --name Demo"));
    addRow("KeyFile in lower-case sdk", demo + R"( KeyFile="$sdk/a.key")", minimal,
           packAndLink({}, "-C '$sdk/a.key' --name Demo"));
}

void tst_ProjectAttributes::targetRows()
{
    const auto link = [](const QByteArray &model) {
        return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/root.romfs"
               + " --output firmware/" + model + "-Demo-firmware.ztf --name Demo\n";
    };
    addRow("no target", demo, "<Filesystem/>", pack(""));
    addRow("two targets", demo, "<Target Model=\"B\"/><Filesystem/><Target Model=\"A\"/>",
           pack("") + link("B") + link("A"));
    addRow("the same target twice", demo, "<Target Model=\"B\"/><Filesystem/><Target Model=\"B\"/>",
           pack("") + link("B") + link("B"));
    addRow("empty model", demo, "<Target Model=\"\"/><Filesystem/>", pack("") + link(""));
    addRow("other attributes but no model", demo, "<Target IncludeMBR=\"1\"/><Filesystem/>",
           pack("")
                   + "ztlink --kernel ../sdk/kernel/-kernel.bin --data obj/root.romfs"
                     " --output firmware/-Demo-firmware.ztf --name Demo\n");
    addRow("comment in Target", demo, "<Target Model=\"T1\"> <!-- c -->\n</Target><Filesystem/>",
           packAndLink());
}

void tst_ProjectAttributes::filesystemRows()
{
    addRow("filesystem type", demo, "<Filesystem Type=\"romfs\" Label=\"root\"/>", pack(""));
    addRow("empty filesystem type", demo, "<Filesystem Type=\"\" Label=\"\"/>", pack(""));
    addRow("archive", demo, merge("Archive", "<Source>a.romfs</Source>"), pack("--merge a.romfs "));
    addRow("archive with a destination", demo,
           merge("Archive", "<Source>a.romfs</Source><Destination>/b</Destination>"),
           pack("-D /b --merge a.romfs "));
    addRow("file", demo, merge("File", "<Source>a.txt</Source><Destination>/etc/b</Destination>"),
           pack("-D /etc/b -i a.txt "));
    addRow("directory", demo, merge("Directory", "<Destination>x</Destination><Source>a</Source>"),
           pack("-D x -i a "));
    addRow("no source", demo, merge("File", ""), pack("-i '' "));
    addRow("empty sources", demo, merge("File", "<Source/><Destination></Destination>"),
           pack("-i '' "));
    addRow("blanks in the source are kept", demo, merge("File", "<Source> a b </Source>"),
           pack("-i ' a b ' "));
    addRow("comment after the source", demo, merge("File", "<Source>a<!-- c --></Source>"),
           pack("-i a "));
    addRow("source in the SDK", demo, merge("File", "<Source>$SDK/share/a</Source>"),
           pack("-i ../sdk/share/a "));
    addRow("the SDK itself as the source", demo, merge("Archive", "<Source>$SDK</Source>"),
           pack("--merge ../sdk/ "));
    addRow("absolute source", demo, merge("File", "<Source>/a</Source>"), pack("-i /a "));
    addRow("second source wins", demo, merge("File", "<Source>a</Source><Source>b</Source>"),
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
    addRow("processing by default", demo, project(""), preprocess + compile + packed("a.luo"));
    addRow("Preprocess off", demo, project(R"(<Preprocess Type="Ztlpp" Enabled="no"/>)"),
           "ztluac -o obj/root/a.luo -- root/a.lua\n" + packed("a.luo"));
    addRow("Compile off", demo, project(R"(<Compile Type="Lua" Enabled="no"/>)"),
           preprocess + packed("a.lui"));
    addRow("both off", demo,
           project(R"(<Compile Type="Lua" Enabled="0"/><Preprocess Type="Ztlpp" Enabled="0"/>)"),
           packed("a.lua"));
    addRow("RemoveComments off", demo, project(R"(<Preprocess Type="Ztlpp" RemoveComments="no"/>)"),
           QByteArray(preprocess).replace("--strip ", "") + compile + packed("a.luo"));
    addRow("SimplifyWhitespace off", demo,
           project(R"(<Preprocess Type="Ztlpp" SimplifyWhitespace="no"/>)"),
           QByteArray(preprocess).replace("--trim ", "") + compile + packed("a.luo"));
    addRow("Strip on", demo, project(R"(<Compile Type="Lua" Strip="yes"/>)"),
           preprocess + QByteArray(compile).replace("-o", "-s -o") + packed("a.luo"));
    addRow("Strict on", demo, project(R"(<Compile Type="Lua" Strict="yes"/>)"),
           preprocess + compile + packed("a.luo"));
    addRow("Include", demo,
           project("<Preprocess Type=\"Ztlpp\"><Include>b</Include><Include>$SDK/a</Include>"
                   "<Include> </Include><Include/></Preprocess>"),
           QByteArray(preprocess).replace("--out", "-I b -I '$SDK/a' -I ' ' -I '' --out") + compile
                   + packed("a.luo"));
}

void tst_ProjectAttributes::repeatedRows()
{
    addRow("second Startup wins", demo,
           "<Startup File=\"/usr/a.lua\"/><Startup File=\"\"/>" + minimal, packAndLink());
    addRow("second Process adds", demo,
           merge("Directory", "<Source>root</Source>")
                   + R"(<Process><Preprocess Type="Ztlpp" RemoveComments="no">
                       <Include>a</Include></Preprocess></Process>
                       <Process><Preprocess Type="Ztlpp"><Include>b</Include></Preprocess>
                       <Compile Type="Lua" Strip="1"/></Process>)",
           "ztlpp --strip --trim -I ../sdk/usr/include -I a -I b --out obj/root/a.lui --root root"
           " -- root/a.lua\nztluac -s -o obj/root/a.luo -- obj/root/a.lui\n"
                   + pack("-i root -D a.lua -i obj/root/a.luo "));
    addRow("second MTD16 wins", demo,
           "<MTD16 Enabled=\"1\"><Source>a.mtdef</Source></MTD16><MTD16/>" + minimal,
           packAndLink());
    addRow("second Translation wins", demo,
           "<Translation Enabled=\"1\"><Language>de</Language></Translation><Translation/>"
                   + minimal,
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
