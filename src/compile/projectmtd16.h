#pragma once

#include "files/filestatus.h"

#include <QDateTime>

class Project;

/// Compiles the MTD16 definition file into a Lua header and a Lua module, as far as they are out of
/// date.
///
/// Set the members, then call compile(). All paths reach the tool as they are stored here.
class ProjectMtd16
{
public:
    explicit ProjectMtd16(Project *project);

    int verbosity = 0; ///< handed to the tool run
    QString definitionFile;
    QString headerFile; ///< empty: not wanted
    QString luaFile;    ///< empty: not wanted
    bool rebuildAll = false;

    QString errorString; ///< reason of the last failure

    /// Runs the tool for the outputs that are out of date, and not at all when none is. After a
    /// failed run the requested outputs are deleted.
    /// @return false with errorString set
    bool compile();

    /// @return whether @p output is wanted and must be made from an input of that time
    bool needRebuild(const QDateTime &inputTime, const QString &output) const;

private:
    Project *m_project;
};
