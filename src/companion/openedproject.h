#pragma once

#include "files/filestatus.h"
#include "model/projectspec.h"

/// A project as ztmake would read it.
struct OpenedProject
{
    QString file;
    FileStatus status; ///< of the project file, from before it was read
    ProjectSpec spec;

    /// Chooses the project file as ztmake does when @p path is empty, and reads it.
    /// @return false with the reason in @p error; `file` is set unless none was found
    bool open(const QString &path, QString *error);
};
