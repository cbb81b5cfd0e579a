#include "companion/init.h"

#include "app/makeproject.h"
#include "companion/output.h"
#include "companion/sdkathand.h"
#include "xml/projectnamespaces.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <array>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr char projectTemplate[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<ZeltaProject xmlns="@NAMESPACE@"
              xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
              xsi:schemaLocation="@NAMESPACE@ @NAMESPACE@/zelta-project-2009-42.xsd">
    <Project Name="@NAME@" Version="0.1"@SDK@@KEY@>

        <!-- The Lua file that the device starts, as a path on the device. Interactive: when it
             ends, the device goes on to its Lua prompt. -->
        <Startup File="/usr/bin/@NAME@.lua" Interactive="true"/>

@TARGETS@
        <Process>
            <Preprocess Type="Ztlpp" RemoveComments="true" SimplifyWhitespace="true"/>
            <Compile Type="Lua" Strip="true"/>
        </Process>

        <!-- Everything below root gets into the image, Lua sources compiled. -->
        <Filesystem Type="romfs" Label="root" IncludeBase="true">
            <Merge Type="Directory">
                <Source>root</Source>
                <Destination>/</Destination>
            </Merge>
        </Filesystem>
@TRANSLATION@    </Project>
</ZeltaProject>
)";

constexpr char programText[] = R"(-- The program that the device starts.
local greeting = require("@NAME@.greeting")

print(greeting.text())
)";

constexpr char moduleText[] = R"(-- What the program says.
local greeting = {}

function greeting.text()
    return @TEXT@
end

return greeting
)";

constexpr char ignoredText[] = R"(# What builds make.
/obj/
/firmware/
/include/mtd16.lh
/root/usr/lib/lua/mtd16.lua
)";

constexpr char ignoredKeyText[] = R"(# Who has the key can sign firmware.
/keys/
)";

constexpr char catalogueText[] = R"(<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="@LANGUAGE@" sourcelanguage="en">
</TS>
)";

struct NewFile
{
    QString path;
    QString content;
    mode_t mode = 0666;
};

QString filledIn(const char *text, const QString &name, const QString &value)
{
    return QString::fromUtf8(text).replace(u'@' + name + u'@', value);
}

QString targetLines(const QStringList &models)
{
    QString lines;
    for (const QString &model : models)
        lines += u"        <Target Model=\"%1\"/>\n"_s.arg(model.toHtmlEscaped());
    return lines;
}

QString translationLines(const QStringList &languages)
{
    if (languages.isEmpty())
        return {};
    QString lines = u"\n        <!-- Texts in tr(…); their translations are in translations. -->\n"
                    "        <Translation Enabled=\"true\" BaseDir=\"/usr/lib/lua\">\n"
                    "            <Default>en</Default>\n"_s;
    for (const QString &language : languages)
        lines += u"            <Language>%1</Language>\n"_s.arg(language);
    return lines + u"        </Translation>\n"_s;
}

QString projectText(const QString &name, const QString &sdk, const InitOptions &options)
{
    QString text = QString::fromUtf8(projectTemplate);
    text.replace("@NAMESPACE@"_L1, QLatin1StringView(ProjectNamespaces::current));
    text.replace("@NAME@"_L1, name);
    text.replace("@SDK@"_L1, sdk.isEmpty() ? QString() : u" SDK=\"%1\""_s.arg(sdk.toHtmlEscaped()));
    text.replace("@KEY@"_L1, options.key ? u" KeyFile=\"keys/firmware.key\""_s : QString());
    text.replace("@TARGETS@"_L1, targetLines(options.models));
    text.replace("@TRANSLATION@"_L1, translationLines(options.languages));
    return text;
}

QString newKey()
{
    std::array<quint32, 8> words;
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    QString key;
    for (const quint32 word : words)
        key += u"%1"_s.arg(word, 8, 16, QChar(u'0'));
    return key + u'\n';
}

