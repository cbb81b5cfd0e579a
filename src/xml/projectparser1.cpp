#include "xml/projectparser1.h"

#include "xml/boundedfile.h"
#include "xml/projectnamespaces.h"

#include <QXmlInputSource>
#include <QXmlSimpleReader>

using namespace Qt::StringLiterals;

namespace {

/// An absent level and one that is not a number both count as not set; nothing is reported.
int verboseLevel(const QXmlAttributes &attributes)
{
    bool isNumber = false;
    const int level = attributes.value(u"Verbose"_s).toInt(&isNumber);
    return isNumber ? level : -1;
}

} // namespace

bool ProjectParser1::parseProjectFile(const QString &path, ProjectSpec *spec)
{
    m_spec = spec;
    m_errorMessage.clear();
    m_spec->projectFile = path;

    BoundedFile file(path);
    QXmlInputSource source(&file);
    QXmlSimpleReader reader;
    reader.setContentHandler(this);
    reader.setLexicalHandler(this);
    reader.setDeclHandler(this);
    m_entities = {};
    const bool ok =
            EntityBound::mayBeParsed(path) && reader.parse(&source) && !file.hasTooManyAttributes();
    resetParser();
    if (!ok && m_errorMessage.isEmpty())
        m_errorMessage = u"I'm sorry, but I can't find a valid project in that file."_s;
    return ok;
}

void ProjectParser1::resetParser()
{
    m_state = State::Idle;
    m_currentFilesystem = {};
    m_currentMerge = {};
    m_currentTarget = {};
    m_recognised = false;
}

bool ProjectParser1::fail(const QString &message)
{
    m_errorMessage = message;
    return false;
}

bool ProjectParser1::checkNameSpace(const QString &uri)
{
    if (uri == QLatin1StringView(ProjectNamespaces::first))
        return true;
    return fail(u"Namespace \"%1\" not supported."_s.arg(uri));
}

bool ProjectParser1::startDocument()
{
    m_state = State::Document;
    return true;
}

bool ProjectParser1::internalEntityDecl(const QString &name, const QString &value)
{
    return m_entities.declare(name, value);
}

bool ProjectParser1::endDTD()
{
    return m_entities.mayBeExpanded(m_spec->projectFile);
}

bool ProjectParser1::startElement(const QString &namespaceURI, const QString & /*localName*/,
                                  const QString &qName, const QXmlAttributes &attributes)
{
    if (!checkNameSpace(namespaceURI))
        return false;
    if (m_state == State::Document && qName == "ZeltaProject"_L1) {
        m_recognised = true;
        m_state = State::Root;
        return true;
    }
    if (m_state == State::Root && qName == "Project"_L1)
        return enterProject(attributes);
    if (m_state == State::Project && qName == "Filesystem"_L1)
        return enterFilesystem(attributes);
    if (m_state == State::Project && qName == "Target"_L1)
        return enterTarget(attributes);
    if (m_state == State::Filesystem && qName == "Merge"_L1)
        return enterMerge(attributes);
    return fail(u"Unexpected \"%1\" element"_s.arg(qName));
}

bool ProjectParser1::endElement(const QString & /*namespaceURI*/, const QString & /*localName*/,
                                const QString & /*qName*/)
{
    switch (m_state) {
    case State::Merge:
        m_currentFilesystem.merges.append(m_currentMerge);
        m_currentMerge = {};
        m_state = State::Filesystem;
        break;
    case State::Filesystem:
        m_spec->filesystems.append(m_currentFilesystem);
        m_currentFilesystem.clear();
        m_state = State::Project;
        break;
    case State::Target:
        m_spec->targets.append(m_currentTarget);
        m_currentTarget = {};
        m_state = State::Project;
        break;
    case State::Project:
        m_state = State::Root;
        break;
    case State::Document:
    case State::Root:
        m_state = State::Idle;
        break;
    case State::Idle:
        break;
    }
    return true;
}

bool ProjectParser1::characters(const QString &text)
{
    if (m_state == State::Merge) {
        charactersMerge(text);
        return true;
    }
    return text.simplified().isEmpty() || fail(u"Characters not expected."_s);
}

