#include "engine/inputs.h"

#include "model/projectspec.h"
#include "tools/tools.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// @return the path by which the file is known in its folder, which may be a link
QString placeOf(const QString &path)
{
    const QFileInfo info(path);
    return QFileInfo(info.path()).canonicalFilePath() + u'/' + info.fileName();
}

} // namespace

bool Inputs::contains(const QString &path, const FileStatus &file) const
{
    if (!isFound(path, file))
        return false;
    // An input that was replaced meanwhile has left its number to be used again.
    m_found = {};
    return isFound(path, file);
}

bool Inputs::isFound(const QString &path, const FileStatus &file) const
{
    const auto isAmong = [&file](const std::vector<FileId> &files) {
        return std::binary_search(files.begin(), files.end(), file.id());
    };
    if (!m_found.named)
        m_found.named = findNamed();
    if (isAmong(*m_found.named))
        return true;

    const QFileInfo info(path);
    const QString realPath = info.canonicalFilePath();
    const bool isLua = realPath.endsWith(".lua"_L1, Qt::CaseInsensitive);
    if (!isLua && !file.hasOtherNames())
        return false;
    if (!m_found.trees)
        findTrees();
    const auto isSourceIn = [&](const QString &tree) {
        return realPath.startsWith(tree) && isSource(realPath, tree);
    };
    if (isLua && std::any_of(m_found.trees->begin(), m_found.trees->end(), isSourceIn))
        return true;
    if (!file.hasOtherNames() && realPath == QDir::cleanPath(info.absoluteFilePath()))
        return false;
    // A tree may hold links to files and directories elsewhere, too.
    if (!m_found.luaSources)
        m_found.luaSources = findLuaSources();
    return isAmong(*m_found.luaSources);
}

/// @return whether a Lua file that @p tree leads to is a source: the module that is made of the
/// definitions is none, nor is what lies in an object directory inside the tree
bool Inputs::isSource(const QString &realPath, const QString &tree) const
{
    return realPath != m_found.generatedModule
           && (!realPath.startsWith(m_found.objectDirectory)
               || tree.startsWith(m_found.objectDirectory));
}

void Inputs::findTrees() const
{
    const auto realDirectory = [](const QString &directory) {
        return Tools::ensureDirectorySeparator(QFileInfo(directory).canonicalFilePath());
    };
    m_found.trees.emplace();
    m_found.objectDirectory = realDirectory(m_spec.objectFilePath({}));
    if (m_spec.mtd16Enabled())
        m_found.generatedModule = placeOf(m_spec.mtd16Lua.effectiveValue());
    for (const FilesystemSpec &filesystem : m_spec.filesystems) {
        for (const MergeSpec &merge : filesystem.merges) {
            const QString tree = realDirectory(m_spec.projectFilePath(merge.source));
            if (!tree.isEmpty())
                m_found.trees->append(tree);
        }
    }
}

std::vector<FileId> Inputs::findLuaSources() const
{
    std::vector<FileId> files;
    for (const QString &tree : std::as_const(*m_found.trees)) {
        QDirIterator entries(tree, {u"*.lua"_s}, QDir::Files | QDir::Hidden,
                             QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
        while (entries.hasNext()) {
            const QString path = entries.next();
            if (placeOf(path) != m_found.generatedModule
                && isSource(QFileInfo(path).canonicalFilePath(), tree))
                files.push_back(FileStatus::of(path).id());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<FileId> Inputs::findNamed() const
{
    QStringList paths{m_spec.projectFile, m_spec.sdkPath(u"kernel/base.romfs"_s),
                      m_spec.sdkPath(u"kernel/install.romfs"_s)};
    if (m_spec.mtd16Enabled())
        paths << m_spec.mtd16DefinitionPath();
    if (!m_spec.keyFile.isEmpty())
        paths << m_spec.projectFilePath(m_spec.keyFile);
    for (const TargetSpec &target : m_spec.targets) {
        paths << m_spec.sdkPath(u"kernel/%1-kernel.bin"_s.arg(target.model));
        paths << m_spec.sdkPath(u"kernel/%1-boot.bin"_s.arg(target.model));
    }
    for (const QString &language : m_spec.languages)
        paths << m_spec.tsFilePath(language + u".ts"_s);
    for (const FilesystemSpec &filesystem : m_spec.filesystems) {
        for (const MergeSpec &merge : filesystem.merges)
            paths << m_spec.projectFilePath(merge.source);
    }

    std::vector<FileId> files;
    for (const QString &path : std::as_const(paths)) {
        const FileStatus status = FileStatus::of(path);
        if (status.isRegularFile())
            files.push_back(status.id());
    }
    std::sort(files.begin(), files.end());
    return files;
}
