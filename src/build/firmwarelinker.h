#pragma once

#include "engine/command.h"
#include "model/targetspec.h"

class Project;
struct ProjectSpec;

/// @return the wildcards for the firmware and installer files of a project, whatever its version;
/// empty when its name makes no valid one. They may match the files of other projects.
QStringList firmwareWildcards(const ProjectSpec &spec);

/// What is linked into one firmware file.
struct FirmwareLink
{
    QString model;
    QString image;
    QString output;
    QString keyFile; ///< empty: not signed
    QString name;    ///< empty: none
    int verbose = 0;
};

/// Names the firmware files of a build and links them.
class FirmwareLinker
{
public:
    /// Asks svnversion for the revision when the project wants it.
    explicit FirmwareLinker(Project *project);

    const QString &versionText() const { return m_versionText; }
    QString firmwareFile(const TargetSpec &target) const;
    QString installerFile(const TargetSpec &target) const;

    /// Links the firmware of all targets.
    bool linkFirmware(const QString &rootImage);
    /// @param verbose  the level of the installer's steps
    bool linkInstaller(const TargetSpec &target, const QString &installerImage, int verbose);

private:
    Command linkCommand(const FirmwareLink &link) const;

    Project *m_project;
    QString m_versionText;
    QString m_stemEnd; ///< what follows the model in the names of firmware files
};
