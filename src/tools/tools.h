#pragma once

#include <QString>
#include <QXmlStreamReader>

/// Free helper functions shared by the whole program.
namespace Tools {

/// @return @p path ending in "/"; an empty path stays empty
QString ensureDirectorySeparator(const QString &path);

/// Replaces what follows the last "." of @p name by @p extension, or appends "." and the extension.
/// The last dot may stand in a directory part ("a.b/box" becomes "a.ztn"): the file names of
/// existing projects depend on it.
QString replaceExtension(const QString &name, const QString &extension);

/// @return @p text without the characters ":", "/", "\", "?" and "*"
QString safeFileName(const QString &text);

/// @return the readable name of @p type for error messages; an unknown value as a decimal number
QString tokenName(QXmlStreamReader::TokenType type);

/// Finds the project file to use when none is named: among the readable files of the working
/// directory with @p extension, the first one named after @p directory, else the only one.
/// The working directory is always the one listed; @p directory gives the name to compare with
/// and the prefix of the result.
/// @return empty when there is none, or when several exist and none bears the directory's name
QString findProfile(const QString &directory, const QString &extension);

/// @return the user's home directory
QString appDataPath();

/// @return the folder "Documents" in the user's home directory
QString documentsPath();

} // namespace Tools
