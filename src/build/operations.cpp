#include "build/build.h"
#include "build/firmwarelinker.h"
#include "engine/arguments.h"
#include "engine/project.h"
#include "files/changes.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

namespace {

/// For the operations that are not builds, when the project sets no level.
constexpr int defaultLevel = 1;

} // namespace

bool Project::run(Operation operation)
{
    m_errorText.clear();
    const bool ok = checkSdk() && runOperation(operation);
    m_outputGuard.close(ok);
    m_nameLock.release(); // first: who has to wait for it alone takes this build for killed
    m_lock.release();
    // Programs that a tool has left behind have inherited the claim.
    if (BuildLock lock;
        m_outputGuard.isWaryOfOrphans() && lock.tryAcquire(m_spec.objectFilePath({})))
        m_outputGuard.forgetOrphans();
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
        return claimObjectDirectory({}) && clearObsolete();
    case Operation::CleanFirmwareFolder:
        return claimObjectDirectory({}) && cleanFirmwareFolder();
    }
    return false;
}

bool Project::buildProject(bool rebuildAll)
{
    Build build(this, rebuildAll);
    const bool ok = build.run();
    // One of the jobs that are still running after a failure may have failed first.
    return m_jobs.finish() && ok;
}

bool Project::clearObsolete()
{
    const QString reportPath = m_spec.translationReport();
    QFile::remove(reportPath);

    // The tool runs in the translation directory. Existing projects rely on the fixed "../", which
    // leads to the report only for a project file in the working directory.
    QStringList arguments{u"--clearobsolete"_s};
    arguments << pathOption(u"--xml-report"_s, u"../"_s + reportPath);
    for (const QString &language : m_spec.languages)
        arguments << pathOption(u"--ts"_s, language + u".ts"_s);
    return runToolIn(m_spec.tsFilePath({}), u"ztlupdate"_s, arguments, m_spec.level(defaultLevel));
}

bool Project::cleanFirmwareFolder()
{
    const int verbosity = m_spec.level(defaultLevel);
    const QStringList wildcards = firmwareWildcards(m_spec);
    if (wildcards.isEmpty())
        return true;
    const QDir folder(m_spec.outputFilePath({}));
    const QStringList files = folder.entryList(wildcards, QDir::Files, QDir::Unsorted);
    for (const QString &file : files) {
        const QString path = folder.filePath(file);
        if (m_inputs.contains(path, FileStatus::of(path)))
            continue; // it may be the only copy
        if (verbosity > 1)
            msg(u"Removing "_s + file);
        Changes::removeFile(path);
    }
    return true;
}
