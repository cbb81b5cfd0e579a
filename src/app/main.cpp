#include "app/joblimit.h"
#include "app/makeproject.h"
#include "app/options.h"
#include "app/projectloader.h"
#include "app/reportprinter.h"
#include "engine/interruption.h"
#include "files/filestatus.h"
#include "tools/tools.h"

#include <QCoreApplication>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int fail(const QString &message)
{
    printMessage(message);
    return 1;
}

/// A file that is opened later must not get the number of a standard stream that the caller has
/// closed: messages would be written into it.
void openClosedStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1)
            open("/dev/null", O_RDWR); // takes the lowest free number
    }
}

int run(Options options)
{
    QString error;
    const std::optional<int> jobs = jobLimit(&error);
    if (!jobs)
        return fail(error);
    if (options.projectFile.isEmpty())
        options.projectFile = Tools::findProfile({}, u"ztp"_s);
    if (options.projectFile.isEmpty())
        return fail(u"Cannot find a unique profile in current directory."_s);

    // The tools lie beside the program, and their paths are text.
    if (QCoreApplication::applicationDirPath().isEmpty())
        return fail(u"The path of this program is not valid UTF-8."_s);
    if (options.projectFile.contains(QChar::ReplacementCharacter)
        && !FileStatus::of(options.projectFile).exists())
        return fail(u"The name of the project file is not valid UTF-8."_s);
    // Qt would take a name with a colon in front for a resource of this program.
    if (options.projectFile.startsWith(u':'))
        options.projectFile.prepend(u"./"_s);

    // Before the file is read: one that is edited meanwhile counts as changed next time.
    const FileStatus projectFile = FileStatus::of(options.projectFile);
    ProjectSpec spec;
    if (!loadProject(options.projectFile, &spec, &error))
        return fail(u"%1: %2"_s.arg(options.projectFile, error));
    spec.verbose = options.verbosity; // overrides the project file's

    MakeProject project(spec);
    project.setProjectFileTime(
            QDateTime::fromMSecsSinceEpoch(projectFile.modified().toMilliseconds(), Qt::UTC));
    project.setProjectFileStatus(projectFile);
    project.jobs().setLimit(*jobs);
    if (options.verbosity == 0 && project.jobs().runsSeveral())
        project.enableStatusLine();
    Interruption::watch();
    const bool ok = project.run(options.operation) && project.checkInterruption();
    if (!ok)
        printMessage(project.errorText());
    if (Interruption::signal() != 0)
        Interruption::finish();
    return ok && (!options.report || printTranslationReport(spec)) ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    openClosedStreams();
    // Under a locale that is not UTF-8, as in many containers, Qt warns that it switches to one.
    // The switch is welcome, the warning would stand before every message of a build.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(nullptr);

    setProgramName(argv[0]);
    const std::optional<Options> options = parseOptions(argc, argv);
    return options ? run(*options) : usage();
}
