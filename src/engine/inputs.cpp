#include "engine/inputs.h"

#include "model/projectspec.h"

#include "tools/tools.h"

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

bool Inputs::contains(const FileStatus &file) const
{
    if (!file.isRegularFile())
        return false;
    const auto isFound = [&] {
        return std::binary_search(m_files->begin(), m_files->end(), file.id());
    };
    if (!m_files)
        m_files = find();
    if (!isFound())
        return false;
    // An input that was replaced meanwhile has left its number to be used again.
    m_files = find();
    return isFound();
}

bool Inputs::isLuaSource(const QString &path) const
{
    const auto realDirectory = [](const QString &directory) {
        return Tools::ensureDirectorySeparator(QFileInfo(directory).canonicalFilePath());
    };
    const QString file = QFileInfo(path).canonicalFilePath();
    if (!file.endsWith(".lua"_L1, Qt::CaseInsensitive))
        return false;
    if (m_spec.mtd16Enabled()
        && QFileInfo(m_spec.mtd16Lua.effectiveValue()).canonicalFilePath() == file)
        return false; // which a build makes
    const QString objects = realDirectory(m_spec.objectFilePath({}));
    for (const FilesystemSpec &filesystem : m_spec.filesystems) {
        for (const MergeSpec &merge : filesystem.merges) {
            const QString tree = realDirectory(m_spec.projectFilePath(merge.source));
            const bool holdsObjects = objects.startsWith(tree) && objects != tree;
            if (!tree.isEmpty() && file.startsWith(tree)
                && !(holdsObjects && file.startsWith(objects)))
                return true;
        }
    }
    return false;
}

void Inputs::forget()
{
    m_files.reset();
}

std::vector<FileId> Inputs::find() const
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
