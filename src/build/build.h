#pragma once

#include "build/firmwarelinker.h"
#include "build/installerimage.h"
#include "build/rootimage.h"
#include "build/translations.h"
#include "compile/projectmake.h"

#include <deque>
#include <optional>

class Project;
struct ProjectSpec;

/// One build of a project.
///
/// The first step that fails ends it, with the project's error text set; files already written
/// stay.
class Build
{
public:
    /// @param rebuildAll  treat every incremental step as out of date
    Build(Project *project, bool rebuildAll);

    /// After a failure jobs may still be running, which this object must outlive.
    bool run();

private:
    /// Makes the object directory, and waits until no other operation uses it.
    bool claimObjectDirectory();
    bool recoverFromKill();
    /// Makes the directories of the translations.
    bool makeDirectories();
    /// Forms the version text and the names of the firmware files.
    bool nameFirmware();
    bool compileDefinitions();
    bool selectRootFilesystem();
    bool beginRootImage();
    /// Adds the merge entries to the root image, and the objects compiled from them.
    bool addMergeEntries();
    bool addTranslations();
    bool addVersionFile();
    bool addStartupScript();
    bool packRootImage();
    bool linkFirmware();
    bool buildInstallers();

    bool addGeneratedFile(const QString &destination, const QString &name,
                          const QByteArray &content);
    void warnOfUndecodableFiles();
    bool makeDirectory(const QString &directory);
    bool compileEntry(const MergeSpec &merge, const QString &source);
    bool buildInstaller(const TargetSpec &target, InstallerImage *image);
    bool hasRootFilesystem() const;

    Project *m_project;
    const ProjectSpec &m_spec;
    bool m_rebuildAll;

    FilesystemSpec m_rootFilesystem;
    QString m_temporaryFile; ///< the image reserved last
    std::optional<FirmwareLinker> m_linker;
    std::optional<RootImage> m_rootImage;
    std::optional<Translations> m_translations;
    std::deque<ProjectMake> m_compilers; ///< one for each compiled entry
    int m_undecodableFiles = 0;
};
