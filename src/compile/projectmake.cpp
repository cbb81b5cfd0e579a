#include "compile/projectmake.h"

#include "engine/project.h"
#include "tools/directorylisting.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString directoryPart(const QString &path)
{
    const qsizetype separator = path.lastIndexOf(u'/');
    if (separator < 0)
        return u"."_s;
    return separator == 0 ? u"/"_s : path.left(separator);
}

} // namespace

ProjectMake::ProjectMake(Project *project) : m_project(project) {}

bool ProjectMake::compile()
{
    objects.clear();
    m_createdDirectories.clear();
    if (!QDir().mkpath(objectDirectory)) {
        errorString = u"Cannot make directory %1"_s.arg(objectDirectory);
        return false;
    }
    return doCompile({});
}

bool ProjectMake::needRebuild(const FileStatus &input, const FileStatus &output) const
{
    if (rebuildAll || !output.exists())
        return true;
    if (referenceTime.isValid()
        && output.modified().toMilliseconds() < referenceTime.toMSecsSinceEpoch())
        return true;
    return output.isOutOfDate(input);
}

bool ProjectMake::doCompile(const QString &relativePath)
{
    QString source = sourceDirectory;
    QString destination = objectDirectory;
    if (!relativePath.isEmpty()) {
        source = Tools::ensureDirectorySeparator(source) + relativePath;
        destination = Tools::ensureDirectorySeparator(destination) + relativePath;
    }
    const FileStatus status = FileStatus::of(source);
    if (status.isDirectory())
        return compileDirectory(source, relativePath);
    if (!status.isRegularFile() || !isLuaFile(source))
        return true;
    return compileFile({source, status}, destination, relativePath);
}

bool ProjectMake::compileDirectory(const QString &source, const QString &relativePath)
{
    const QString prefix = Tools::ensureDirectorySeparator(relativePath);
    const QStringList entries = luaFilesAndDirectories(source);
    return std::all_of(entries.begin(), entries.end(),
                       [&](const QString &entry) { return doCompile(prefix + entry); });
}

bool ProjectMake::compileFile(const File &source, const QString &destination,
                              const QString &relativePath)
{
    if (!makeOutputDirectory(destination))
        return false;
    const bool isCopied = !process.preprocess() && !process.compileLua();
    File file = source;
    if (process.preprocess() && !preprocess(destination, &file))
        return false;
    if (process.compileLua() && !compileLua(destination, &file))
        return false;
    if (isCopied && !copy(destination, &file))
        return false;

    objects.append({relativePath, file.path});
    if (m_project->spec().lupdateEnabled() && process.lupdateEnabled())
        lupdateSources.append(source.path);
    return true;
}

bool ProjectMake::makeOutputDirectory(const QString &destination)
{
    const QString directory = directoryPart(destination);
    if (m_createdDirectories.contains(directory))
        return true;
    if (!QDir().mkpath(directory)) {
        errorString = u"Cannot make directory %1"_s.arg(directory);
        return false;
    }
    m_createdDirectories.insert(directory);
    return true;
}

const QStringList &ProjectMake::preprocessorIncludes()
{
    if (m_includeArguments.isEmpty()) {
        if (!sdkIncludeDirectory.isEmpty())
            m_includeArguments << u"-I"_s << QDir::toNativeSeparators(sdkIncludeDirectory);
        for (const QString &directory : std::as_const(process.include))
            m_includeArguments << u"-I"_s << QDir::toNativeSeparators(directory);
    }
    return m_includeArguments;
}

bool ProjectMake::preprocess(const QString &destination, File *file)
{
    const QStringList &includes = preprocessorIncludes();
    const File input = *file;
    file->path = Tools::replaceExtension(destination, u"lui"_s);
    file->status = FileStatus::of(file->path);
    if (!needRebuild(input.status, file->status))
        return true;

    QStringList arguments;
    if (process.removeComments())
        arguments << u"--strip"_s;
    if (process.simplifyWhitespace())
        arguments << u"--trim"_s;
    arguments << includes;
    arguments << u"--out"_s << QDir::toNativeSeparators(file->path);
    // As stored, unlike every other path here: deliberate.
    arguments << u"--root"_s << sourceDirectory;
    arguments << u"--"_s << QDir::toNativeSeparators(input.path);
    return runTool(u"ztlpp"_s, arguments, file);
}

bool ProjectMake::compileLua(const QString &destination, File *file)
{
    const File input = *file;
    file->path = Tools::replaceExtension(destination, u"luo"_s);
    file->status = FileStatus::of(file->path);
    if (!needRebuild(input.status, file->status))
        return true;

    QStringList arguments;
    if (process.stripLua())
        arguments << u"-s"_s;
    arguments << u"-o"_s << QDir::toNativeSeparators(file->path);
    arguments << u"--"_s << QDir::toNativeSeparators(input.path);
    return runTool(u"ztluac"_s, arguments, file);
}

bool ProjectMake::runTool(const QString &tool, const QStringList &arguments, File *output)
{
    if (m_project->runTool(tool, arguments, verbosity)) {
        output->status = FileStatus::of(output->path);
        return true;
    }
    errorString = m_project->errorText();
    QFile::remove(output->path);
    return false;
}

bool ProjectMake::copy(const QString &destination, File *file)
{
    const File input = *file;
    file->path = destination;
    file->status = FileStatus::of(destination);
    if (!needRebuild(input.status, file->status))
        return true;
    if (file->status.exists() && !QFile::remove(destination))
        return m_project->raiseError(u"Cannot delete %1"_s.arg(destination));
    if (!QFile::copy(input.path, destination))
        return m_project->raiseError(u"Cannot write %1"_s.arg(destination));
    return true;
}
