#pragma once

#include <QStringList>

/// What `ztproject init` is asked for.
struct InitOptions
{
    QString path;          ///< the project's directory; its last part is the project's name
    QString sdk;           ///< a version or a directory; empty: the SDK at hand
    QStringList models;    ///< empty: the first that the SDK has a kernel for
    QStringList languages; ///< translations into these
    bool key = false;      ///< make a key, and sign with it
};

/// Makes a project that builds at once. Nothing that is there already is changed.
/// @return the exit status
int startProject(const InitOptions &wanted);
