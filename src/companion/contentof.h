#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// @return what a regular file holds; nothing when it cannot be read, or is something else, such as
/// a pipe, which would be waited for
std::optional<QByteArray> contentOf(const QString &path);
