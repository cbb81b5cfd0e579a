#pragma once

#include <QStringList>

/// An SDK as a project names it.
struct SdkAtHand
{
    QString name;      ///< for the attribute SDK; empty: the default one, which needs no name
    QString directory; ///< empty: there is none
};

/// @param wanted  a version or a directory; empty: the SDK that this program belongs to, else the
/// newest in the directory of the SDKs, else the default one
/// @param projectFile  the project that is to use it
SdkAtHand findSdk(const QString &wanted, const QString &projectFile);

/// @return the models that an SDK has a kernel for
QStringList modelsOf(const QString &sdkDirectory);
