#pragma once

#include <QString>

/// @return a text in one line, in which nothing changes a terminal or is not allowed in XML: names
/// of files can hold control characters
QString printable(const QString &text);

/// Puts out one line on standard output, see printable().
void printLine(const QString &text);

/// To be called when all is said.
/// @return false with a message put out when standard output has not taken everything
bool finishOutput();
