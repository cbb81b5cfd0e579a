#pragma once

#include "model/targetspec.h"

class Project;

/// The image of an installer, which carries the firmware of a target, its boot record, or both. The
/// installers of all targets share one file.
class InstallerImage
{
public:
    explicit InstallerImage(Project *project) : m_project(project) {}

    /// Reserves the image's file.
    /// @param temporaryFile  see Project::prepareTemporaryFile()
    bool begin(QString *temporaryFile);

    /// Packs the image for @p target.
    /// @param firmware  the target's firmware file; empty: none is carried
    /// @param verbose  the level of the installer's steps
    /// @return false with the error text set, also when there is nothing to carry
    bool pack(const TargetSpec &target, const QString &firmware, int verbose);

    const QString &path() const { return m_path; }

private:
    /// @return the boot record that the installer of @p target carries; empty: none
    QString bootRecord(const TargetSpec &target) const;

    Project *m_project;
    QString m_path;
};
