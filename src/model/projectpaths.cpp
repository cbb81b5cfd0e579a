#include "files/filestatus.h"
#include "model/projectspec.h"
#include "tools/sdkdir.h"
#include "tools/tools.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

QString ProjectSpec::toolPath(const QString &tool) const
{
    if (QDir::isAbsolutePath(tool))
        return tool;
    const QString directory = QCoreApplication::applicationDirPath();
    return tool.isEmpty() ? directory : Tools::ensureDirectorySeparator(directory) + tool;
}

QString ProjectSpec::sdkPath(const QString &path) const
{
    if (QDir::isAbsolutePath(path))
        return path;
    return Tools::ensureDirectorySeparator(sdkCache) + path;
}

QString ProjectSpec::projectFilePath(const QString &path) const
{
    const QString sdkPrefix = u"$SDK/"_s;
    if (path.startsWith(sdkPrefix))
        return sdkPath(path.sliced(sdkPrefix.size()));
    if (path == "$SDK"_L1)
        return sdkPath({});
    if (QDir::isAbsolutePath(path))
        return path;

    QString base = projectDirectory;
    if (base.isEmpty()) {
        base = QFileInfo(projectFile).path();
        if (base == "."_L1)
            base.clear();
    }
    return path.isEmpty() ? base : Tools::ensureDirectorySeparator(base) + path;
}

QString ProjectSpec::pathBelow(const QString &directory, const QString &defaultDirectory,
                               const QString &path) const
{
    if (QDir::isAbsolutePath(path))
        return path;
    const QString base = projectFilePath(directory.isEmpty() ? defaultDirectory : directory);
    return path.isEmpty() ? base : Tools::ensureDirectorySeparator(base) + path;
}

QString ProjectSpec::objectFilePath(const QString &path) const
{
    return pathBelow(objectDirectory, u"obj"_s, path);
}

QString ProjectSpec::outputFilePath(const QString &path) const
{
    return pathBelow(outputDirectory, u"firmware"_s, path);
}

QString ProjectSpec::tsFilePath(const QString &fileName) const
{
    return projectFilePath(fileName.isEmpty() ? u"translations"_s : u"translations/"_s + fileName);
}

QString ProjectSpec::qmFilePath(const QString &fileName) const
{
    return objectFilePath(fileName.isEmpty() ? u"translations"_s : u"translations/"_s + fileName);
}

QString ProjectSpec::translationReport() const
{
    return objectFilePath(u"translations/report.xml"_s);
}

QString ProjectSpec::stateFile() const
{
    return stateFile_.isEmpty() ? Tools::replaceExtension(projectFile, u"ztn"_s)
                                : projectFilePath(stateFile_);
}

QString ProjectSpec::stateFile(const QString &step, const QString &item) const
{
    const QString file = stateFile();
    const QString suffix = QFileInfo(file).completeSuffix();
    // The dot is cut off even when there is no suffix, which takes the name's last character:
    // state files of existing projects are found by these names.
    return file.chopped(std::min(suffix.size() + 1, file.size())) + u'-' + step + u'-' + item + u'.'
           + suffix;
}

QString ProjectSpec::mtd16DefaultDefinitionFile() const
{
    return Tools::replaceExtension(QFileInfo(projectFile).fileName(), u"mtdef"_s);
}

void ProjectSpec::setMtd16DefinitionFile(const QString &path)
{
    mtd16Source = path == mtd16DefaultDefinitionFile() ? QString() : path;
}

QString ProjectSpec::mtd16DefinitionFile() const
{
    return mtd16Source.isEmpty() ? mtd16DefaultDefinitionFile() : mtd16Source;
}

QString ProjectSpec::mtd16DefinitionPath() const
{
    // As stored: projects rely on its resolving against the working directory.
    return mtd16Source.isEmpty() ? Tools::replaceExtension(projectFile, u"mtdef"_s) : mtd16Source;
}

void ProjectSpec::setSdk(const QString &sdkName)
{
    sdk = sdkName;
    sdkCache.clear();
}

void ProjectSpec::searchSdk(const std::function<bool(const QString &)> &take) const
{
    const QString versioned = u"sdk-"_s + sdk;
    if (take(projectFilePath(versioned)) || take(projectFilePath(sdk)))
        return;
    take(Tools::ensureDirectorySeparator(Tools::zeltaSDKRepositoryDir()) + versioned);
}

void ProjectSpec::refreshSdkCache() const
{
    sdkCache.clear();
    if (sdk.isEmpty()) {
        sdkCache = Tools::zeltaSdkDir();
        return;
    }
    if (QDir::isAbsolutePath(sdk)) {
        sdkCache = sdk;
        return;
    }
    searchSdk([this](const QString &candidate) {
        if (!FileStatus::of(candidate).isDirectory())
            return false;
        sdkCache = candidate;
        return true;
    });
}
