#include "xml/projectparser2.h"

#include "xml/projectnamespaces.h"

using namespace Qt::StringLiterals;

bool ProjectParser2::parseProjectFile(const QString &path, ProjectSpec *spec)
{
    m_recognised = false;
    if (!openFile(path))
        return false;
    *spec = {};
    m_spec = spec;
    const bool ok = parse();
    m_spec = nullptr;
    closeFile();
    return ok;
}

bool ProjectParser2::parse()
{
    if (readNext() != StartDocument)
        return raiseError(u"This doesn't look like an XML file."_s);
    if (readNext() != StartElement || name() != "ZeltaProject"_L1)
        return raiseError(u"This doesn't look like a Zelta Project file."_s);
    if (namespaceUri() != QLatin1StringView(ProjectNamespaces::current))
        return raiseError(u"Namespace \"%1\" not supported."_s.arg(namespaceUri()));
    m_recognised = true;
    readNext();
    return expectStartElement("Project") && readProject() && readDocumentEnd();
}

bool ProjectParser2::readProject()
{
    m_spec->name = stringAttribute("Name");
    m_spec->version = stringAttribute("Version");
    m_spec->svnversion = tristateAttribute("Svnversion");
    m_spec->projectDirectory = stringAttribute("ProjectDirectory");
    m_spec->verbose = intAttribute("Verbose", -1);
    m_spec->outputDirectory = stringAttribute("OutputDirectory");
    m_spec->objectDirectory = stringAttribute("ObjectDirectory");
    m_spec->buildInstaller = tristateAttribute("BuildInstaller");
    m_spec->encryptInstaller = tristateAttribute("EncryptInstaller");
    m_spec->includeMbr = tristateAttribute("IncludeMBR");
    m_spec->setSdk(stringAttribute("SDK"));
    m_spec->keyFile = stringAttribute("KeyFile");
    m_spec->tagMap = stringAttribute("TagMap");
    m_spec->stateFile_ = stringAttribute("StateFile");
    if (hasError())
        return false;
    if (m_spec->name.isEmpty())
        return raiseError(u"Project name missing or empty."_s);

    return readChildren({
            {"Startup", [this] { return readStartup(); }},
            {"Target", [this] { return readTarget(); }},
            {"Filesystem", [this] { return readFilesystem(); }},
            {"Process", [this] { return readProcessSpec(&m_spec->process); }},
            {"Translation", [this] { return readTranslation(); }},
            {"MTD16", [this] { return readMTD16(); }},
    });
}

bool ProjectParser2::readDocumentEnd()
{
    if (!expectNextEndElement("ZeltaProject"))
        return false;
    if (readNext() != EndDocument)
        return raiseError(u"End of document expected"_s);
    return true;
}

bool ProjectParser2::readStartup()
{
    m_spec->startupFile = stringAttribute("File");
    m_spec->interactive = tristateAttribute("Interactive");
    return expectNextEndElement("Startup");
}

bool ProjectParser2::readTarget()
{
    // A target with other attributes but no Model is accepted, with an empty model: such project
    // files exist.
    if (attributes().isEmpty())
        return raiseError(u"\"Model\" attribute missing or empty in <Target> element."_s);
    TargetSpec target;
    target.model = stringAttribute("Model");
    target.buildInstaller = tristateAttribute("BuildInstaller");
    target.includeMbr = tristateAttribute("IncludeMBR");
    target.verbose = intAttribute("Verbose", -1);
    if (hasError())
        return false;
    m_spec->targets.append(target);
    return expectNextEndElement("Target");
}

bool ProjectParser2::readFilesystem()
{
    FilesystemSpec filesystem;
    filesystem.type = FilesystemSpec::romfsType;
    const QString type = stringAttribute("Type");
    if (!type.isEmpty() && type != "romfs"_L1)
        return raiseError(u"\"Type\" attribute value \"%1\" invalid."_s.arg(type));
    filesystem.label = stringAttribute("Label");
    filesystem.includeBase = tristateAttribute("IncludeBase");
    filesystem.verbose = intAttribute("Verbose", -1);
    if (hasError())
        return false;

    if (!readChildren({
                {"Merge", [&] { return readMerge(&filesystem); }},
                {"Process", [&] { return readProcessSpec(&filesystem.process); }},
        }))
        return false;
    m_spec->filesystems.append(filesystem);
    return true;
}

bool ProjectParser2::readMerge(FilesystemSpec *filesystem)
{
    MergeSpec merge;
    const QString type = stringAttribute("Type");
    merge.type = MergeSpec::typeFromWord(type);
    if (merge.type == MergeSpec::Type::None)
        return raiseError(u"\"Type\" attribute value \"%1\" missing or invalid."_s.arg(type));

    if (!readChildren({
                textChild("Source", [&](const QString &text) { merge.source = text; }),
                textChild("Destination", [&](const QString &text) { merge.destination = text; }),
                {"Process", [&] { return readProcessSpec(&merge.process); }},
        }))
        return false;
    filesystem->merges.append(merge);
    return true;
}

bool ProjectParser2::readProcessSpec(ProcessSpec *process)
{
    return readChildren({
            {"Preprocess", [&] { return readPreprocess(process); }},
            {"Compile", [&] { return readCompile(process); }},
    });
}

bool ProjectParser2::readPreprocess(ProcessSpec *process)
{
    const QString type = stringAttribute("Type");
    if (type != "Ztlpp"_L1)
        return raiseError(u"Preprocessing type \"%1\" not supported"_s.arg(type));
    process->preprocess_ = tristateAttribute("Enabled");
    process->removeComments_ = tristateAttribute("RemoveComments");
    process->simplifyWhitespace_ = tristateAttribute("SimplifyWhitespace");
    if (hasError())
        return false;
    return readChildren(
            {textChild("Include", [&](const QString &text) { process->include.append(text); })});
}

bool ProjectParser2::readCompile(ProcessSpec *process)
{
    const QString type = stringAttribute("Type");
    if (type != "Lua"_L1)
        return raiseError(u"Compilation type \"%1\" not supported"_s.arg(type));
    process->compile = tristateAttribute("Enabled");
    process->strip = tristateAttribute("Strip");
    process->strict = tristateAttribute("Strict");
    return expectNextEndElement("Compile");
}

bool ProjectParser2::readTranslation()
{
    m_spec->translation = tristateAttribute("Enabled");
    m_spec->translationBaseDir = stringAttribute("BaseDir");
    if (hasError())
        return false;
    return readChildren({
            textChild("Language", [this](const QString &text) { m_spec->languages.append(text); }),
            textChild("Default", [this](const QString &text) { m_spec->defaultLanguage = text; }),
    });
}

bool ProjectParser2::readMTD16()
{
    m_spec->mtd16 = tristateAttribute("Enabled");
    if (hasError())
        return false;
    return readChildren({
            textChild("Source",
                      [this](const QString &text) { m_spec->setMtd16DefinitionFile(text); }),
            textChild("Header", [this](const QString &text) { m_spec->mtd16Header.assign(text); }),
            textChild("Lua", [this](const QString &text) { m_spec->mtd16Lua.assign(text); }),
    });
}

XmlFileParser::Child ProjectParser2::textChild(const char *name,
                                               std::function<void(const QString &)> store)
{
    return {name, [this, store = std::move(store)] {
                store(readCharacters());
                return !hasError();
            }};
}
