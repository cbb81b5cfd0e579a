#pragma once

#include "model/processspec.h"

#include <QList>

/// One item merged into a filesystem image.
struct MergeSpec
{
    enum class Type { None = -1, File = 0, Directory = 1, Archive = 2 };

    Type type = Type::None;
    QString source;
    QString destination;
    ProcessSpec process;

    bool operator==(const MergeSpec &) const = default;

    /// @return the kind that a word of a project file stands for; None for an unknown word
    static Type typeFromWord(const QString &word);
};

/// One filesystem image.
struct FilesystemSpec
{
    static constexpr int noType = -1;
    static constexpr int romfsType = 0;

    int type = noType;
    Tristate includeBase;
    QString label;
    QList<MergeSpec> merges; ///< in file order
    ProcessSpec process;     ///< processing defaults of this filesystem
    int verbose = -1;        ///< -1: the project's level applies

    /// Forgets type, base, label and merges; `process` and `verbose` stay as they are.
    void clear();

    bool operator==(const FilesystemSpec &) const = default;
};
