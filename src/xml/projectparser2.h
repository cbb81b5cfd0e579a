#pragma once

#include "model/projectspec.h"
#include "xml/xmlfileparser.h"

/// Reads project files of the current schema into a ProjectSpec.
///
/// Resolves no paths and looks at no other file. `projectFile` is left to the caller.
class ProjectParser2 : public XmlFileParser
{
public:
    /// Resets @p spec to its defaults and fills it; after a failure it must not be used.
    /// @return false with errorString() set; recognised() then tells whether the file was meant for
    /// this schema, or may belong to the first one
    bool parseProjectFile(const QString &path, ProjectSpec *spec);

    bool recognised() const { return m_recognised; }

private:
    bool parse();
    bool readProject();
    bool readDocumentEnd();
    bool readStartup();
    bool readTarget();
    bool readFilesystem();
    bool readMerge(FilesystemSpec *filesystem);
    bool readProcessSpec(ProcessSpec *process);
    bool readPreprocess(ProcessSpec *process);
    bool readCompile(ProcessSpec *process);
    bool readTranslation();
    bool readMTD16();

    Child textChild(const char *name, std::function<void(const QString &)> store);

    ProjectSpec *m_spec = nullptr; ///< set while parseProjectFile() runs
    bool m_recognised = false;
};
