#include "build/translations.h"

#include "build/rootimage.h"
#include "engine/arguments.h"
#include "engine/project.h"
#include "files/changes.h"
#include "files/filestatus.h"

#include <QDir>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// Compiles the texts of one language when its catalogue is out of date.
class CatalogueJob final : public Job
{
public:
    CatalogueJob(Project *project, const QString &language, bool rebuildAll)
        : m_project(project), m_source(project->spec().tsFilePath(language + u".ts"_s)),
          m_target(project->spec().qmFilePath(language + u".qm"_s)), m_rebuildAll(rebuildAll)
    {
    }

    QString label() const override { return m_target; }
    QStringList outputs() const override { return {m_target}; }

    bool next(std::optional<Command> *command) override
    {
        if (std::exchange(m_hasBegun, true))
            return true;
        const FileStatus input = FileStatus::of(m_source);
        const FileStatus output = FileStatus::of(m_target);
        const Staleness why = m_project->staleness(input, output, m_rebuildAll);
        if (why == Staleness::Current)
            return true;
        QStringList arguments{u"-removeidentical"_s, u"-nounfinished"_s, u"-silent"_s};
        arguments << QDir::toNativeSeparators(m_source);
        arguments << pathOption(u"-qm"_s, m_target);
        *command = m_project->toolCommand(u"lrelease"_s, arguments, m_project->spec().verbose);
        m_chain = {.input = m_source, .inputStatus = input, .removesAfterFailure = false};
        if (!m_project->checkNoInput(m_target, output))
            return false;
        m_project->making(m_target, m_source, why);
        return m_project->beginOutputs(&m_chain, {m_target});
    }

    void ended(const CommandResult &result) override
    {
        m_project->outputsEnded(&m_chain, {m_target}, result);
    }

    bool finish() override { return m_chain.input.isEmpty() || m_project->endOutputs(m_chain); }

private:
    Project *m_project;
    QString m_source;
    QString m_target;
    bool m_rebuildAll;
    bool m_hasBegun = false;
    OutputChain m_chain;
};

} // namespace

bool Translations::update()
{
    for (const TranslationSources &entry : std::as_const(m_sources)) {
        if (!entry.sources.isEmpty() && !scan(entry))
            return false;
    }
    JobQueue &jobs = m_project->jobs();
    const QStringList &languages = m_project->spec().languages;
    const bool ok = std::all_of(languages.begin(), languages.end(), [&](const QString &language) {
        return jobs.add(std::make_unique<CatalogueJob>(m_project, language, m_rebuildAll));
    });
    return jobs.finish() && ok;
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
