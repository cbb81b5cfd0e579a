#pragma once

#include <QStringList>

/// Reads the command line of the companion program, and does what it asks for.
/// @param arguments  the program's name first
/// @return the exit status
int runCompanion(const QStringList &arguments);
