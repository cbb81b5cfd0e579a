#include "compile/projectmake.h"

#include "engine/arguments.h"
#include "engine/project.h"
#include "files/changes.h"
#include "files/copyfile.h"
#include "tools/tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

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
    createdDirectories.clear();
    m_walked.clear();
    return makeDirectory(objectDirectory) && doCompile({});
}

bool ProjectMake::needRebuild(const QString &input, const QString &output) const
{
    return needRebuild(FileStatus::of(input), FileStatus::of(output));
}

Staleness ProjectMake::staleness(const FileStatus &input, const FileStatus &output) const
{
    const Staleness why = m_project->staleness(input, output, rebuildAll);
    if (why == Staleness::Current && referenceTime.isValid()
        && output.modified().toMilliseconds() < referenceTime.toMSecsSinceEpoch())
        return Staleness::OlderThanProjectFile;
    return why;
}

bool ProjectMake::doCompile(const QString &relativePath)
{
    const QString path = pathBelow(sourceDirectory, relativePath);
    const FileStatus status = FileStatus::of(path);
    if (status.isDirectory())
        return enterDirectory(relativePath, status.id());
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

bool ProjectMake::enterDirectory(const QString &relativePath, const FileId &id)
{
    // A link that leads back to where the walk is already would be followed for ever.
    if (std::find(m_walked.begin(), m_walked.end(), id) != m_walked.end())
        return true;
    m_walked.push_back(id);
    const bool ok = compileDirectory(relativePath);
    m_walked.pop_back();
    return ok;
}

bool ProjectMake::compileDirectory(const QString &relativePath)
{
    if (!m_project->checkInterruption())
        return false;
    Directory sources(pathBelow(sourceDirectory, relativePath));
    Directory outputs(pathBelow(objectDirectory, relativePath));
    const QString prefix = Tools::ensureDirectorySeparator(relativePath);
    DirectoryListing listing = sources.luaFilesAndDirectories();
    if (listing.error != 0 && FileStatus::afterError(listing.error).isUnknown())
        return raiseUnreadable(sources.path());
    // One that is gone meanwhile, or that the user must not read, counts as empty.
    if (listing.error != 0 && relativePath.isEmpty())
        m_project->msg(u"Warning: Cannot read directory %1"_s.arg(sourceDirectory));
    undecodableFiles += listing.undecodableFiles;
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
    OutputChain chain{.inputStatus = source.status, .dependsOnProjectFile = true};
    const std::optional<File> object = makeObject(source, destination, &chain);
    if (!chain.outputs.isEmpty() && !m_project->endOutputs(&chain))
        return false;
    if (!object)
        return false;
    objects.append({relativePath, object->path()});
    if (m_project->spec().lupdateEnabled() && process.lupdateEnabled())
        lupdateSources.append(source.path());
    return true;
}

std::optional<ProjectMake::File>
ProjectMake::makeObject(const File &source, const Destination &destination, OutputChain *chain)
{
    if (!process.preprocess()) {
        return process.compileLua() ? compileLua(source, destination, chain)
                                    : copy(source, destination, chain);
    }
    std::optional<File> preprocessed = preprocess(source, destination, chain);
    if (!preprocessed || !process.compileLua())
        return preprocessed;
    return compileLua(*preprocessed, destination, chain);
}

bool ProjectMake::raiseUnreadable(const QString &path)
{
    errorString = u"Cannot read %1"_s.arg(path);
    return false;
}

bool ProjectMake::makeMissingDirectory(Directory *directory)
{
    const QString &path = directory->path();
    if (directory->ensureOpen() || createdDirectories.contains(path))
        return true;
    if (!makeDirectory(path))
        return false;
    createdDirectories.insert(path);
    return true;
}

bool ProjectMake::makeDirectory(const QString &path)
{
    if (Changes::makeDirectory(path))
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

std::optional<ProjectMake::File>
ProjectMake::preprocess(const File &source, const Destination &destination, OutputChain *chain)
{
    const QStringList &includes = preprocessorIncludes();
    File output = destination.output("lui");
    const Staleness why = staleness(source.status, output.status);
    if (why == Staleness::Current)
        return output;

    QStringList arguments;
    if (process.removeComments())
        arguments << u"--strip"_s;
    if (process.simplifyWhitespace())
        arguments << u"--trim"_s;
    arguments << includes;
    arguments << pathOption(u"--out"_s, output.path());
    arguments << u"--root"_s << sourceDirectory; // as stored, unlike every other path
    arguments << pathOption(u"--"_s, source.path());
    chain->input = source.path();
    m_project->making(output.path(), source.path(), why);
    if (!makeOutput(u"ztlpp"_s, arguments, source, output, chain))
        return {};
    output.status = output.directory->status(output.name);
    return output;
}

std::optional<ProjectMake::File>
ProjectMake::compileLua(const File &input, const Destination &destination, OutputChain *chain)
{
    File output = destination.output("luo");
    const Staleness why = staleness(input.status, output.status);
    if (why == Staleness::Current)
        return output;

    QStringList arguments;
    if (process.stripLua())
        arguments << u"-s"_s;
    arguments << pathOption(u"-o"_s, output.path());
    arguments << pathOption(u"--"_s, input.path());
    if (output.status.isSameFileAs(chain->inputStatus)) {
        m_project->raiseError(u"Cannot write %1"_s.arg(output.path()));
        errorString = m_project->errorText();
        return {};
    }
    if (chain->input.isEmpty()) { // the preprocessed file is current, or there is none
        chain->input = input.path();
        chain->inputStatus = input.status;
    }
    m_project->making(output.path(), input.path(), why);
    if (!makeOutput(u"ztluac"_s, arguments, input, output, chain))
        return {};
    return output;
}

bool ProjectMake::makeOutput(const QString &tool, const QStringList &arguments, const File &input,
                             const File &output, OutputChain *chain)
{
    if (checkOutput(input, output)
        && m_project->makeOutputs(chain, {output.path()},
                                  m_project->toolCommand(tool, arguments, verbosity)))
        return true;
    errorString = m_project->errorText();
    return false;
}

bool ProjectMake::checkOutput(const File &input, const File &output)
{
    if (output.status.isSameFileAs(input.status))
        return m_project->raiseError(u"Cannot write %1"_s.arg(output.path()));
    return m_project->checkNoInput(output.path(), output.status);
}

std::optional<ProjectMake::File>
ProjectMake::copy(const File &source, const Destination &destination, OutputChain *chain)
{
    File output{destination.directory, std::string(destination.name), {}};
    output.status = output.directory->status(output.name);
    const Staleness why = staleness(source.status, output.status);
    if (why == Staleness::Current)
        return output;
    m_project->making(output.path(), source.path(), why);
    if (!checkOutput(source, output))
        return {};
    const QString path = output.path();
    if (output.status.exists() && !Changes::removeFile(path)) {
        m_project->raiseError(u"Cannot delete %1"_s.arg(path));
        return {};
    }
    chain->input = source.path();
    const QStringList outputs{path, temporaryCopyOf(path)};
    if (!m_project->beginOutputs(chain, outputs))
        return {};
    if (copyFile(chain->input, path))
        return output;
    m_project->failOutputs(chain, outputs);
    m_project->raiseError(u"Cannot write %1"_s.arg(path));
    return {};
}
