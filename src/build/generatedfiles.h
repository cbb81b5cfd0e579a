#pragma once

#include <QByteArray>
#include <QString>

struct ProjectSpec;

/// @return the script that the device runs at boot and that loads the project's main Lua file.
/// Paths are put in as they are; projects keep double quotes out of them.
QByteArray startupScript(const ProjectSpec &spec);

/// Writes a generated file, in place of an earlier one.
/// @return false with the reason in @p error when it cannot be written in full
bool writeGeneratedFile(const QString &path, const QByteArray &content, QString *error);
