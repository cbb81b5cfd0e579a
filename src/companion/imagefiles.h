#pragma once

#include <QString>

struct ProjectSpec;

enum class Held {
    No,
    Yes,
    Unknown, ///< an archive cannot be looked into
};

/// @return whether the image of a project will hold the file @p path, a path on the device
Held imageHolds(const ProjectSpec &spec, const QString &path);
