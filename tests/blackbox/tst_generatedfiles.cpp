#include "projects.h"
#include "rows.h"

#include <QFile>

namespace {

const QByteArray packed = "ztmkromfs -x .svn -o obj/root.romfs --label root -D /etc/version"
                          " -i obj/version.txt -D /etc/autoexec.lua -i obj/autoexec.lua\n";

/// The start-up script with all its places filled in.
QByteArray script(const char *nilIndex, const char *translations, const char *directory,
                  const char *main, const char *result, const char *end)
{
    const QByteArray text = R"(local function traceback(msg)
  if (type(msg) ~= "string") then return msg end
  return debug.traceback(msg, 2)
end

if (table._set_allow_nil_index) then
  table._set_allow_nil_index(%1)
end

%2
os.chdir("%3")
local code, res, err
code, err = loadfile("%4")
if (code) then
  res, err = xpcall(code, traceback)
  if (res) then err = "%5" end
end

print(string.format("lua: %s", tostring(err)))
os.syslog(string.format("[Lua] %s", tostring(err)))
%6)";
    return QString::fromUtf8(text)
            .arg(QString::fromUtf8(nilIndex), QString::fromUtf8(translations),
                 QString::fromUtf8(directory), QString::fromUtf8(main), QString::fromUtf8(result),
                 QString::fromUtf8(end))
            .toUtf8();
}

} // namespace

