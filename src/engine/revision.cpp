#include "engine/revision.h"

#include "engine/interruption.h"

#include <QDir>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

constexpr int answerTimeout = 30'000;   // milliseconds
constexpr int terminationGrace = 1'000; // milliseconds

} // namespace

QString workingCopyRevision(const QString &directory)
{
    // The answer is read as text, so it must not depend on the user's language.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);

    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    Interruption::Target target;
    process.start(u"svnversion"_s, {QDir::toNativeSeparators(directory)});
    target.set(static_cast<pid_t>(process.processId()));
    if (process.waitForFinished(answerTimeout))
        return QString::fromLocal8Bit(process.readAllStandardOutput()).simplified();
    process.terminate();
    if (!process.waitForFinished(terminationGrace)) {
        process.kill();
        process.waitForFinished();
    }
    return {};
}
