#include "compile/projectmake.h"

#include "compile/luajob.h"
#include "engine/arguments.h"
#include "engine/project.h"
#include "files/changes.h"
#include "files/copyfile.h"
#include "tools/tools.h"

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
    m_readsOutputs = m_project->jobs().runsSeveral() && searchesOutputs();
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
    m_project->jobs().awaitOutputsIn(QFileInfo(path).path());
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
    // A link that leads back to where the walk is already would be followed forever.
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
    m_project->jobs().awaitOutputsIn(sources.path());
    Directory outputs(pathBelow(objectDirectory, relativePath));
    const QString prefix = Tools::ensureDirectorySeparator(relativePath);
    DirectoryListing listing = sources.luaFilesAndDirectories();
    if (listing.error != 0 && FileStatus::afterError(listing.error).isUnknown())
        return raiseUnreadable(sources.path());
    // One that is gone by now, or that the user may not read, counts as empty.
    if (listing.error != 0 && relativePath.isEmpty()) {
        if (!m_project->jobs().finish())
            return false;
        m_project->msg(u"Warning: Cannot read directory %1"_s.arg(sourceDirectory));
    }
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
    const std::optional<QString> object = makeObject(source, destination, relativePath);
    if (!object)
        return false;
    objects.append({relativePath, *object});
    if (m_project->spec().lupdateEnabled() && process.lupdateEnabled())
        lupdateSources.append(source.path());
    return true;
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
    File file = unseenOutput(extension);
    file.status = directory->status(file.name);
    return file;
}

std::optional<QString> ProjectMake::makeObject(const File &source, const Destination &destination,
                                               const QString &relativePath)
{
    if (!process.preprocess() && !process.compileLua())
        return copy(source, destination);
    const File input = process.preprocess() ? destination.output("lui") : source;
    bool isDue = process.preprocess() && needRebuild(source.status, input.status);
    std::optional<File> compiled;
    if (process.compileLua()) {
        compiled = isDue ? destination.unseenOutput("luo") : destination.output("luo");
        isDue = isDue || needRebuild(input.status, compiled->status);
    }
    const QString path = compiled ? compiled->path() : input.path();
    if (!isDue)
        return path;
    LuaFiles files;
    files.source = {source.path(), source.status};
    files.name = relativePath.isEmpty() ? files.source.path : relativePath;
    if (process.preprocess())
        files.preprocessed = {input.path(), input.status};
    if (compiled)
        files.compiled = {path, compiled->status};
    JobQueue &jobs = m_project->jobs();
    if (!jobs.add(std::make_unique<LuaJob>(m_project, *this, preprocessorIncludes(),
                                           std::move(files)))
        || (m_readsOutputs && !jobs.finish())) {
        errorString = m_project->errorText();
        return {};
    }
    return path;
}

/// @return whether the preprocessor searches the outputs, so that they have to be made in their
/// order
bool ProjectMake::searchesOutputs() const
{
    const QString outputs = QFileInfo(m_project->spec().objectFilePath({})).canonicalFilePath();
    return std::any_of(process.include.begin(), process.include.end(), [&](const QString &path) {
        // It may be made later.
        return Tools::ensureDirectorySeparator(QFileInfo(nearestExisting(path)).canonicalFilePath())
                .startsWith(Tools::ensureDirectorySeparator(outputs));
    });
}

std::optional<QString> ProjectMake::copy(const File &source, const Destination &destination)
{
    File output{destination.directory, std::string(destination.name), {}};
    output.status = output.directory->status(output.name);
    const QString path = output.path();
    const Staleness why = staleness(source.status, output.status);
    if (why == Staleness::Current)
        return path;
    m_project->making(path, source.path(), why);
    // What a job that is running reads must not change.
    if (!m_project->jobs().finish() || !m_project->checkNoInput(path, output.status, source.status))
        return {};
    if (output.status.exists() && !Changes::removeFile(path)) {
        m_project->raiseError(u"Cannot delete %1"_s.arg(path));
        return {};
    }
    OutputChain chain{
            .input = source.path(), .inputStatus = source.status, .dependsOnProjectFile = true};
    const QStringList outputs{path, temporaryCopyOf(path)};
    if (!m_project->beginOutputs(&chain, outputs))
        return {};
    if (!copyFile(chain.input, path)) {
        m_project->failOutputs(&chain, outputs);
        m_project->raiseError(u"Cannot write %1"_s.arg(path));
        return {};
    }
    if (!m_project->endOutputs(chain))
        return {};
    return path;
}