QList<NewFile> filesFor(const QString &name, const QString &sdk, const InitOptions &options)
{
    const QString greeting = u"\"Hello from %1\""_s.arg(name);
    QString ignored = QString::fromUtf8(ignoredText);
    if (options.key)
        ignored += QString::fromUtf8(ignoredKeyText);
    QList<NewFile> files{
            {name + u".ztp"_s, projectText(name, sdk, options)},
            {u".gitignore"_s, ignored},
            {u"root/usr/bin/%1.lua"_s.arg(name), filledIn(programText, u"NAME"_s, name)},
            {u"root/usr/lib/lua/%1/greeting.lua"_s.arg(name),
             filledIn(moduleText, u"TEXT"_s,
                      options.languages.isEmpty() ? greeting : u"tr(%1)"_s.arg(greeting))}};
    for (const QString &language : options.languages) {
        files.append({u"translations/%1.ts"_s.arg(language),
                      filledIn(catalogueText, u"LANGUAGE"_s, language)});
    }
    if (options.key)
        files.append({u"keys/firmware.key"_s, newKey(), 0600});
    return files;
}

/// @return false with the reason put out; a file that is there stays as it is
bool writeNew(const QString &path, const NewFile &file)
{
    const QByteArray text = file.content.toUtf8();
    QDir().mkpath(QFileInfo(path).path());
    const int descriptor = ::open(QFile::encodeName(path).constData(),
                                  O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, file.mode);
    const bool ok =
            descriptor >= 0
            && write(descriptor, text.constData(), static_cast<size_t>(text.size())) == text.size();
    if (!ok)
        printMessage(u"Error writing %1: %2"_s.arg(path, qt_error_string()));
    if (descriptor >= 0)
        close(descriptor);
    return ok;
}

bool isGoodName(const QString &name)
{
    static const QRegularExpression pattern(
            QRegularExpression::anchoredPattern(u"[A-Za-z0-9][A-Za-z0-9_-]*"_s));
    return pattern.match(name).hasMatch();
}

bool isThere(const QFileInfo &info)
{
    return info.exists() || info.isSymLink();
}

/// @return what stands where the new file @p path, or a directory for it in @p top, is to be; empty
/// when nothing does
QString obstacleTo(const QString &path, const QString &top)
{
    if (isThere(QFileInfo(path)))
        return path;
    for (QFileInfo above(QFileInfo(path).path());; above.setFile(above.path())) {
        if (isThere(above) && !above.isDir())
            return above.filePath();
        if (above.filePath() == top)
            return {};
    }
}

/// @return what is wrong with the options; empty when nothing is
QString mistakeIn(const InitOptions &options, const QString &name, const SdkAtHand &sdk)
{
    if (!isGoodName(name))
        return u"A name holds only the letters A to Z and a to z, digits, _ and -, and does not "
               "begin with _ or -: %1"_s.arg(name);
    for (const QString &language : options.languages) {
        if (!isGoodName(language))
            return u"A language has a name like de or de_AT: %1"_s.arg(language);
    }
    if (sdk.directory.isEmpty())
        return u"Cannot find SDK directory. Name one with --sdk, or set ZELTASDK."_s;
    const QStringList known = modelsOf(sdk.directory);
    if (known.isEmpty())
        return u"The SDK %1 has no kernel."_s.arg(sdk.directory);
    for (const QString &model : options.models) {
        if (!known.contains(model))
            return u"The SDK has no kernel for %1, only for %2."_s.arg(model, known.join(u", "_s));
    }
    return {};
}

} // namespace

int startProject(const InitOptions &wanted)
{
    InitOptions options = wanted;
    options.models.removeDuplicates();
    options.languages.removeDuplicates();
    const QString directory = QDir::cleanPath(options.path);
    const QString name = QFileInfo(directory).fileName();
    const SdkAtHand sdk = findSdk(options.sdk, u"%1/%2.ztp"_s.arg(directory, name));
    QString mistake = mistakeIn(options, name, sdk);
    if (options.models.isEmpty())
        options.models = modelsOf(sdk.directory).mid(0, 1);
    const QList<NewFile> files = filesFor(name, sdk.name, options);
    for (auto file = files.begin(); mistake.isEmpty() && file != files.end(); ++file) {
        const QString obstacle = obstacleTo(directory + u'/' + file->path, directory);
        if (!obstacle.isEmpty())
            mistake = u"%1 already exists; nothing was written."_s.arg(obstacle);
    }
    if (!mistake.isEmpty()) {
        printMessage(printable(mistake));
        return 1;
    }
    for (const NewFile &file : files) {
        if (!writeNew(directory + u'/' + file.path, file))
            return 1;
        printLine(directory + u'/' + file.path);
    }
    return 0;
}
