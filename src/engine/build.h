#pragma once

#include "model/projectspec.h"

class Project;

/// The sources of one compiled merge entry that are scanned for translatable texts.
struct TranslationSources
{
    QString directory; ///< the entry's source, as handed to the compilation
    QStringList sources;
};

/// One build of a project: its steps, to be called in the order in which they are declared, and
/// what they hand on to each other.
///
/// Each step returns false with the project's error text set, and then none may follow; files
/// already written stay.
class Build
{
public:
    /// @param rebuildAll  treat every incremental step as out of date
    Build(Project *project, bool rebuildAll);

    bool makeDirectories();
    /// Deletes what a killed build left half-written.
    bool recoverFromKill();
    /// Forms the version text and what the names of the firmware files are made of; fails only when
    /// it is interrupted.
    bool nameFirmware();
    bool compileDefinitions();
    bool selectRootFilesystem();
    bool beginRootImage();
    /// Adds the merge entries to the root image, and the objects compiled from them.
    bool addMergeEntries();
    /// Brings the catalogues up to date and adds them to the root image.
    bool addTranslations();
    bool addVersionFile();
    bool addStartupScript();
    bool packRootImage();
    bool linkFirmware();
    bool buildInstallers();

private:
    bool makeDirectory(const QString &directory);
    bool compileEntry(const MergeSpec &merge, const QString &source);
    bool updateTranslationSources();
    bool updateTranslationSources(const TranslationSources &entry);
    bool releaseCatalogue(const QString &language);
    bool writeFile(const QString &path, const QByteArray &content);
    void addFileToRootImage(const QString &destination, const QString &path);
    QString firmwareStem(const TargetSpec &target) const;
    QString firmwareFile(const TargetSpec &target) const;
    int rootLevel() const;
    int targetLevel(const TargetSpec &target) const;
    bool packInstallerImage(const TargetSpec &target, int level);
    bool link(const TargetSpec &target, const QString &image, const QString &output,
              const QString &keyFile, const QString &name, int level);

    Project *m_project;
    const ProjectSpec &m_spec;
    bool m_rebuildAll;

    QString m_versionText;
    QString m_nameSuffix;
    QString m_versionSuffix;

    bool m_hasRootFilesystem = false;
    FilesystemSpec m_rootFilesystem; ///< empty when the project has none
    QString m_temporaryImage;        ///< the image reserved last
    QStringList m_rootImageArguments;
    int m_compiledEntries = 0;
    QList<TranslationSources> m_translationSources;
};
