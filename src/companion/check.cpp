#include "companion/check.h"

#include "app/makeproject.h"
#include "companion/checkedproject.h"
#include "companion/output.h"
#include "companion/schemacheck.h"
#include "engine/interruption.h"
#include "tools/tools.h"
#include "xml/boundedfile.h"
#include "xml/projectnamespaces.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 maximumSize = qint64(64) * 1024 * 1024; // no project file is near that

/// @return the place that a reader's message names
Place placeIn(const QString &message)
{
    static const QRegularExpression pattern(u"Line (\\d+), Column (\\d+)"_s);
    const QRegularExpressionMatch match = pattern.match(message);
    return match.hasMatch() ? Place{match.captured(1).toInt(), match.captured(2).toInt()}
                            : Place{1, 1};
}

QString withoutPlace(const QString &message)
{
    const qsizetype lineEnd = message.indexOf(u'\n');
    return (lineEnd < 0 ? message : message.sliced(lineEnd)).simplified();
}

/// @return whether the root element is the one of a project file, of whatever generation
bool isProjectFile(const QByteArray &text)
{
    QXmlStreamReader reader(text);
    return reader.readNextStartElement() && reader.name() == "ZeltaProject"_L1
           && (reader.namespaceUri() == QLatin1StringView(ProjectNamespaces::current)
               || reader.namespaceUri() == QLatin1StringView(ProjectNamespaces::first));
}

/// Reports what the readers have said.
void reportRefusal(CheckedProject *project, const QByteArray &text, const QString &reason)
{
    QString cure = u"Correct it, and what the schema finds, as project-file.md describes."_s;
    if (text.isEmpty())
        cure = u"Name the project file, or start ztproject where it is."_s;
    else if (!isProjectFile(text))
        cure = u"Begin it with <ZeltaProject xmlns=\"%1\">, as ztproject init does."_s.arg(
                QLatin1StringView(ProjectNamespaces::current));
    project->error(project->places.inCharacters(placeIn(reason)), "project-file",
                   withoutPlace(reason), cure);
}

QList<Finding> findingsOf(OpenedProject *opened, bool isRead, bool compare, const QString &error)
{
    BoundedFile file(opened->file);
    const QByteArray text = QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly)
                                    ? file.read(maximumSize)
                                    : QByteArray();
    const Places places(text);
    CheckedProject project{.opened = *opened, .spec = opened->spec, .places = places};
    if (!text.isEmpty())
        project.findings = checkSchema(text, places);
    const bool isXml =
            std::none_of(project.findings.begin(), project.findings.end(),
                         [](const Finding &finding) { return finding.check == "xml"_L1; });
    if (!isRead && isXml)
        reportRefusal(&project, text, error);
    if (isRead) {
        const bool hasSdk = checkSdk(&project);
        checkDescription(&project);
        checkValues(&project);
        checkDefinitions(&project);
        checkInputs(&project);
        checkTrees(&project);
        checkNeighbours(&project);
        if (hasSdk) {
            checkBuild(&project);
            const bool areCompared = compare && compareOutputs(&project);
            checkTimes(&project, areCompared);
        }
    }
    for (Finding &finding : project.findings) {
        if (finding.file.isEmpty())
            finding.file = opened->file;
    }
    return project.findings;
}

void print(const QList<Finding> &findings, bool json)
{
    if (json) {
        std::fputs(QJsonDocument(jsonOf(findings)).toJson().constData(), stdout);
        return;
    }
    for (const Finding &finding : findings) {
        for (const QString &line : linesOf(finding))
            printLine(line);
    }
}

} // namespace

int checkProject(const CheckOptions &options)
{
    OpenedProject opened;
    QString error;
    const bool isRead = opened.open(options.projectFile, &error);
    if (opened.file.isEmpty()) {
        printMessage(error);
        return 1;
    }
    opened.spec.svnversion = Tristate{0}; // no check is about the version
    QList<Finding> findings = findingsOf(&opened, isRead, options.compare, error);
    if (Interruption::signal() != 0)
        Interruption::finish();
    std::stable_sort(findings.begin(), findings.end(), [&](const Finding &a, const Finding &b) {
        const auto key = [&](const Finding &finding) {
            return std::tuple(finding.file != opened.file, finding.file, finding.place.line,
                              finding.place.column);
        };
        return key(a) < key(b);
    });
    print(findings, options.json);
    const bool fails =
            std::any_of(findings.begin(), findings.end(), [&options](const Finding &finding) {
                return finding.severity == Finding::Severity::Error
                       || (options.strict && finding.severity == Finding::Severity::Warning);
            });
    return fails ? 1 : 0;
}
