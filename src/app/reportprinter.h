#pragma once

#include "model/projectspec.h"

/// Prints one line of statistics for each translation file on standard output, from the report that
/// the translation scanner left behind. No report: nothing; an unreadable one: a message.
/// @return false after a message when standard output could not be written
bool printTranslationReport(const ProjectSpec &spec);
