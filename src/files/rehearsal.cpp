#include "files/rehearsal.h"

#include <QDir>
#include <QFile>
#include <QString>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>
#include <unordered_map>

#include <fcntl.h>

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

struct State
{
    std::map<std::string, FileStatus> files; ///< by resolved paths; what was removed is missing
    std::unordered_map<std::string, std::string> resolved; ///< directories
    ino_t lastNumber = 0;
};

std::optional<State> state;

/// @return the path without links on the way to the file, which need not exist
std::string resolve(const QString &path)
{
    std::error_code error;
    const fs::path absolute = fs::absolute(QFile::encodeName(path).toStdString(), error);
    const fs::path directory = absolute.parent_path();
    const auto [known, isNew] = state->resolved.try_emplace(directory.native());
    if (isNew)
        known->second = fs::weakly_canonical(directory, error).native();
    return (fs::path(known->second) / absolute.filename()).native();
}

FileStatus onDisk(const std::string &path)
{
    return FileStatus::of(AT_FDCWD, path.c_str());
}

FileId newId()
{
    return {~dev_t(0), ++state->lastNumber}; // of no disk
}

FileTime now()
{
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return {time.tv_sec, time.tv_nsec};
}

/// Remembers a folder and those above it, as far as they are missing.
void makeFolders(fs::path folder)
{
    for (; !onDisk(folder.native()).exists(); folder = folder.parent_path())
        state->files.try_emplace(folder.native(), FileStatus::madeDirectory(newId(), now()));
}

} // namespace

void Rehearsal::begin()
{
    state.emplace();
}

void Rehearsal::end()
{
    state.reset();
}

bool Rehearsal::isOn()
{
    return state.has_value();
}

void Rehearsal::make(const QString &path)
{
    const std::string file = resolve(path);
    const FileStatus before = onDisk(file);
    state->files[file] = FileStatus::madeFile(before.exists() ? before.id() : newId(), now());
    makeFolders(fs::path(file).parent_path());
}

void Rehearsal::makeDirectory(const QString &path)
{
    // A slash at the end would be a name of its own.
    makeFolders(resolve(QDir::cleanPath(path)));
}

void Rehearsal::remove(const QString &path)
{
    state->files[resolve(path)] = FileStatus();
}

std::optional<FileStatus> Rehearsal::status(const QString &path)
{
    if (state->files.empty() || path.isEmpty())
        return {};
    const auto found = state->files.find(resolve(path));
    if (found == state->files.end())
        return {};
    return found->second;
}

void Rehearsal::amend(const QString &directory, DirectoryListing *listing)
{
    const std::string prefix = resolve(directory + u"/x"_s);
    const std::string_view start(prefix.data(), prefix.size() - 1);
    for (auto file = state->files.lower_bound(std::string(start));
         file != state->files.end() && file->first.starts_with(start); ++file) {
        const std::string name = file->first.substr(start.size());
        if (name.find('/') != std::string::npos || name.starts_with('.'))
            continue;
        auto &entries = listing->entries;
        const auto known = std::find_if(entries.begin(), entries.end(),
                                        [&](const auto &entry) { return entry.name == name; });
        const bool isLua = file->second.isRegularFile() && isLuaFile(name);
        if (!file->second.exists() && known != entries.end())
            entries.erase(known);
        else if ((isLua || file->second.isDirectory()) && known == entries.end())
            entries.push_back({name, isLua});
    }
}

bool Rehearsal::isNewDirectory(const QString &path)
{
    const std::optional<FileStatus> planned = status(path);
    return planned && planned->isDirectory();
}
