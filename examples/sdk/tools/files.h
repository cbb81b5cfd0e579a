#pragma once

#include <string>

/// The content of a whole file; throws std::system_error.
std::string readFile(const std::string &path);

/// Writes a file in one piece, so that readers see the old one or the new one, and makes its
/// directory if it is missing; throws std::system_error.
void writeFile(const std::string &path, const std::string &content);

/// A name beside an output file to write it under; makes the directory if it is missing.
std::string temporaryName(const std::string &path);
