#include "engine/build.h"
#include "engine/project.h"
#include "tools/filestatus.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

bool Build::addTranslations()
{
    if (!m_spec.lupdateEnabled())
        return true;
    if (!updateTranslationSources())
        return false;
    for (const QString &language : m_spec.languages) {
        if (!releaseCatalogue(language))
            return false;
        addFileToRootImage(u"usr/lib/translations/"_s + language + u".qm"_s,
                           m_spec.qmFilePath(language + u".qm"_s));
    }
    return true;
}

bool Build::updateTranslationSources()
{
    for (const TranslationSources &entry : std::as_const(m_translationSources)) {
        if (!entry.sources.isEmpty() && !updateTranslationSources(entry))
            return false;
    }
    return true;
}

bool Build::updateTranslationSources(const TranslationSources &entry)
{
    // The tool runs in the translation directory, one level below the project's.
    const QString up = u"../"_s;
    const QString reportPath = m_spec.objectFilePath(u"translations/report.xml"_s);
    QFile::remove(reportPath);

    QStringList arguments{u"--xml-report"_s, up + reportPath};
    const QString &baseDirectory = m_spec.translationBaseDir;
    if (!baseDirectory.isEmpty()) {
        QString base = up + entry.directory;
        if (!base.endsWith(u'/') && !baseDirectory.startsWith(u'/'))
            base += u'/';
        arguments << u"-B"_s << base + baseDirectory;
    }
    arguments << u"--source-language"_s
              << (m_spec.defaultLanguage.isEmpty() ? u"C"_s : m_spec.defaultLanguage);
    for (const QString &language : m_spec.languages) {
        arguments << u"--target-language"_s << language;
        arguments << u"--ts"_s << language + u".ts"_s;
    }
    for (const QString &source : entry.sources)
        arguments << up + source;
    return m_project->runToolIn(m_spec.tsFilePath({}), u"ztlupdate"_s, arguments, m_spec.verbose);
}

bool Build::releaseCatalogue(const QString &language)
{
    const QString source = m_spec.tsFilePath(language + u".ts"_s);
    const QString target = m_spec.qmFilePath(language + u".qm"_s);
    const FileStatus status = FileStatus::of(source);
    if (!m_rebuildAll && !FileStatus::of(target).isOutOfDate(status))
        return true;
    const QStringList arguments{u"-removeidentical"_s,
                                u"-nounfinished"_s,
                                u"-silent"_s,
                                QDir::toNativeSeparators(source),
                                u"-qm"_s,
                                QDir::toNativeSeparators(target)};
    OutputStep step{{target}, source, status};
    step.removesAfterFailure = false;
    return m_project->makeOutputs(
            step, [&] { return m_project->runTool(u"lrelease"_s, arguments, m_spec.verbose); });
}
