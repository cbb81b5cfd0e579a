#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// A file of a romfs image.
struct RomfsFile
{
    QString path; ///< without a "/" in front
    qint64 size = 0;
};

/// @return the regular files of a romfs image, in the order of their paths; nothing when it is
/// none, or damaged
std::optional<QList<RomfsFile>> filesOfRomfs(QByteArrayView image);

/// @return the files of the first romfs image somewhere in @p firmware; nothing when there is
/// none, as when it is encrypted
std::optional<QList<RomfsFile>> filesOfFirmware(const QByteArray &firmware);
