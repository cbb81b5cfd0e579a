#include "build/generatedfiles.h"

#include "files/rehearsal.h"
#include "model/projectspec.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

constexpr char scriptTemplate[] = R"lua(local function traceback(msg)
  if (type(msg) ~= "string") then return msg end
  return debug.traceback(msg, 2)
end

if (table._set_allow_nil_index) then
  table._set_allow_nil_index(~~NILINDEX~~)
end

~~TRANSLATION_BASE_DIR_STATEMENT~~
os.chdir("~~DIR~~")
local code, res, err
code, err = loadfile("~~MAIN~~")
if (code) then
  res, err = xpcall(code, traceback)
  if (res) then err = "~~RESULT~~" end
end

print(string.format("lua: %s", tostring(err)))
os.syslog(string.format("[Lua] %s", tostring(err)))
)lua";

} // namespace

QByteArray startupScript(const ProjectSpec &spec)
{
    // A device without a prompt takes a returning main program for a fault and ends with status 1;
    // an interactive one goes on to its prompt.
    const bool interactive = spec.interactiveAfterStartup();
    QByteArray script = scriptTemplate;
    script.replace("~~RESULT~~", interactive ? "OK." : "Application terminated unexpectedly.");
    if (!interactive)
        script += "os.exit(1)\n";

    QByteArray translationStatement;
    if (!spec.translationBaseDir.isEmpty()) {
        translationStatement =
                "tr._translation_base_dir = \"" + spec.translationBaseDir.toUtf8() + "\"\n";
    }
    script.replace("~~NILINDEX~~", spec.process.strictLua() ? "false" : "true");
    script.replace("~~DIR~~", QFileInfo(spec.startupFile).path().toUtf8());
    script.replace("~~MAIN~~", spec.startupFile.toUtf8());
    script.replace("~~TRANSLATION_BASE_DIR_STATEMENT~~", translationStatement);
    return script;
}

bool writeGeneratedFile(const QString &path, const QByteArray &content, QString *error)
{
    if (Rehearsal::isOn()) {
        Rehearsal::make(path);
        return true;
    }
    QFile file(path);
    bool ok = file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
    // A write that is cut short gives no reason; the next one does.
    for (qint64 written = 0; ok && written < content.size();) {
        const qint64 count = file.write(content.constData() + written, content.size() - written);
        written += count;
        ok = count > 0;
    }
    if (!ok)
        *error = u"Error writing %1: %2"_s.arg(path, file.errorString());
    return ok;
}