class TestGeneratedFiles : public QObject
{
    Q_OBJECT

private slots:
    // A disk that is full stays full: what was not written is not written later, either.
    void noRoom_data()
    {
        Rows<QByteArray, QByteArray, QByteArray> row; // attributes, children, file
        const QByteArray text(5'000, 'x');
        row("version", demo + " Version=\"" + text + '"', {}, "version.txt");
        row("start-up script", demo, "<Startup File=\"/" + text + "\"/>", "autoexec.lua");
    }
    void noRoom()
    {
        const auto [attributes, children, file] = fetch<QByteArray, QByteArray, QByteArray>();
        World world(attributes, children);
        SAME(world.run({"-q"}, {.fileSizeLimit = 4'096}).text(),
             report(1, {}, "[ztmake] Error writing obj/" + file + ": File too large\n"));
    }

    void startupScript_data()
    {
        Rows<QByteArray, QByteArray> row; // children, expected
        const auto ended = [](const char *nilIndex, const char *translations, const char *directory,
                              const char *main) {
            return script(nilIndex, translations, directory, main,
                          "Application terminated unexpectedly.", "os.exit(1)\n");
        };
        const QByteArray plain = ended("true", "", ".", "main.lua");
        const QByteArray main = R"(<Startup File="main.lua"/>)";
        const QByteArray strict = R"(<Process><Compile Type="Lua" Strict="1"/></Process>)";
        row("plain", main, plain);
        row("not interactive", R"(<Startup File="main.lua" Interactive="no"/>)", plain);
        row("interactive", R"(<Startup File="main.lua" Interactive="yes"/>)",
            script("true", "", ".", "main.lua", "OK.", ""));
        row("in a directory", R"(<Startup File="lib/x/main.lua"/>)",
            ended("true", "", "lib/x", "lib/x/main.lua"));
        row("in the root directory", R"(<Startup File="/main.lua"/>)",
            ended("true", "", "/", "/main.lua"));
        row("name without an extension", R"(<Startup File="/a.b/main"/>)",
            ended("true", "", "/a.b", "/a.b/main"));
        row("nothing is escaped", R"(<Startup File="/a&quot;b/größe\d$SDK.lua"/>)",
            ended("true", "", "/a\"b", "/a\"b/größe\\d$SDK.lua"));
        row("strict", main + strict, ended("false", "", ".", "main.lua"));
        row("not strict", main + QByteArray(strict).replace('1', '0'), plain);
        row("strict in the filesystem alone", main + filesystem(strict), plain);
        row("strict and interactive", R"(<Startup File="main.lua" Interactive="1"/>)" + strict,
            script("false", "", ".", "main.lua", "OK.", ""));
        row("translations", main + R"(<Translation Enabled="1" BaseDir="/usr/lib/lua"/>)",
            ended("true", "tr._translation_base_dir = \"/usr/lib/lua\"\n", ".", "main.lua"));
        row("translations that are off", main + R"(<Translation BaseDir="ü&quot;"/>)",
            ended("true", "tr._translation_base_dir = \"ü\"\"\n", ".", "main.lua"));
        row("translations without a directory", main + R"(<Translation Enabled="1"/>)", plain);
        row("placeholders are filled one after the other",
            R"(<Startup File="/~~MAIN~~/~~TRANSLATION_BASE_DIR_STATEMENT~~~~NILINDEX~~.lua"/>)",
            ended("true", "", "//~~MAIN~~/~~NILINDEX~~.lua", "/~~MAIN~~/~~NILINDEX~~.lua"));
    }
    void startupScript()
    {
        auto [children, expected] = fetch<QByteArray, QByteArray>();
        World world;
        if (!children.contains("<Filesystem>"))
            children += "<Filesystem/>";
        world.project(demo, children);
        SAME(world.run({"-q"}).text(), report(0, packed));
        SAME(world.read("project/obj/autoexec.lua"), expected);
    }

    void startupScriptIsWrittenAfresh()
    {
        World world;
        world.write("project/obj/autoexec.lua", QByteArray(5000, 'x'));
        world.write("project/obj/version.txt", QByteArray(5000, 'x'));
        world.setTime("project/obj/autoexec.lua", 1000);
        world.project(demo, "<Startup File=\"main.lua\"/><Filesystem/>");
        SAME(world.run({"-q"}).text(), report(0, packed));
        SAME(world.read("project/obj/autoexec.lua"),
             script("true", "", ".", "main.lua", "Application terminated unexpectedly.",
                    "os.exit(1)\n"));
        SAME(world.read("project/obj/version.txt"), "\n");
        // Without a start-up file an old script is neither written nor packed.
        world.write("project/obj/autoexec.lua", "old");
        world.project(demo, "<Startup Interactive=\"1\"/><Filesystem/>");
        SAME(world.run({"-q"}).text(),
             report(0,
                    QByteArray(packed).replace(" -D /etc/autoexec.lua -i obj/autoexec.lua", "")));
        SAME(world.read("project/obj/autoexec.lua"), "old");
    }

    void versionFile_data()
    {
        Rows<QByteArray, QByteArray> row; // attributes, content
        row("none", {}, "\n");
        row("version", R"(Version=" 1.0 beta ")", " 1.0 beta \n");
        row("other languages", R"(Version="größe")", "größe\n");
        row("revision", R"(Version="1.0-" Svnversion="1")", "1.0-#1234\n");
        row("revision alone", R"(Svnversion="1")", "#1234\n");
        row("no revision", R"(Version="1" Svnversion="0")", "1\n");
    }
    void versionFile()
    {
        const auto [attributes, content] = fetch<QByteArray, QByteArray>();
        World world(demo + ' ' + attributes, "");
        QCOMPARE(world.run({"-q"}).status, 0);
        SAME(world.read("project/obj/version.txt"), content);
        SAME(world.tree("project/obj"), "version.txt\n");
    }

    void fileThatCannotBeWritten_data()
    {
        Rows<QByteArray, QByteArray> row; // name, left
        row("version file", "obj/version.txt", "root/\nversion.txt/\n");
        row("start-up script", "obj/autoexec.lua", "autoexec.lua/\nroot/\nversion.txt\n");
    }
    void fileThatCannotBeWritten()
    {
        const auto [name, left] = fetch<QByteArray, QByteArray>();
        World world;
        world.makeDirectory("project/" + name);
        world.project(demo, "<Startup File=\"main.lua\"/>" + tree());
        QFile file(QString::fromUtf8(world.path("project/" + name)));
        QVERIFY(!file.open(QIODevice::WriteOnly));
        SAME(world.run({"-q"}).text(),
             report(1, {},
                    "[ztmake] Error writing " + name + ": " + file.errorString().toUtf8() + '\n'));
        SAME(world.tree("project/obj"), left);
    }
};

QTEST_GUILESS_MAIN(TestGeneratedFiles)
#include "tst_generatedfiles.moc"
