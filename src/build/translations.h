#pragma once

#include <QList>
#include <QStringList>

class Project;
class RootImage;

/// The sources of one compiled merge entry that are scanned for translatable texts.
struct TranslationSources
{
    QString directory; ///< the entry's source, as handed to the compilation
    QStringList sources;
};

/// The translations of a build: the sources are kept up to date and compiled into catalogues.
class Translations
{
public:
    /// @param rebuildAll  treat every catalogue as out of date
    Translations(Project *project, bool rebuildAll) : m_project(project), m_rebuildAll(rebuildAll)
    {
    }

    void addSources(const TranslationSources &sources) { m_sources.append(sources); }

    /// Scans the sources, and brings the catalogues of all languages up to date.
    bool update();

    /// Adds the catalogues to the root image.
    void addTo(RootImage *image) const;

private:
    bool scan(const TranslationSources &entry);

    Project *m_project;
    bool m_rebuildAll;
    QList<TranslationSources> m_sources;
};
