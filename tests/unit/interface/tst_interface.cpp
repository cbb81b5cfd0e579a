// The names that other code relies on, from the command line down to the compilers. If one is
// missing, this does not compile.
#include "app/makeproject.h"
#include "app/options.h"
#include "compile/projectmake.h"
#include "compile/projectmtd16.h"
#include "files/filestatus.h"
#include "tools/sdkdir.h"
#include "tools/tools.h"
#include "xml/projectparser1.h"
#include "xml/projectparser2.h"
#include "xml/translationreportparser.h"

#include <QtTest>

#include <type_traits>

namespace {

template <auto member, typename Type>
constexpr bool has = std::is_same_v<decltype(member), Type>;

// The command line
static_assert(std::is_base_of_v<Project, MakeProject>);
static_assert(has<&MakeProject::msg, void (MakeProject::*)(const QString &)>);
static_assert(has<&usage, int (*)()>);
static_assert(std::is_same_v<decltype(myname), const char *>);

// Helpers
using Text = const QString &;
static_assert(has<&Tools::ensureDirectorySeparator, QString (*)(Text)>);
static_assert(has<&Tools::replaceExtension, QString (*)(Text, Text)>);
static_assert(has<&Tools::safeFileName, QString (*)(Text)>);
static_assert(has<&Tools::tokenName, QString (*)(QXmlStreamReader::TokenType)>);
static_assert(has<&Tools::findProfile, QString (*)(Text, Text)>);
static_assert(has<&Tools::zeltaSdkDir, QString (*)()>);
static_assert(has<&Tools::zeltaSDKRepositoryDir, QString (*)()>);
static_assert(has<&Tools::appDataPath, QString (*)()>);
static_assert(has<&Tools::documentsPath, QString (*)()>);

// The project model
static_assert(std::is_same_v<decltype(Tristate::value), int>);
static_assert(has<&DefaultString::defaultValue, QString DefaultString::*>);
static_assert(has<&DefaultString::value, QString DefaultString::*>);

template <auto... members>
constexpr bool areTristates = (std::is_same_v<decltype(members), Tristate ProcessSpec::*> && ...);
static_assert(areTristates<&ProcessSpec::preprocess_, &ProcessSpec::simplifyWhitespace_,
                           &ProcessSpec::removeComments_, &ProcessSpec::compile,
                           &ProcessSpec::strip, &ProcessSpec::strict, &ProcessSpec::lupdate>);
static_assert(has<&ProcessSpec::include, QStringList ProcessSpec::*>);
using Accessor = bool (ProcessSpec::*)() const;
static_assert(
        has<
                &ProcessSpec::preprocess,
                Accessor> && has<&ProcessSpec::simplifyWhitespace, Accessor> && has<&ProcessSpec::removeComments, Accessor> && has<&ProcessSpec::compileLua, Accessor> && has<&ProcessSpec::lupdateEnabled, Accessor> && has<&ProcessSpec::stripLua, Accessor> && has<&ProcessSpec::strictLua, Accessor> && has<&ProcessSpec::isActive, Accessor>);
static_assert(has<&ProcessSpec::clear, void (ProcessSpec::*)()>);
static_assert(has<&ProcessSpec::mergeFrom, void (ProcessSpec::*)(const ProcessSpec &)>);
static_assert(
        has<&TargetSpec::model,
            QString TargetSpec::
                    *> && has<&TargetSpec::buildInstaller, Tristate TargetSpec::*> && has<&TargetSpec::includeMbr, Tristate TargetSpec::*> && has<&TargetSpec::verbose, int TargetSpec::*>);
static_assert(
        has<&MergeSpec::type,
            MergeSpec::Type MergeSpec::
                    *> && has<&MergeSpec::source, QString MergeSpec::*> && has<&MergeSpec::destination, QString MergeSpec::*> && has<&MergeSpec::process, ProcessSpec MergeSpec::*>);
static_assert(static_cast<int>(MergeSpec::Type::File) == 0
              && static_cast<int>(MergeSpec::Type::Directory) == 1
              && static_cast<int>(MergeSpec::Type::Archive) == 2);
static_assert(
        has<
                &FilesystemSpec::type, int FilesystemSpec::*> && has<&FilesystemSpec::includeBase, Tristate FilesystemSpec::*> && has<&FilesystemSpec::label, QString FilesystemSpec::*> && has<&FilesystemSpec::merges, QList<MergeSpec> FilesystemSpec::*> && has<&FilesystemSpec::process, ProcessSpec FilesystemSpec::*> && has<&FilesystemSpec::verbose, int FilesystemSpec::*> && has<&FilesystemSpec::clear, void (FilesystemSpec::*)()>);

template <auto... members>
constexpr bool areTexts = (std::is_same_v<decltype(members), QString ProjectSpec::*> && ...);
static_assert(areTexts<&ProjectSpec::projectFile, &ProjectSpec::projectDirectory,
                       &ProjectSpec::objectDirectory, &ProjectSpec::outputDirectory,
                       &ProjectSpec::keyFile, &ProjectSpec::tagMap, &ProjectSpec::stateFile_,
                       &ProjectSpec::version, &ProjectSpec::name, &ProjectSpec::startupFile,
                       &ProjectSpec::defaultLanguage, &ProjectSpec::translationBaseDir,
                       &ProjectSpec::mtd16Source, &ProjectSpec::sdk, &ProjectSpec::sdkCache>);
static_assert(has<&ProjectSpec::interactive, Tristate ProjectSpec::*> && has<&ProjectSpec::buildInstaller, Tristate ProjectSpec::*> && has<&ProjectSpec::includeMbr, Tristate ProjectSpec::*> && has<&ProjectSpec::encryptInstaller, Tristate ProjectSpec::*> && has<&ProjectSpec::translation, Tristate ProjectSpec::*> && has<&ProjectSpec::svnversion, Tristate ProjectSpec::*> && has<&ProjectSpec::mtd16, Tristate ProjectSpec::*>);
static_assert(
        has<
                &ProjectSpec::filesystems,
                QList<FilesystemSpec> ProjectSpec::
                        *> && has<&ProjectSpec::targets, QList<TargetSpec> ProjectSpec::*> && has<&ProjectSpec::languages, QStringList ProjectSpec::*> && has<&ProjectSpec::process, ProcessSpec ProjectSpec::*> && has<&ProjectSpec::verbose, int ProjectSpec::*> && has<&ProjectSpec::mtd16Header, DefaultString ProjectSpec::*> && has<&ProjectSpec::mtd16Lua, DefaultString ProjectSpec::*>);
static_assert(
        has<&ProjectSpec::clear,
            void (ProjectSpec::
                          *)()> && has<&ProjectSpec::findTargetByName, TargetSpec *(ProjectSpec::*)(Text)> && has<&ProjectSpec::interactiveAfterStartup, bool (ProjectSpec::*)() const> && has<&ProjectSpec::lupdateEnabled, bool (ProjectSpec::*)() const> && has<&ProjectSpec::mtd16Enabled, bool (ProjectSpec::*)() const>);

// Paths
using PathRule = QString (ProjectSpec::*)(Text) const;
static_assert(
        has<
                &ProjectSpec::toolPath,
                PathRule> && has<&ProjectSpec::sdkPath, PathRule> && has<&ProjectSpec::projectFilePath, PathRule> && has<&ProjectSpec::tsFilePath, PathRule> && has<&ProjectSpec::objectFilePath, PathRule> && has<&ProjectSpec::qmFilePath, PathRule> && has<&ProjectSpec::outputFilePath, PathRule>);
static_assert(std::is_invocable_r_v<QString, decltype([](const ProjectSpec &spec) {
                                        return spec.stateFile() + spec.stateFile({}, {});
                                    }),
                                    const ProjectSpec &>);
static_assert(has<&ProjectSpec::setSdk, void (
                                                ProjectSpec::*)(Text)> && has<&ProjectSpec::refreshSdkCache, void (ProjectSpec::*)() const> && has<&ProjectSpec::mtd16DefaultDefinitionFile, QString (ProjectSpec::*)() const> && has<&ProjectSpec::setMtd16DefinitionFile, void (ProjectSpec::*)(Text)> && has<&ProjectSpec::mtd16DefinitionFile, QString (ProjectSpec::*)() const>);

// Readers
static_assert(std::is_base_of_v<QXmlStreamReader, XmlFileParser>);
static_assert(has<&XmlFileParser::openFile, bool (XmlFileParser::*)(Text)> && has<&XmlFileParser::closeFile, void (XmlFileParser::*)()> && has<&XmlFileParser::readNext, QXmlStreamReader::TokenType (XmlFileParser::*)()> && has<&XmlFileParser::readCharacters, QString (XmlFileParser::*)()> && has<&XmlFileParser::expectStartElement, bool (XmlFileParser::*)(const char *)> && has<&XmlFileParser::expectNextEndElement, bool (XmlFileParser::*)(const char *)> && has<&XmlFileParser::skipElement, bool (XmlFileParser::*)()> && has<&XmlFileParser::tristateAttribute, Tristate (XmlFileParser::*)(const char *)> && has<&XmlFileParser::intAttribute, int (XmlFileParser::*)(const char *, int)> && has<&XmlFileParser::boolAttribute, bool (XmlFileParser::*)(const char *, bool)> && has<&XmlFileParser::raiseError, bool (XmlFileParser::*)(Text)> && has<&XmlFileParser::errorString, QString (XmlFileParser::*)() const>);
static_assert(std::is_base_of_v<XmlFileParser, ProjectParser2>);
static_assert(
        has<&ProjectParser2::parseProjectFile,
            bool (ProjectParser2::*)(
                    Text,
                    ProjectSpec
                            *)> && has<&ProjectParser2::recognised, bool (ProjectParser2::*)() const>);
static_assert(std::is_base_of_v<QXmlDefaultHandler, ProjectParser1>);
static_assert(
        has<
                &ProjectParser1::parseProjectFile,
                bool (ProjectParser1::*)(
                        Text, ProjectSpec *)> && has<&ProjectParser1::recognised, bool (ProjectParser1::*)() const> && has<&ProjectParser1::errorString, QString (ProjectParser1::*)() const> && has<&ProjectParser1::startDocument, bool (ProjectParser1::*)()> && has<&ProjectParser1::startElement, bool (ProjectParser1::*)(Text, Text, Text, const QXmlAttributes &)> && has<&ProjectParser1::endElement, bool (ProjectParser1::*)(Text, Text, Text)> && has<&ProjectParser1::characters, bool (ProjectParser1::*)(Text)>);

// The engine
static_assert(static_cast<int>(Project::Operation::Build) == 0
              && static_cast<int>(Project::Operation::BuildAll) == 1
              && static_cast<int>(Project::Operation::ClearObsolete) == 2
              && static_cast<int>(Project::Operation::CleanFirmwareFolder) == 3);
static_assert(std::is_constructible_v<MakeProject, const ProjectSpec &>);
static_assert(
        has<&Project::run, bool (Project::*)(Project::
                                                     Operation)> && has<&Project::raiseError, bool (Project::*)(Text)> && has<&Project::runCommand, bool (Project::*)(Text, Text, Text, const QStringList &, int)> && has<&Project::runToolIn, bool (Project::*)(Text, Text, const QStringList &, int)> && has<&Project::runTool, bool (Project::*)(Text, const QStringList &, int)> && has<&Project::prepareTemporaryFile, bool (Project::*)(Text, QString *)> && has<&Project::runSvnversion, QString (Project::*)()> && has<&Project::generateVersion, QString (Project::*)()> && has<&Project::msg, void (Project::*)(Text)>);
static_assert(
        has<&Project::buildProject,
            bool (Project::*)(
                    bool)> && has<&Project::clearObsolete, bool (Project::*)()> && has<&Project::cleanFirmwareFolder, bool (Project::*)()>);
static_assert(has<&needRebuild, bool (*)(Text, Text)>);

// The compilers
static_assert(std::is_constructible_v<ProjectMake, Project *>);
static_assert(
        has<&ProjectMake::verbosity, int ProjectMake::
                                             *> && has<&ProjectMake::sdkIncludeDirectory, QString ProjectMake::*> && has<&ProjectMake::process, ProcessSpec ProjectMake::*> && has<&ProjectMake::sourceDirectory, QString ProjectMake::*> && has<&ProjectMake::objectDirectory, QString ProjectMake::*> && has<&ProjectMake::rebuildAll, bool ProjectMake::*> && has<&ProjectMake::referenceTime, QDateTime ProjectMake::*> && has<&ProjectMake::errorString, QString ProjectMake::*> && has<&ProjectMake::createdDirectories, QSet<QString> ProjectMake::*> && has<&ProjectMake::objects, QList<CompiledObject> ProjectMake::*> && has<&ProjectMake::lupdateSources, QStringList ProjectMake::*>);
static_assert(has<&CompiledObject::sourceFile,
                  QString CompiledObject::
                          *> && has<&CompiledObject::objectFile, QString CompiledObject::*>);
static_assert(
        has<&ProjectMake::compile,
            bool (ProjectMake::*)()> && has<&ProjectMake::doCompile, bool (ProjectMake::*)(Text)>);
static_assert(std::is_invocable_r_v<bool, decltype([](const ProjectMake &compiler) {
                                        return compiler.needRebuild(QString(), QString());
                                    }),
                                    const ProjectMake &>);
static_assert(std::is_constructible_v<ProjectMtd16, Project *>);
static_assert(has<&ProjectMtd16::verbosity,
                  int ProjectMtd16::
                          *> && has<&ProjectMtd16::definitionFile, QString ProjectMtd16::*> && has<&ProjectMtd16::headerFile, QString ProjectMtd16::*> && has<&ProjectMtd16::luaFile, QString ProjectMtd16::*> && has<&ProjectMtd16::rebuildAll, bool ProjectMtd16::*> && has<&ProjectMtd16::errorString, QString ProjectMtd16::*> && has<&ProjectMtd16::compile, bool (ProjectMtd16::*)()>);
static_assert(std::is_invocable_r_v<bool, decltype([](const ProjectMtd16 &compiler) {
                                        return compiler.needRebuild(QDateTime(), QString());
                                    }),
                                    const ProjectMtd16 &>);

// The translation report
static_assert(has<
                      &TranslationReport::fileName,
                      QString TranslationReport::*> && has<&TranslationReport::sourceLanguage, QString TranslationReport::*> && has<&TranslationReport::language, QString TranslationReport::*> && has<&TranslationReport::total, quint32 TranslationReport::*> && has<&TranslationReport::unfinished, quint32 TranslationReport::*> && has<&TranslationReport::obsolete, quint32 TranslationReport::*>);
static_assert(std::is_base_of_v<XmlFileParser, TranslationReportParser>);
static_assert(
        has<&TranslationReportParser::readSource,
            bool (TranslationReportParser::
                          *)()> && has<&TranslationReportParser::readStats, bool (TranslationReportParser::*)(TranslationReport *)>);
static_assert(
        has<&TranslationReportParser::parse,
            bool (TranslationReportParser::*)(
                    Text)> && has<&TranslationReportParser::reports, const QList<TranslationReport> &(TranslationReportParser::*)() const>);

} // namespace

class TestInterface : public QObject
{
    Q_OBJECT

private slots:
    void namesAreThere() {} // compiling is the test
};

QTEST_APPLESS_MAIN(TestInterface)
#include "tst_interface.moc"
