#pragma once

#include "companion/romfs.h"

#include <QMap>

/// A directory or file of an image, with the sizes of all below it.
struct SizeTree
{
    qint64 size = 0;
    QMap<QString, SizeTree> children; ///< by name; of a file: none

    static SizeTree of(const QList<RomfsFile> &files);
};
