#pragma once

#include "model/projectspec.h"
#include "xml/entitybound.h"

#include <QXmlDefaultHandler>

/// Reads project files of the first schema into a ProjectSpec.
///
/// Unlike in the current schema, an unknown element is an error, merges carry their source as text,
/// and project-wide preprocessing and compilation are always off.
class ProjectParser1 : public QXmlDefaultHandler
{
public:
    /// Fills @p spec, which the caller has reset; after a failure it must not be used.
    /// @return false with errorString() set: a bare message, without file, line or column
    bool parseProjectFile(const QString &path, ProjectSpec *spec);

    QString errorString() const override { return m_errorMessage; }

    /// @return whether the root element was this schema's. Only true during the parse: it is
    /// cleared at its end, and the caller's choice of messages is written against that.
    bool recognised() const { return m_recognised; }

    bool startDocument() override;
    bool internalEntityDecl(const QString &name, const QString &value) override;
    /// Refuses a document whose entities would expand without end.
    bool endDTD() override;
    bool startElement(const QString &namespaceURI, const QString &localName, const QString &qName,
                      const QXmlAttributes &attributes) override;
    bool endElement(const QString &namespaceURI, const QString &localName,
                    const QString &qName) override;
    bool characters(const QString &text) override;

private:
    enum class State { Idle = -1, Document, Root, Project, Filesystem, Merge, Target };

    void resetParser();
    bool fail(const QString &message);
    bool checkNameSpace(const QString &uri);
    bool enterProject(const QXmlAttributes &attributes);
    bool enterTarget(const QXmlAttributes &attributes);
    bool enterFilesystem(const QXmlAttributes &attributes);
    bool enterMerge(const QXmlAttributes &attributes);
    void charactersMerge(const QString &text);
    bool decodeTristate(const QXmlAttributes &attributes, const QString &name, Tristate *out);

    ProjectSpec *m_spec = nullptr;
    State m_state = State::Idle;
    EntityBound m_entities;
    QString m_errorMessage; ///< the first failure
    FilesystemSpec m_currentFilesystem;
    MergeSpec m_currentMerge;
    TargetSpec m_currentTarget;
    bool m_recognised = false;
};
