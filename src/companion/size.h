#pragma once

#include <QString>

/// What `ztproject size` is asked for.
struct SizeOptions
{
    QString projectFile; ///< empty: the one that ztmake would choose
    QString svg;         ///< a file for the treemap; empty: none
};

/// Shows on standard output what the image of the last build holds, and what each firmware weighs.
/// Keeps the sizes in the object directory, for the comparison with the next build.
/// @return the exit status
int showSizes(const SizeOptions &options);
