#include "companion/contentof.h"

#include <QFile>
#include <QFileInfo>

std::optional<QByteArray> contentOf(const QString &path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray content = file.readAll();
    return file.error() == QFile::NoError ? std::optional(content) : std::nullopt;
}
