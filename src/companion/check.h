#pragma once

#include <QString>

/// What `ztproject check` is asked for.
struct CheckOptions
{
    QString projectFile; ///< empty: the one that ztmake would choose
    bool strict = false; ///< warnings fail, too
    bool json = false;
    bool compare = false; ///< make what is current again, elsewhere, to see whether it is right
};

/// Puts out on standard output what would build the wrong firmware.
/// @return the exit status
int checkProject(const CheckOptions &options);
