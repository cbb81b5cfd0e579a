#include "build/rootimage.h"

#include "engine/arguments.h"
#include "engine/project.h"

using namespace Qt::StringLiterals;

RootImage::RootImage(Project *project, const FilesystemSpec &filesystem)
    : m_project(project), m_filesystem(filesystem)
{
}

int RootImage::level() const
{
    return m_project->spec().inheritedLevel(m_filesystem.verbose);
}

bool RootImage::begin(QString *temporaryFile)
{
    if (!m_project->prepareTemporaryFile(u"root.romfs"_s, temporaryFile))
        return false;
    m_path = *temporaryFile;
    m_arguments << verbosityLetters(level());
    m_arguments << u"-x"_s << u".svn"_s;
    m_arguments << pathOption(u"-o"_s, m_path);
    m_arguments << u"--label"_s << m_filesystem.label;
    if (m_filesystem.includeBase.isOn())
        addArchive(m_project->spec().sdkPath(u"kernel/base.romfs"_s));
    return true;
}

void RootImage::setDestination(const QString &directory)
{
    m_arguments << u"-D"_s << (directory.isEmpty() ? u"/"_s : directory);
}

void RootImage::addSource(const QString &path)
{
    m_arguments << pathOption(u"-i"_s, path);
}

void RootImage::addArchive(const QString &path)
{
    m_arguments << pathOption(u"--merge"_s, path);
}

void RootImage::addFile(const QString &destination, const QString &path)
{
    m_arguments << u"-D"_s << destination << u"-i"_s << QDir::toNativeSeparators(path);
}

bool RootImage::pack()
{
    return m_project->makeImage(m_path,
                                m_project->toolCommand(u"ztmkromfs"_s, m_arguments, level()));
}
