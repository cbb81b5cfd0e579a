#pragma once

#include "files/filestatus.h"

#include <QStringList>

#include <optional>
#include <vector>

struct ProjectSpec;

/// The files that a project has as inputs, which no step may remove or write to, whatever name an
/// output has for them: those that it names, and the Lua files in its merged source trees.
class Inputs
{
public:
    /// @param spec  must outlive this object
    explicit Inputs(const ProjectSpec &spec) : m_spec(spec) {}

    /// Looks at the inputs when it is first asked; at the whole merged trees only when @p path is a
    /// link, hard or symbolic, that may lead into one of them.
    /// @param file  the status of @p path, a regular file or nothing
    bool contains(const QString &path, const FileStatus &file) const;

    /// To be called when inputs may have been replaced.
    void forget() { m_found = {}; }

private:
    struct Found
    {
        std::optional<std::vector<FileId>> named;      ///< sorted
        std::optional<std::vector<FileId>> luaSources; ///< sorted
        std::optional<QStringList> trees; ///< real paths, with a separator at the end of each
        QString objectDirectory;          ///< likewise
        QString generatedModule;          ///< real path of its folder, and its name
    };

    bool isFound(const QString &path, const FileStatus &file) const;
    bool isSource(const QString &realPath, const QString &tree) const;
    void findTrees() const;
    std::vector<FileId> findNamed() const;
    std::vector<FileId> findLuaSources() const;

    const ProjectSpec &m_spec;
    mutable Found m_found;
};
