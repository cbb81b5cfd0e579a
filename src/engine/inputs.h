#pragma once

#include "files/filestatus.h"

#include <optional>
#include <vector>

struct ProjectSpec;

/// The files that a project names as inputs, which no step may remove or write to, whatever name an
/// output has for them.
class Inputs
{
public:
    /// @param spec  must outlive this object
    explicit Inputs(const ProjectSpec &spec) : m_spec(spec) {}

    /// Looks at the inputs when it is first asked about a file that exists.
    bool contains(const FileStatus &file) const;

    /// @return whether @p path leads to a Lua file in a merged source tree. The module that is made
    /// of the definitions does not count, nor does what lies in an object directory in such a tree.
    bool isLuaSource(const QString &path) const;

    /// To be called when inputs may have been replaced.
    void forget();

private:
    std::vector<FileId> find() const;

    const ProjectSpec &m_spec;
    mutable std::optional<std::vector<FileId>> m_files; ///< sorted
};
