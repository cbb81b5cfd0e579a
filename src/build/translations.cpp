#include "build/translations.h"

#include "build/rootimage.h"
#include "engine/arguments.h"
#include "engine/project.h"
#include "files/changes.h"
#include "files/filestatus.h"

#include <QDir>

using namespace Qt::StringLiterals;

bool Translations::update()
{
    for (const TranslationSources &entry : std::as_const(m_sources)) {
        if (!entry.sources.isEmpty() && !scan(entry))
            return false;
    }
    for (const QString &language : m_project->spec().languages) {
        if (!release(language))
            return false;
    }
    return true;
}

void Translations::addTo(RootImage *image) const
{
    for (const QString &language : m_project->spec().languages) {
        image->addFile(u"usr/lib/translations/"_s + language + u".qm"_s,
                       m_project->spec().qmFilePath(language + u".qm"_s));
    }
}

bool Translations::scan(const TranslationSources &entry)
{
    // The tool runs in the translation directory, one level below the project's.
    const ProjectSpec &spec = m_project->spec();
    const QString up = u"../"_s;
    const QString reportPath = spec.translationReport();
    Changes::removeFile(reportPath);

    QStringList arguments{u"--xml-report"_s, up + reportPath};
    const QString &baseDirectory = spec.translationBaseDir;
    if (!baseDirectory.isEmpty()) {
        QString base = up + entry.directory;
        if (!base.endsWith(u'/') && !baseDirectory.startsWith(u'/'))
            base += u'/';
        arguments << u"-B"_s << base + baseDirectory;
    }
    arguments << u"--source-language"_s
              << (spec.defaultLanguage.isEmpty() ? u"C"_s : spec.defaultLanguage);
    for (const QString &language : spec.languages) {
        arguments << u"--target-language"_s << language;
        arguments << u"--ts"_s << language + u".ts"_s;
    }
    for (const QString &source : entry.sources)
        arguments << up + source;
    return m_project->runToolIn(spec.tsFilePath({}), u"ztlupdate"_s, arguments, spec.verbose);
}

bool Translations::release(const QString &language)
{
    const ProjectSpec &spec = m_project->spec();
    const QString source = spec.tsFilePath(language + u".ts"_s);
    const QString target = spec.qmFilePath(language + u".qm"_s);
    const FileStatus input = FileStatus::of(source);
    const FileStatus output = FileStatus::of(target);
    const Staleness why = m_project->staleness(input, output, m_rebuildAll);
    if (why == Staleness::Current)
        return true;
    if (!m_project->checkNoInput(target, output))
        return false;
    m_project->making(target, source, why);
    QStringList arguments{u"-removeidentical"_s, u"-nounfinished"_s, u"-silent"_s};
    arguments << QDir::toNativeSeparators(source);
    arguments << pathOption(u"-qm"_s, target);
    OutputChain chain{.input = source, .inputStatus = input, .removesAfterFailure = false};
    const bool ok = m_project->makeOutputs(
            &chain, {target}, m_project->toolCommand(u"lrelease"_s, arguments, spec.verbose));
    return m_project->endOutputs(&chain) && ok;
}
