#pragma once

#include "model/filesystemspec.h"
#include "model/targetspec.h"

#include <functional>

/// A whole project as its project file describes it, and the rules that turn its names into paths.
///
/// The path functions decide by the text alone whether a name is relative; only the SDK search
/// looks at the disk, and nothing here writes to it.
struct ProjectSpec
{
    QString projectFile; ///< path of the project file itself, as given
    QString projectDirectory;
    QString objectDirectory;
    QString outputDirectory;
    QString keyFile; ///< installer encryption key
    QString tagMap;
    QString stateFile_;
    QString version;
    QString name;
    QString description; ///< free for readers: neither cleared nor compared
    QString startupFile; ///< path on the device
    Tristate interactive{0};
    Tristate buildInstaller;
    Tristate includeMbr;
    Tristate encryptInstaller;
    QList<FilesystemSpec> filesystems;
    QList<TargetSpec> targets;
    QString defaultLanguage;
    QStringList languages;
    Tristate translation;
    QString translationBaseDir; ///< path on the device
    ProcessSpec process;        ///< project-wide processing defaults
    Tristate svnversion;
    int verbose = -1;
    bool modified = false; ///< free for readers: not compared
    Tristate mtd16;
    QString mtd16Source; ///< empty: the default definition file
    DefaultString mtd16Header{QStringLiteral("include/mtd16.lh"), {}};
    DefaultString mtd16Lua{QStringLiteral("root/usr/lib/lua/mtd16.lua"), {}};
    QString sdk;              ///< as named in the project file
    mutable QString sdkCache; ///< the SDK directory, see refreshSdkCache()

    bool interactiveAfterStartup() const { return interactive.isOn(); }
    bool lupdateEnabled() const { return translation.isOn(); }
    bool mtd16Enabled() const { return mtd16.isOn(); }

    /// @return the level of the project's own steps; @p fallback when the project sets none
    int level(int fallback) const { return verbose >= 0 ? verbose : fallback; }
    /// @return the level of the steps for a filesystem or target that sets @p own: that one when it
    /// is set, else the project's
    int inheritedLevel(int own) const { return own >= 0 ? own : verbose; }

    /// @return how the sources of @p merge are processed: the project's settings, over them the
    /// filesystem's, over these its own
    ProcessSpec processOf(const FilesystemSpec &filesystem, const MergeSpec &merge) const;

    /// Prepares the record for a new read. The result differs from a new record: `interactive`
    /// becomes unset, `mtd16` off, `translationBaseDir` "/usr/lib/lua", and the languages and the
    /// translation switch stay. Callers that reuse a record rely on it.
    void clear();

    /// @return the first target of that model (case-sensitive), valid until `targets` changes;
    /// null when there is none
    TargetSpec *findTargetByName(const QString &model);

    /// Compares everything but the SDK cache and the two free fields.
    bool operator==(const ProjectSpec &other) const;

    /// @return the program @p tool beside this program; an absolute name as it is
    QString toolPath(const QString &tool) const;
    /// @return @p path below the SDK directory; an absolute path as it is
    QString sdkPath(const QString &path) const;
    /// @return @p path below the project directory, or below the SDK when it begins with "$SDK/"
    /// or is "$SDK"; an absolute path as it is
    QString projectFilePath(const QString &path) const;
    /// @return @p path below the object directory ("obj" by default)
    QString objectFilePath(const QString &path) const;
    /// @return @p path below the output directory ("firmware" by default)
    QString outputFilePath(const QString &path) const;
    /// @return the translation source @p fileName, in the project tree
    QString tsFilePath(const QString &fileName) const;
    /// @return the compiled translation @p fileName, in the object tree
    QString qmFilePath(const QString &fileName) const;

    /// @return the statistics that the translation scanner leaves behind
    QString translationReport() const;

    /// @return the build state file: by default the project file with the extension "ztn"
    QString stateFile() const;
    /// @return the state file of one build step for one item
    QString stateFile(const QString &step, const QString &item) const;

    /// @return the project file's name, without directory, with the extension "mtdef"
    QString mtd16DefaultDefinitionFile() const;
    /// Stores the definition file; the default one is stored as empty.
    void setMtd16DefinitionFile(const QString &path);
    /// @return the definition file's project-relative name
    QString mtd16DefinitionFile() const;
    /// @return the definition file as a build hands it on: seen from the working directory
    QString mtd16DefinitionPath() const;

    /// Names the SDK and forgets the directory found for the previous one.
    void setSdk(const QString &sdkName);
    /// Searches the SDK directory and keeps it in `sdkCache`, empty when there is none. An absolute
    /// `sdk` is taken without a look at the disk.
    void refreshSdkCache() const;
    /// Names the directories that the SDK is looked for in, in their order, until @p take returns
    /// true.
    void searchSdk(const std::function<bool(const QString &candidate)> &take) const;

private:
    QString pathBelow(const QString &directory, const QString &defaultDirectory,
                      const QString &path) const;
};
