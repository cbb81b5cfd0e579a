#include "companion/checkedproject.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

/// @return the directive in the first line of a source, as far as a compiler would leave it out
QString firstDirective(const QString &path)
{
    constexpr qint64 enough = 128;
    static const QRegularExpression pattern(
            u"^#[ \\t]*(include|define|undef|if|ifdef|ifndef|elif|else|endif)\\b"_s);
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(file.readLine(enough)));
    return match.hasMatch() ? u'#' + match.captured(1) : QString();
}

/// The first line of a Lua source is for a shell if it begins with "#".
void checkFirstLines(CheckedProject *project, const RehearsedBuild &build)
{
    for (const RehearsedStep &step : build.steps()) {
        const bool isCompiled =
                step.command >= 0 && build.commands()[step.command].displayName == "ztluac"_L1;
        if (!isCompiled || step.isInputMade)
            continue;
        const QString directive = firstDirective(step.input);
        if (!directive.isEmpty()) {
            project->warnIn(
                    step.input, {1, 1}, "directive",
                    u"The first line is left out: %1 in a source that is not preprocessed"_s.arg(
                            directive),
                    u"Let the source be preprocessed, or remove the line."_s);
        }
    }
}

bool haveOneText(const QString &a, const QString &b)
{
    QFile one(a);
    QFile other(b);
    return one.open(QIODevice::ReadOnly) && other.open(QIODevice::ReadOnly)
           && one.readAll() == other.readAll();
}

void checkHeadersIn(CheckedProject *project, const QString &directory, const QString &first)
{
    QDirIterator files(first, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString header = files.next();
        const QString own = QDir(directory).filePath(QDir(first).relativeFilePath(header));
        if (!QFileInfo(own).isFile() || haveOneText(own, header))
            continue;
        const auto place = project->places.elementWithText(u"Include"_s, directory);
        project->warn(place.value_or(project->places.element(u"Project"_s)), "include",
                      u"%1 is never taken: %2 comes first"_s.arg(own, header),
                      u"Give the header a name that the SDK does not have."_s);
    }
}

/// The SDK's headers are searched before the project's.
void checkHiddenHeaders(CheckedProject *project, const RehearsedBuild &build)
{
    const QString first = project->spec.sdkPath(u"usr/include"_s);
    QStringList directories;
    for (const Command &command : build.commands()) {
        if (command.displayName == "ztlpp"_L1)
            directories += optionValues(command.arguments, u"-I"_s);
    }
    directories.removeDuplicates();
    directories.removeAll(first);
    for (const QString &directory : std::as_const(directories))
        checkHeadersIn(project, directory, first);
}

} // namespace

void checkPreprocessing(CheckedProject *project, const RehearsedBuild &build)
{
    checkFirstLines(project, build);
    checkHiddenHeaders(project, build);
}
