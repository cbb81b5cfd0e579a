#pragma once

#include <QString>

/// Asks svnversion, found on the search path, for the revision of a working copy; an answer that
/// takes more than 30 seconds is not waited for.
/// @return its answer with white space simplified; empty when there is none
QString workingCopyRevision(const QString &directory);
