#include "build/generatedfiles.h"

#include "model/projectspec.h"

#include "rows.h"

using namespace Qt::StringLiterals;

namespace {

QByteArray script(const QByteArray &nilIndex, const QByteArray &translation,
                  const QByteArray &directory, const QByteArray &mainFile,
                  const QByteArray &success, const QByteArray &lastLine)
{
    return "local function traceback(msg)\n"
           "  if (type(msg) ~= \"string\") then return msg end\n"
           "  return debug.traceback(msg, 2)\n"
           "end\n"
           "\n"
           "if (table._set_allow_nil_index) then\n"
           "  table._set_allow_nil_index("
           + nilIndex
           + ")\n"
             "end\n"
             "\n"
           + translation + "\n" + "os.chdir(\"" + directory + "\")\n"
           + "local code, res, err\n"
             "code, err = loadfile(\""
           + mainFile + "\")\n"
           + "if (code) then\n"
             "  res, err = xpcall(code, traceback)\n"
             "  if (res) then err = \""
           + success + "\" end\n"
           + "end\n"
             "\n"
             "print(string.format(\"lua: %s\", tostring(err)))\n"
             "os.syslog(string.format(\"[Lua] %s\", tostring(err)))\n"
           + lastLine;
}

} // namespace

class TestGeneratedFiles : public QObject
{
    Q_OBJECT

private slots:
    void nonInteractiveScriptEndsTheProgram()
    {
        for (const int interactive : {-1, 0}) {
            ProjectSpec spec;
            spec.startupFile = u"/usr/bin/main.lua"_s;
            spec.interactive = {interactive};
            QCOMPARE(startupScript(spec),
                     script("true", "", "/usr/bin", "/usr/bin/main.lua",
                            "Application terminated unexpectedly.", "os.exit(1)\n"));
        }
    }

    void interactiveScriptFallsThroughToThePrompt()
    {
        ProjectSpec spec;
        spec.startupFile = u"/usr/bin/main.lua"_s;
        spec.interactive = {1};
        spec.process.strict = {1};
        spec.translationBaseDir = u"/usr/lib/lüa"_s;
        QCOMPARE(startupScript(spec),
                 script("false", "tr._translation_base_dir = \"/usr/lib/lüa\"\n", "/usr/bin",
                        "/usr/bin/main.lua", "OK.", ""));
    }

    void directory_data()
    {
        Rows<QString, QByteArray> row; // startupFile, expected
        row("none", u"main.lua"_s, ".");
        row("below the root", u"/main.lua"_s, "/");
        row("relative", u"a/b/main.lua"_s, "a/b");
    }
    void directory()
    {
        const auto [startupFile, expected] = fetch<QString, QByteArray>();
        ProjectSpec spec;
        spec.startupFile = startupFile;
        QVERIFY(startupScript(spec).contains("\nos.chdir(\"" + expected + "\")\n"));
        QVERIFY(startupScript(spec).contains("loadfile(\"" + startupFile.toUtf8() + "\")\n"));
    }

    void pathsAreNotEscaped()
    {
        ProjectSpec spec;
        spec.startupFile = u"/a\"\\b.lua"_s;
        QVERIFY(startupScript(spec).contains("loadfile(\"/a\"\\b.lua\")\n"));
    }

    void placeholdersAreReplacedOneAfterTheOther()
    {
        ProjectSpec spec;
        spec.startupFile = u"/~~MAIN~~/~~TRANSLATION_BASE_DIR_STATEMENT~~~~NILINDEX~~.lua"_s;
        const QByteArray text = startupScript(spec);
        QVERIFY(text.contains("loadfile(\"/~~MAIN~~/~~NILINDEX~~.lua\")\n"));
        QVERIFY(text.contains("os.chdir(\"//~~MAIN~~/~~NILINDEX~~.lua\")\n"));
    }
};

QTEST_APPLESS_MAIN(TestGeneratedFiles)
#include "tst_generatedfiles.moc"
