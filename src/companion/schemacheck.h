#pragma once

#include "companion/finding.h"

/// Compares a project file with the schema of its generation.
/// @param text  the file's content
/// @return what is wrong, without file names; errors in the XML itself are errors, everything that
/// only the schema minds is a warning
QList<Finding> checkSchema(const QByteArray &text, const Places &places);

/// @return the word of @p words that @p word was probably meant to be; empty when none is near
QString nearestWord(const QString &word, const QStringList &words);
