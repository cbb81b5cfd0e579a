#pragma once

#include "engine/project.h"

#include <optional>

/// What the command line says.
struct Options
{
    Project::Operation operation = Project::Operation::Build; ///< the last one named wins
    int verbosity = 1;
    bool report = false;
    QString projectFile; ///< empty when none is named
};

/// Reads the command line; options and the project file may be mixed in any order.
/// @return nothing when the usage text is due, after a message if an option is unknown
std::optional<Options> parseOptions(int argc, char *argv[]);

/// Prints the usage text.
/// @return the exit status 1
int usage();
