#pragma once

#include <QString>

/// What removeFileBelow() found.
enum class Removal {
    Gone,    ///< there is no such file, or no longer; a directory of that name is left alone
    Stays,   ///< it cannot be removed
    Outside, ///< the name leads out of the directory, or nothing can be said; nothing was removed
};

/// Removes a file below @p directory that an untrusted note names. Its path must not leave the
/// directory, neither by ".." nor by a symbolic link.
Removal removeFileBelow(const QString &directory, const QString &name);