void ProjectParser1::charactersMerge(const QString &text)
{
    // Replaces what an earlier piece of the same text left: projects rely on the last piece.
    m_currentMerge.source = text;
}

bool ProjectParser1::enterProject(const QXmlAttributes &attributes)
{
    m_spec->name = attributes.value(u"Name"_s);
    m_spec->version = attributes.value(u"Version"_s);
    if (!decodeTristate(attributes, u"Svnversion"_s, &m_spec->svnversion))
        return false;
    m_spec->projectDirectory = attributes.value(u"ProjectDirectory"_s);
    m_spec->verbose = verboseLevel(attributes);
    m_spec->outputDirectory = attributes.value(u"OutputDirectory"_s);
    m_spec->objectDirectory = attributes.value(u"ObjectDirectory"_s);
    if (!decodeTristate(attributes, u"BuildInstaller"_s, &m_spec->buildInstaller)
        || !decodeTristate(attributes, u"IncludeMBR"_s, &m_spec->includeMbr))
        return false;
    m_spec->setSdk(attributes.value(u"SDK"_s));
    m_spec->keyFile = attributes.value(u"KeyFile"_s);
    m_spec->tagMap = attributes.value(u"TagMap"_s);
    m_spec->stateFile_ = attributes.value(u"StateFile"_s);
    if (!decodeTristate(attributes, u"CompileLua"_s, &m_spec->process.compile))
        return false;
    // Projects of this schema are not preprocessed or compiled as a whole, whatever the attribute
    // says; a bad word in it is an error all the same.
    m_spec->process.compile = {0};
    m_spec->process.preprocess_ = {0};
    m_state = State::Project;
    return true;
}

bool ProjectParser1::enterTarget(const QXmlAttributes &attributes)
{
    if (attributes.index(u"Model"_s) < 0)
        return fail(u"\"Model\" attribute missing in \"Target\" element."_s);
    m_currentTarget.model = attributes.value(u"Model"_s);
    if (!decodeTristate(attributes, u"BuildInstaller"_s, &m_currentTarget.buildInstaller)
        || !decodeTristate(attributes, u"IncludeMBR"_s, &m_currentTarget.includeMbr))
        return false;
    m_currentTarget.verbose = verboseLevel(attributes);
    m_state = State::Target;
    return true;
}

bool ProjectParser1::enterFilesystem(const QXmlAttributes &attributes)
{
    m_currentFilesystem.type = FilesystemSpec::romfsType;
    const QString type = attributes.value(u"Type"_s);
    if (attributes.index(u"Type"_s) >= 0 && type != "romfs"_L1)
        return fail(u"\"Type\" attribute value \"%1\" invalid."_s.arg(type));
    m_currentFilesystem.label = attributes.value(u"Label"_s);
    if (!decodeTristate(attributes, u"IncludeBase"_s, &m_currentFilesystem.includeBase)
        || !decodeTristate(attributes, u"CompileLua"_s, &m_currentFilesystem.process.compile))
        return false;
    m_currentFilesystem.verbose = verboseLevel(attributes);
    m_state = State::Filesystem;
    return true;
}

bool ProjectParser1::enterMerge(const QXmlAttributes &attributes)
{
    if (attributes.index(u"Type"_s) < 0)
        return fail(u"\"Type\" attribute missing in \"Merge\" element."_s);
    const QString type = attributes.value(u"Type"_s);
    m_currentMerge.type = MergeSpec::typeFromWord(type);
    if (m_currentMerge.type == MergeSpec::Type::None)
        return fail(u"\"Type\" attribute value \"%1\" invalid."_s.arg(type));
    m_currentMerge.destination = attributes.value(u"Destination"_s);
    if (!decodeTristate(attributes, u"CompileLua"_s, &m_currentMerge.process.compile))
        return false;
    m_state = State::Merge;
    return true;
}

bool ProjectParser1::decodeTristate(const QXmlAttributes &attributes, const QString &name,
                                    Tristate *out)
{
    if (attributes.index(name) < 0)
        return true;
    const QString value = attributes.value(name).toLower();
    *out = Tristate::fromWord(value);
    return out->isSet()
           || fail(u"Expected a \"%1\" boolean value, but got \"%2\""_s.arg(name, value));
}
