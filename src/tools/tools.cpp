#include "tools/tools.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include <array>

using namespace Qt::StringLiterals;

namespace Tools {

QString ensureDirectorySeparator(const QString &path)
{
    return path.isEmpty() || path.endsWith(u'/') ? path : path + u'/';
}

QString replaceExtension(const QString &name, const QString &extension)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    return (dot < 0 ? name + u'.' : name.left(dot + 1)) + extension;
}

QString safeFileName(const QString &text)
{
    QString safe = text;
    safe.removeIf([](QChar c) { return u":/\\?*"_s.contains(c); });
    return safe;
}

QString tokenName(QXmlStreamReader::TokenType type)
{
    static constexpr std::array names{
            "NoToken",      "Invalid",         "StartDocument",        "EndDocument",
            "StartElement", "EndElement",      "Characters",           "Comment",
            "DTD",          "EntityReference", "ProcessingInstruction"};
    const auto value = static_cast<size_t>(type);
    return value < names.size() ? QString::fromLatin1(names[value])
                                : QString::number(static_cast<int>(type));
}

QString findProfile(const QString &directory, const QString &extension)
{
    const QString pattern = u"*."_s + extension;
    const QStringList files = QDir().entryList({pattern}, QDir::Files | QDir::Readable, QDir::Name);
    const QString directoryName = QFileInfo(QDir(directory).absolutePath()).fileName();
    const QString prefix = ensureDirectorySeparator(directory);
    for (const QString &file : files) {
        if (QFileInfo(file).baseName() == directoryName)
            return prefix + file;
    }
    return files.size() == 1 ? prefix + files.first() : QString();
}

QString appDataPath()
{
    return QDir::homePath();
}

QString documentsPath()
{
    return ensureDirectorySeparator(QDir::homePath()) + u"Documents"_s;
}

} // namespace Tools
