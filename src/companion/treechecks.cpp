#include "companion/checkedproject.h"

#include "files/directory.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <filesystem>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

/// Something of one kind in a tree.
struct Occurrence
{
    QString first;
    int count = 0;

    void add(const fs::path &path)
    {
        const QString name = QFile::decodeName(path.c_str());
        if (count++ == 0 || name < first)
            first = name;
    }
    /// @return the first, and how many more there are
    QString text() const
    {
        return count == 1 ? first : u"%1 and %2 more"_s.arg(first).arg(count - 1);
    }
};

/// @return whether that is where a revision control keeps what it knows: a directory, or a file, as
/// in a submodule
bool isRepository(const std::string &name)
{
    static constexpr std::array<std::string_view, 9> names{
            ".git", ".hg", ".bzr", ".jj", ".pijul", "_darcs", ".fossil", ".fslckout", "_FOSSIL_"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// What a merged directory holds that is worth a warning.
struct Tree
{
    Occurrence links;
    Occurrence loops;
    Occurrence hidden;
    Occurrence undecodable;
    Occurrence repositories;
    Occurrence projects;
    Occurrence unreadable;
    Occurrence special;
    Occurrence keys;
};

class TreeWalk
{
public:
    /// @param keyFile  empty: there is none
    TreeWalk(Tree *tree, QString projectFile, QString keyFile)
        : m_tree(tree), m_projectFile(std::move(projectFile)), m_keyFile(std::move(keyFile))
    {
    }

    void walk(const fs::path &directory, bool isHidden)
    {
        std::error_code error;
        const fs::path real = fs::canonical(directory, error);
        if (error)
            return;
        m_open.push_back(real);
        for (const fs::directory_entry &entry : fs::directory_iterator(directory, error))
            look(entry, isHidden);
        if (error && m_open.size() > 1)
            m_tree->unreadable.add(directory);
        m_open.pop_back();
    }

private:
    void look(const fs::directory_entry &entry, bool isHidden)
    {
        std::error_code error;
        const std::string name = entry.path().filename().native();
        const bool isHere = isHidden || name.starts_with('.');
        if (name == ".svn")
            return; // left out of images
        if (!entry.is_directory(error)) {
            lookAtKind(entry);
            lookAtFile(entry.path(), name, isHere);
            if (!entry.is_symlink(error) && isKey(entry.path()))
                m_tree->keys.add(entry.path());
            return;
        }
        if (isRepository(name)) {
            m_tree->repositories.add(entry.path());
            return;
        }
        if (entry.is_symlink(error)) {
            const fs::path target = fs::canonical(entry.path(), error);
            const bool isLoop = std::find(m_open.begin(), m_open.end(), target) != m_open.end();
            (isLoop ? m_tree->loops : m_tree->links).add(entry.path());
            if (isLoop)
                return;
        }
        walk(entry.path(), isHere);
    }

    /// Links are packed as such.
    void lookAtKind(const fs::directory_entry &entry)
    {
        std::error_code error;
        if (entry.is_symlink(error))
            return;
        if (!entry.is_regular_file(error))
            m_tree->special.add(entry.path());
        else if (access(entry.path().c_str(), R_OK) != 0)
            m_tree->unreadable.add(entry.path());
    }

    void lookAtFile(const fs::path &path, const std::string &name, bool isHidden)
    {
        if (isLuaFile(name) && !QByteArrayView(path.native()).isValidUtf8())
            m_tree->undecodable.add(path);
        else if (isLuaFile(name) && isHidden)
            m_tree->hidden.add(path);
        if (isRepository(name))
            m_tree->repositories.add(path);
        const bool isProject = fs::path(name).extension() == ".ztp";
        if (isProject && CheckedProject::realPath(QFile::decodeName(path.c_str())) != m_projectFile)
            m_tree->projects.add(path);
    }

    bool isKey(const fs::path &path) const
    {
        return !m_keyFile.isEmpty()
               && m_keyFile.endsWith(QFile::decodeName(path.filename().c_str()))
               && CheckedProject::realPath(QFile::decodeName(path.c_str())) == m_keyFile;
    }

    Tree *m_tree;
    QString m_projectFile;
    QString m_keyFile;
    std::vector<fs::path> m_open; ///< the directories on the way, without links
};

void reportKey(CheckedProject *project, const Place &place, const QString &keys)
{
    project->warn(
            place, "merge",
            u"The merge holds the key: %1; everyone who has the firmware has it, too"_s.arg(keys),
            u"Move the key out of the merge, and sign with a new one."_s);
}

void reportTree(CheckedProject *project, const Place &place, const MergeSpec &merge,
                const Tree &tree)
{
    const ProcessSpec process = project->spec.processOf(project->spec.filesystems.first(), merge);
    const bool isCompiled = process.preprocess() || process.compileLua();
    const auto warn = [&](const Occurrence &found, const char *check, const QString &text,
                          const QString &cure) {
        if (found.count > 0)
            project->warn(place, check, text.arg(found.text()), cure);
    };
    warn(tree.repositories, "merge", u"The merge holds a repository: %1"_s,
         u"Merge a directory that holds nothing but what the device needs."_s);
    warn(tree.projects, "merge", u"The merge holds another project: %1"_s,
         u"Merge a directory that holds nothing but what the device needs."_s);
    warn(tree.loops, "link", u"A link leads back to a directory above it: %1"_s,
         u"Remove the link; the tools differ in what they make of it."_s);
    warn(tree.links, "link",
         u"Links to directories are followed, and packed like directories: %1"_s,
         u"If that is meant, give the directory a Merge of its own."_s);
    const auto refuse = [&](const Occurrence &found, const QString &text) {
        if (found.count > 0)
            project->error(place, "source", text.arg(found.text()),
                           u"Remove it from the merge, or correct its owner and rights."_s);
    };
    refuse(tree.unreadable, u"The merge holds something that cannot be read: %1"_s);
    refuse(tree.special,
           u"The merge holds something that is neither file, directory nor link: %1"_s);
    if (tree.keys.count > 0)
        reportKey(project, place, tree.keys.text());
    if (!isCompiled)
        return;
    warn(tree.hidden, "hidden", u"Hidden Lua files are not compiled, and shipped as source: %1"_s,
         u"Rename them, or move them out of the tree."_s);
    warn(tree.undecodable, "hidden",
         u"Lua files with names that are not UTF-8 are not compiled, and shipped as source: %1"_s,
         u"Rename them."_s);
}

void checkOwnOutputs(CheckedProject *project, const Place &place, const QString &source)
{
    const ProjectSpec &spec = project->spec;
    const QString directory = CheckedProject::realPath(source);
    for (const QString &path : {spec.objectFilePath({}), spec.outputFilePath({})}) {
        if (CheckedProject::isInside(CheckedProject::realPath(path), directory)) {
            project->warn(
                    place, "merge",
                    u"The merge holds %1: each build packs what the previous one made"_s.arg(path),
                    u"Merge a directory below, or move ObjectDirectory and OutputDirectory out "
                    "of it."_s);
        }
    }
}

} // namespace

void checkTrees(CheckedProject *project)
{
    const ProjectSpec &spec = project->spec;
    const QString key = spec.keyFile.isEmpty()
                                ? QString()
                                : CheckedProject::realPath(spec.projectFilePath(spec.keyFile));
    const QList<MergeSpec> merges = project->merges();
    for (qsizetype i = 0; i < merges.size(); ++i) {
        const QString source = spec.projectFilePath(merges[i].source);
        if (merges[i].type == MergeSpec::Type::Archive)
            continue;
        const Place place = project->mergePlace(i);
        if (!QFileInfo(source).isDir()) { // a File may be a directory, too
            if (CheckedProject::realPath(source) == key)
                reportKey(project, place, source);
            continue;
        }
        checkOwnOutputs(project, place, source);
        Tree tree;
        TreeWalk walk(&tree, CheckedProject::realPath(project->opened.file), key);
        walk.walk(fs::path(QFile::encodeName(source).toStdString()), false);
        reportTree(project, place, merges[i], tree);
    }
}
