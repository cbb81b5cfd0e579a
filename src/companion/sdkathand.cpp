#include "companion/sdkathand.h"

#include "model/projectspec.h"
#include "tools/sdkdir.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QVersionNumber>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr auto directoryPrefix = "sdk-"_L1;

SdkAtHand lookUp(const QString &name, const QString &projectFile)
{
    ProjectSpec spec;
    spec.projectFile = projectFile;
    spec.setSdk(name);
    spec.refreshSdkCache();
    return {name, QFileInfo(spec.sdkCache).isDir() ? spec.sdkCache : QString()};
}

/// @return the SDK that is named on the command line; a project would see a relative directory from
/// its own
SdkAtHand namedSdk(const QString &name, const QString &projectFile)
{
    SdkAtHand found = lookUp(name, projectFile);
    const QFileInfo directory(name);
    const bool isPath = name.contains(u'/') || name.startsWith(u'.');
    if (!directory.isDir() || (!found.directory.isEmpty() && !isPath))
        return found;
    const QString path = QDir::cleanPath(directory.absoluteFilePath());
    return {path, path};
}

/// @return the SDK in whose directory "bin" this program lies
SdkAtHand ownSdk(const QString &projectFile)
{
    const QDir directory(QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/.."_s));
    if (modelsOf(directory.path()).isEmpty())
        return {};
    if (directory.dirName().startsWith(directoryPrefix)) {
        SdkAtHand found = lookUp(directory.dirName().sliced(directoryPrefix.size()), projectFile);
        if (QFileInfo(found.directory).canonicalFilePath() == directory.canonicalPath())
            return found;
    }
    return {directory.path(), directory.path()};
}

SdkAtHand newestSdk(const QString &projectFile)
{
    QStringList names =
            QDir(Tools::zeltaSDKRepositoryDir()).entryList({directoryPrefix + u'*'}, QDir::Dirs);
    const auto version = [](const QString &name) {
        return QVersionNumber::fromString(name.sliced(directoryPrefix.size()));
    };
    std::sort(names.begin(), names.end(),
              [&version](const QString &a, const QString &b) { return version(a) < version(b); });
    return names.isEmpty() ? SdkAtHand()
                           : lookUp(names.last().sliced(directoryPrefix.size()), projectFile);
}

} // namespace

QStringList modelsOf(const QString &sdkDirectory)
{
    const QString end = u"-kernel.bin"_s;
    QStringList models = QDir(sdkDirectory + u"/kernel"_s).entryList({u'*' + end}, QDir::Files);
    for (QString &model : models)
        model.chop(end.size());
    return models;
}

SdkAtHand findSdk(const QString &wanted, const QString &projectFile)
{
    if (!wanted.isEmpty())
        return namedSdk(wanted, projectFile);
    for (const SdkAtHand &found : {ownSdk(projectFile), newestSdk(projectFile)}) {
        if (!found.directory.isEmpty())
            return found;
    }
    return lookUp({}, projectFile);
}
