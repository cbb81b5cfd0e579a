#include "engine/childprocess.h"
#include "engine/interruption.h"
#include "engine/project.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype minimumResponseFileArguments = 17;
constexpr qsizetype maximumEchoedArguments = 20;
constexpr int svnversionTimeout = 30'000; // milliseconds
constexpr int terminationGrace = 1'000;   // milliseconds

QString echoLine(const QString &workDir, const QString &displayName, const QStringList &arguments)
{
    QString line;
    if (!workDir.isEmpty())
        line = u"(in %1) "_s.arg(workDir);
    line += displayName + u' '
            + arguments.first(std::min(arguments.size(), maximumEchoedArguments)).join(u' ');
    if (arguments.size() > maximumEchoedArguments)
        line += u" ..."_s;
    return line;
}

/// QFile reports a write that was cut short (a full disk) without its reason, hence by hand.
/// @return false with errno set
bool writeAll(int descriptor, QByteArrayView text)
{
    while (!text.isEmpty()) {
        const ssize_t count = write(descriptor, text.data(), static_cast<size_t>(text.size()));
        if (count < 0 && errno != EINTR)
            return false;
        text = text.sliced(std::max<ssize_t>(count, 0));
    }
    return true;
}

/// Writes one argument a line in the local encoding, piece by piece: an image of a large project
/// has hundreds of thousands of arguments.
/// @return false with errno set
bool writeLines(int descriptor, const QStringList &arguments)
{
    QString piece(32'768, Qt::Uninitialized);
    qsizetype used = 0;
    const auto flush = [&] {
        return writeAll(descriptor, QStringView(piece).first(std::exchange(used, 0)).toLocal8Bit());
    };
    for (const QString &argument : arguments) {
        const qsizetype needed = argument.size() + 1;
        if (used + needed > piece.size() && !flush())
            return false;
        if (needed > piece.size())
            piece.resize(needed);
        *std::copy(argument.begin(), argument.end(), piece.begin() + used) = u'\n';
        used += needed;
    }
    return flush();
}

/// Writes the arguments, unquoted, and closes the file, which stays until it is destroyed.
/// @return false with the reason in @p error
bool writeResponseFile(QTemporaryFile *file, const QStringList &arguments, QString *error)
{
    const QString message = u"Error writing %1: %2"_s;
    if (!file->open()) {
        // It has no name of its own yet.
        *error = message.arg(file->fileTemplate(), file->errorString());
        return false;
    }
    if (!writeLines(file->handle(), arguments)) {
        *error = message.arg(file->fileName(), qt_error_string(errno));
        return false;
    }
    const QString name = file->fileName();
    file->close();
    if (file->error() != QFileDevice::NoError) {
        *error = message.arg(name, file->errorString());
        return false;
    }
    return true;
}

} // namespace

bool Project::runCommand(const QString &workDir, const QString &displayName, const QString &program,
                         const QStringList &arguments, int verbose)
{
    m_toolSucceeded = false;
    if (!checkInterruption())
        return false;
    QTemporaryFile responseFile(m_spec.objectFilePath(u"args.XXXXXX"_s));
    QStringList processArguments = arguments;
    if (arguments.size() >= minimumResponseFileArguments) {
        QString error;
        if (!writeResponseFile(&responseFile, arguments, &error))
            return raiseError(error);
        const QString path = QFileInfo(responseFile.fileName()).absoluteFilePath();
        processArguments = {u'@' + QDir::toNativeSeparators(path)};
    }

    if (verbose >= 1)
        msg(echoLine(workDir, displayName, arguments));

    const ProcessEnd end = runProcess(workDir, program, processArguments);
    m_toolSucceeded = end.isSuccess();
    if (Interruption::signal() != 0)
        return raiseInterruption(displayName);
    switch (end.kind) {
    case ProcessEnd::Kind::NotStarted:
        return raiseError(u"Command failed to run: "_s + QDir::toNativeSeparators(program));
    case ProcessEnd::Kind::Crashed:
        return raiseError(u"Command crashed"_s);
    case ProcessEnd::Kind::Exited:
        break;
    }
    return m_toolSucceeded || raiseError(u"Command exited with status %1"_s.arg(end.status));
}

bool Project::runToolIn(const QString &workDir, const QString &tool, const QStringList &arguments,
                        int verbose)
{
    return runCommand(workDir, tool, m_spec.toolPath(tool), arguments, verbose);
}

bool Project::runTool(const QString &tool, const QStringList &arguments, int verbose)
{
    return runToolIn({}, tool, arguments, verbose);
}

QString Project::runSvnversion()
{
    // The answer is looked at as text, so it must not depend on the user's language.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);

    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    std::optional<Interruption::Target> target(std::in_place);
    process.start(u"svnversion"_s, {QDir::toNativeSeparators(m_spec.projectFilePath({}))});
    target->set(static_cast<pid_t>(process.processId()));
    QString revision;
    if (process.waitForFinished(svnversionTimeout)) {
        revision = QString::fromLocal8Bit(process.readAllStandardOutput()).simplified();
    } else {
        process.terminate();
        if (!process.waitForFinished(terminationGrace)) {
            process.kill();
            process.waitForFinished();
        }
    }
    target.reset();

    if (Interruption::signal() != 0)
        return {};
    if (revision.isEmpty()) {
        revision = u"?"_s;
        msg(u"Warning: svnversion failed to run."_s);
    } else if (revision.toLower().contains("unversioned"_L1)) {
        revision = u"?"_s;
        msg(u"Warning: Unversioned directory."_s);
    }
    return u'#' + revision;
}
