#include "compile/projectmake.h"

#include "engine/arguments.h"
#include "engine/project.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString pathBelow(const QString &directory, const QString &relativePath)
{
    return relativePath.isEmpty() ? directory
                                  : Tools::ensureDirectorySeparator(directory) + relativePath;
}

OutputStep stepOf(const QString &input, const FileStatus &inputStatus, const QString &output)
{
    return {.outputs = {output},
            .input = input,
            .inputStatus = inputStatus,
            .dependsOnProjectFile = true};
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
    const QString path = pathBelow(sourceDirectory, relativePath);
    const FileStatus status = FileStatus::of(path);
    if (status.isDirectory())
        return compileDirectory(relativePath);
    if (status.isUnknown())
        return raiseUnreadable(path);
    const std::string name = QFile::encodeName(path).toStdString();
    if (!status.isRegularFile() || !isLuaFile(name))
        return true;

    const QString destination = pathBelow(objectDirectory, relativePath);
    const std::string outputName = QFile::encodeName(destination).toStdString();
    Directory parent(QFileInfo(destination).path());
    Directory workingDirectory({});
    return makeMissingDirectory(&parent)
           && compileFile({&workingDirectory, name, status}, {&workingDirectory, outputName},
                          relativePath);
}

bool ProjectMake::compileDirectory(const QString &relativePath)
{
    if (!m_project->checkInterruption())
        return false;
    Directory sources(pathBelow(sourceDirectory, relativePath));
    Directory outputs(pathBelow(objectDirectory, relativePath));
    const QString prefix = Tools::ensureDirectorySeparator(relativePath);
    DirectoryListing listing = sources.luaFilesAndDirectories();
    // One that is gone meanwhile, or that the user must not read, counts as empty.
    if (listing.error != 0 && FileStatus::afterError(listing.error).isUnknown())
        return raiseUnreadable(sources.path());
    for (DirectoryListing::Entry &entry : listing.entries) {
        const QString entryPath = joinPath(prefix, entry.name);
        const FileStatus status = entry.isLuaFile ? sources.status(entry.name) : FileStatus();
        if (status.isRegularFile()) {
            const File source{&sources, std::move(entry.name), status};
            if (!makeMissingDirectory(&outputs)
                || !compileFile(source, {&outputs, source.name}, entryPath))
                return false;
        } else {
            // The number of open files must not grow with the depth of the tree.
            sources.close();
            outputs.close();
            if (!doCompile(entryPath))
                return false;
        }
    }
    return true;
}

bool ProjectMake::compileFile(const File &source, const Destination &destination,
                              const QString &relativePath)
{
    const std::optional<File> object = makeObject(source, destination);
    if (!object)
        return false;
    objects.append({relativePath, object->path()});
    if (m_project->spec().lupdateEnabled() && process.lupdateEnabled())
        lupdateSources.append(source.path());
    return true;
}

std::optional<ProjectMake::File> ProjectMake::makeObject(const File &source,
                                                         const Destination &destination)
{
    if (!process.preprocess())
        return process.compileLua() ? compileLua(source, destination) : copy(source, destination);
    std::optional<File> preprocessed = preprocess(source, destination);
    if (!preprocessed || !process.compileLua())
        return preprocessed;
    return compileLua(*preprocessed, destination);
}

bool ProjectMake::raiseUnreadable(const QString &path)
{
    errorString = u"Cannot read %1"_s.arg(path);
    return false;
}

bool ProjectMake::makeMissingDirectory(Directory *directory)
{
    return directory->ensureOpen() || makeDirectory(directory->path());
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
            m_includeArguments << pathOption(u"-I"_s, sdkIncludeDirectory);
        for (const QString &directory : std::as_const(process.include))
            m_includeArguments << pathOption(u"-I"_s, directory);
    }
    return m_includeArguments;
}

ProjectMake::File ProjectMake::Destination::output(std::string_view extension) const
{
    File file{directory, withExtension(name, extension), {}};
    file.status = directory->status(file.name);
    return file;
}

std::optional<ProjectMake::File> ProjectMake::preprocess(const File &input,
                                                         const Destination &destination)
{
    const QStringList &includes = preprocessorIncludes();
    File output = destination.output("lui");
    if (!needRebuild(input.status, output.status))
        return output;

    QStringList arguments;
    if (process.removeComments())
        arguments << u"--strip"_s;
    if (process.simplifyWhitespace())
        arguments << u"--trim"_s;
    arguments << includes;
    arguments << pathOption(u"--out"_s, output.path());
    arguments << u"--root"_s << sourceDirectory; // as stored, unlike every other path
    arguments << pathOption(u"--"_s, input.path());
    if (!makeOutput(u"ztlpp"_s, arguments, input, output))
        return {};
    output.status = output.directory->status(output.name);
    return output;
}

std::optional<ProjectMake::File> ProjectMake::compileLua(const File &input,
                                                         const Destination &destination)
{
    File output = destination.output("luo");
    if (!needRebuild(input.status, output.status))
        return output;

    QStringList arguments;
    if (process.stripLua())
        arguments << u"-s"_s;
    arguments << pathOption(u"-o"_s, output.path());
    arguments << pathOption(u"--"_s, input.path());
    if (!makeOutput(u"ztluac"_s, arguments, input, output))
        return {};
    return output;
}

bool ProjectMake::makeOutput(const QString &tool, const QStringList &arguments, const File &input,
                             const File &output)
{
    if (m_project->makeOutputs(stepOf(input.path(), input.status, output.path()),
                               m_project->toolCommand(tool, arguments, verbosity)))
        return true;
    errorString = m_project->errorText();
    return false;
}

std::optional<ProjectMake::File> ProjectMake::copy(const File &input,
                                                   const Destination &destination)
{
    File output{destination.directory, std::string(destination.name), {}};
    output.status = output.directory->status(output.name);
    if (!needRebuild(input.status, output.status))
        return output;
    const QString path = output.path();
    if (output.status.exists() && !QFile::remove(path)) {
        m_project->raiseError(u"Cannot delete %1"_s.arg(path));
        return {};
    }
    const OutputStep step = stepOf(input.path(), input.status, path);
    if (!m_project->beginOutputs(step))
        return {};
    const bool isCopied = QFile::copy(step.input, path);
    m_project->endOutputs(step, isCopied);
    if (isCopied)
        return output;
    m_project->raiseError(u"Cannot write %1"_s.arg(path));
    return {};
}
