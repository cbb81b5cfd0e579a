#pragma once

#include <QByteArray>

struct ProjectSpec;

/// @return the script that the device runs at boot and that loads the project's main Lua file.
/// Paths are put in as they are: one with a double quote breaks the script, deliberately.
QByteArray startupScript(const ProjectSpec &spec);
