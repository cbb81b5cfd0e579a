#include "compile/projectmake.h"

#include "engine/project.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>

using namespace Qt::StringLiterals;

namespace {

QString pathBelow(const QString &directory, const QString &relativePath)
{
    return relativePath.isEmpty() ? directory
                                  : Tools::ensureDirectorySeparator(directory) + relativePath;
}

} // namespace

ProjectMake::ProjectMake(Project *project) : m_project(project) {}

bool ProjectMake::compile()
{
    objects.clear();
    return makeDirectory(objectDirectory) && doCompile({});
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
    const QByteArray source = QFile::encodeName(pathBelow(sourceDirectory, relativePath));
    const FileStatus status = FileStatus::of(AT_FDCWD, source.constData());
    if (status.isDirectory())
        return compileDirectory(relativePath);
    if (status.isUnknown())
        return raiseUnreadable(pathBelow(sourceDirectory, relativePath));
    if (!status.isRegularFile() || !isLuaFile(source))
        return true;

    const QString path = pathBelow(objectDirectory, relativePath);
    const QByteArray destination = QFile::encodeName(path);
    const Directory workingDirectory({});
    return makeMissingDirectory(Directory(QFileInfo(path).path()))
           && compileFile({&workingDirectory, FileName::of(source), status},
                          {workingDirectory, FileName::of(destination)}, relativePath);
}

bool ProjectMake::compileDirectory(const QString &relativePath)
{
    if (!m_project->checkInterruption())
        return false;
    Directory sources(pathBelow(sourceDirectory, relativePath));
    Directory outputs(pathBelow(objectDirectory, relativePath));
    const QString prefix = Tools::ensureDirectorySeparator(relativePath);
    const DirectoryListing listing = sources.luaFilesAndDirectories();
    // One that is gone meanwhile, or that the user must not read, counts as empty: deliberate.
    if (listing.error != 0 && FileStatus::afterError(listing.error).isUnknown())
        return raiseUnreadable(sources.path());
    for (const DirectoryListing::Entry &entry : listing.entries) {
        const QByteArrayView text = listing.name(entry);
        const FileName name = FileName::of(text);
        const QString entryPath = Tools::joinPath(prefix, text);
        const FileStatus status = entry.isLuaFile ? sources.status(name) : FileStatus();
        if (status.isRegularFile()) {
            if (!makeMissingDirectory(outputs)
                || !compileFile({&sources, name, status}, {outputs, name}, entryPath))
                return false;
        } else {
            // The number of open files must not grow with the depth of the tree. Both are opened
            // again at their next need.
            sources.close();
            outputs.close();
            if (!doCompile(entryPath))
                return false;
        }
    }
    return true;
}

bool ProjectMake::compileFile(const File &source, const Destination &destination,
                              QString relativePath)
{
    File file = source;
    if (process.preprocess() && !preprocess(destination, &file))
        return false;
    if (process.compileLua() && !compileLua(destination, &file))
        return false;
    const bool isCopied = !process.preprocess() && !process.compileLua();
    if (isCopied && !copy(destination, &file))
        return false;

    objects.append({std::move(relativePath), file.path()});
    if (m_project->spec().lupdateEnabled() && process.lupdateEnabled())
        lupdateSources.append(source.path());
    return true;
}

bool ProjectMake::raiseUnreadable(const QString &path)
{
    errorString = u"Cannot read %1"_s.arg(path);
    return false;
}

bool ProjectMake::makeMissingDirectory(const Directory &directory)
{
    return directory.exists() || makeDirectory(directory.path());
}

bool ProjectMake::makeDirectory(const QString &path)
{
    if (QDir().mkpath(path))
        return true;
    errorString = u"Cannot make directory %1"_s.arg(path);
    return false;
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

ProjectMake::File ProjectMake::outputFile(const Destination &destination, QByteArrayView extension)
{
    const FileName name{destination.name.stem, extension};
    return {&destination.directory, name, destination.directory.status(name)};
}

bool ProjectMake::preprocess(const Destination &destination, File *file)
{
    const QStringList &includes = preprocessorIncludes();
    const File input = *file;
    *file = outputFile(destination, ".lui");
    if (!needRebuild(input.status, file->status))
        return true;

    QStringList arguments;
    if (process.removeComments())
        arguments << u"--strip"_s;
    if (process.simplifyWhitespace())
        arguments << u"--trim"_s;
    arguments << includes;
    arguments << u"--out"_s << QDir::toNativeSeparators(file->path());
    // As stored, unlike every other path here: deliberate.
    arguments << u"--root"_s << sourceDirectory;
    arguments << u"--"_s << QDir::toNativeSeparators(input.path());
    return runTool(u"ztlpp"_s, arguments, input, file);
}

bool ProjectMake::compileLua(const Destination &destination, File *file)
{
    const File input = *file;
    *file = outputFile(destination, ".luo");
    if (!needRebuild(input.status, file->status))
        return true;

    QStringList arguments;
    if (process.stripLua())
        arguments << u"-s"_s;
    arguments << u"-o"_s << QDir::toNativeSeparators(file->path());
    arguments << u"--"_s << QDir::toNativeSeparators(input.path());
    return runTool(u"ztluac"_s, arguments, input, file);
}

bool ProjectMake::runTool(const QString &tool, const QStringList &arguments, const File &input,
                          File *output)
{
    const OutputStep step{{output->path()}, input.path(), input.status, true};
    if (m_project->makeOutputs(step,
                               [&] { return m_project->runTool(tool, arguments, verbosity); })) {
        output->status = output->directory->status(output->name);
        return true;
    }
    errorString = m_project->errorText();
    return false;
}

bool ProjectMake::copy(const Destination &destination, File *file)
{
    const File input = *file;
    *file = outputFile(destination, destination.name.extension);
    if (!needRebuild(input.status, file->status))
        return true;
    const QString source = input.path();
    const QString target = file->path();
    if (file->status.exists() && !QFile::remove(target))
        return m_project->raiseError(u"Cannot delete %1"_s.arg(target));
    return m_project->makeOutputs({{target}, source, input.status, true}, [&] {
        return QFile::copy(source, target)
               || m_project->raiseError(u"Cannot write %1"_s.arg(target));
    });
}
