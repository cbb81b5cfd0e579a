#pragma once

#include "model/projectspec.h"

/// Reads a project file of either schema into @p spec: the first schema is tried only when the file
/// is not recognised as one of the current schema.
/// @return false with the reason in @p error
bool loadProject(const QString &path, ProjectSpec *spec, QString *error);
