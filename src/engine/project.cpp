#include "engine/project.h"

#include "tools/filestatus.h"

#include <QFile>

using namespace Qt::StringLiterals;

Project::Project(const ProjectSpec &spec) : m_spec(spec) {}

bool Project::raiseError(const QString &text)
{
    m_errorText = text;
    return false;
}

bool Project::run(Operation operation)
{
    m_errorText.clear();
    m_unfinishedOutputs.reset();
    const bool ok = checkSdk() && runOperation(operation);
    if (m_unfinishedOutputs)
        m_unfinishedOutputs->close(ok);
    return ok;
}

bool Project::runOperation(Operation operation)
{
    switch (operation) {
    case Operation::Build:
        return buildProject(false);
    case Operation::BuildAll:
        return buildProject(true);
    case Operation::ClearObsolete:
        return clearObsolete();
    case Operation::CleanFirmwareFolder:
        return cleanFirmwareFolder();
    }
    return false;
}

bool Project::checkSdk()
{
    m_spec.refreshSdkCache();
    const QString directory = m_spec.sdkCache;
    if (directory.isEmpty())
        return raiseError(u"Cannot find SDK directory."_s);
    const FileStatus status = FileStatus::of(directory);
    if (!status.exists())
        return raiseError(u"SDK %1 does not exist."_s.arg(directory));
    if (!status.isDirectory())
        return raiseError(u"SDK %1 is not a directory."_s.arg(directory));
    return true;
}

bool Project::prepareTemporaryFile(const QString &name, QString *previous)
{
    const QString path = m_spec.objectFilePath(name);
    const FileStatus status = FileStatus::of(path);
    if (status.exists()) {
        if (!status.isRegularFile())
            return raiseError(u"Refusing to overwrite non-file %1"_s.arg(path));
        // The placeholder is never filled: deliberate, the text is known as it is.
        if (!QFile::remove(path))
            return raiseError(u"Cannot remove %s"_s);
    }
    if (path == *previous)
        return true;
    if (!previous->isEmpty())
        QFile::remove(*previous);
    *previous = path;
    return true;
}

QString Project::generateVersion()
{
    return m_spec.svnversion.isOn() ? m_spec.version + runSvnversion() : m_spec.version;
}
