#pragma once

#include "engine/outputguard.h"
#include "engine/staleness.h"
#include "files/directory.h"
#include "model/processspec.h"

#include <QDateTime>
#include <QList>
#include <QSet>

#include <optional>
#include <vector>

class Project;

/// One processed Lua source.
struct CompiledObject
{
    QString sourceFile; ///< relative to the source tree, "/" between the components
    QString objectFile; ///< the final output: compiled, else preprocessed, else the copy
};
Q_DECLARE_TYPEINFO(CompiledObject, Q_RELOCATABLE_TYPE);

/// Turns one tree of Lua sources into a tree of processed objects, as far as they are out of date.
///
/// Set the members, call compile() once, then read `objects` and `lupdateSources`.
class ProjectMake
{
public:
    explicit ProjectMake(Project *project);

    int verbosity = -1;          ///< handed to every tool run
    QString sdkIncludeDirectory; ///< searched by the preprocessor before the project's own; may be
                                 ///< empty
    ProcessSpec process;         ///< for the whole tree
    QString sourceDirectory;     ///< root of the source tree, or a single Lua file
    QString objectDirectory;     ///< root of the output tree
    bool rebuildAll = false;     ///< every stage counts as out of date
    QDateTime referenceTime; ///< outputs older than it are rebuilt; counts milliseconds; invalid:
                             ///< none

    QSet<QString> createdDirectories; ///< output directories that compile() had to make
    int undecodableFiles = 0; ///< Lua files left out because their names are not valid UTF-8

    QString errorString; ///< reason of the last failure, unless the project's error text holds it
    QList<CompiledObject> objects; ///< every processed source, up to date or not
    QStringList lupdateSources;    ///< sources to be scanned for translatable texts

    /// Processes the whole tree; the first failure ends the walk. A source that does not exist or
    /// is no Lua file is skipped.
    ///
    /// With several jobs at a time, the tools may still be running when this returns: this object
    /// must outlive them, see Project::jobs().
    /// @return false with the reason in errorString or in the project's error text
    bool compile();

    /// Processes one file, or one directory with all below it.
    /// @param relativePath  below `sourceDirectory`; empty: the root itself
    bool doCompile(const QString &relativePath);

    /// @return whether the stage that makes @p output from @p input must run
    bool needRebuild(const QString &input, const QString &output) const;
    bool needRebuild(const FileStatus &input, const FileStatus &output) const
    {
        return staleness(input, output) != Staleness::Current;
    }
    /// @return why it must
    Staleness staleness(const FileStatus &input, const FileStatus &output) const;

private:
    /// A file on the way from a source to its object.
    struct File
    {
        Directory *directory;
        std::string name; ///< in the file system's encoding
        FileStatus status;

        QString path() const { return directory->filePath(name); }
    };

    /// Where the outputs of a source go.
    struct Destination
    {
        Directory *directory;
        std::string_view name;

        /// @return the output that has @p extension in place of the one of `name`
        File unseenOutput(std::string_view extension) const
        {
            return {directory, withExtension(name, extension), {}};
        }
        /// The same, with its status.
        File output(std::string_view extension) const;
    };

    bool enterDirectory(const QString &relativePath, const FileId &id);
    bool compileDirectory(const QString &relativePath);
    bool compileFile(const File &source, const Destination &destination,
                     const QString &relativePath);
    bool makeDirectory(const QString &path);
    bool makeMissingDirectory(Directory *directory);
    bool raiseUnreadable(const QString &path);

    /// Makes the object of a source if it is out of date.
    /// @return its path; nothing with the reason in `errorString` or in the project's error text
    std::optional<QString> makeObject(const File &source, const Destination &destination,
                                      const QString &relativePath);
    std::optional<QString> copy(const File &source, const Destination &destination);
    const QStringList &preprocessorIncludes();
    bool searchesOutputs() const;

    Project *m_project;
    QStringList m_includeArguments; ///< of the preprocessor
    bool m_readsOutputs = false;    ///< a source may include what was made of another one
    std::vector<FileId> m_walked;   ///< the directories on the way from the root
};
