#pragma once

#include <QString>

/// What `ztproject why` is asked for.
struct WhyOptions
{
    QString projectFile; ///< empty: the one that ztmake would choose
    bool rebuildAll = false;
    bool commands = false; ///< show the tool calls, too
};

/// Tells on standard output what a build would do, and why.
/// @return the exit status
int tellWhy(const WhyOptions &options);
