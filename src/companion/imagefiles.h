#pragma once

#include <QList>
#include <QString>

struct ProjectSpec;

enum class Held {
    No,
    Yes,
    Unknown, ///< an archive cannot be looked into
};

/// @return the numbers of the merges of a single Lua source that is neither preprocessed nor
/// compiled. No build can make these: the copy would have the name of the directory of the merge's
/// outputs.
QList<qsizetype> mergesOfLoneCopies(const ProjectSpec &spec);

/// @return false when the file cannot be merged as an Archive
bool isArchive(const QString &file);

/// @return whether the image of a project will hold the file @p path, a path on the device
Held imageHolds(const ProjectSpec &spec, const QString &path);

/// @return the numbers of the merges, archives aside, that put a file @p path into the image
QList<qsizetype> mergesThatHold(const ProjectSpec &spec, const QString &path);
