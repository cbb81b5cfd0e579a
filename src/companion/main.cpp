#include "app/makeproject.h"
#include "companion/commandline.h"
#include "companion/output.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    // As in ztmake: what Qt says about a locale that is not UTF-8 is of no interest.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(nullptr);

    QCoreApplication::setApplicationVersion(QStringLiteral(ZTMAKE_VERSION));
    setProgramName(argv[0]);
    const int status = runCompanion(QCoreApplication::arguments());
    return finishOutput() ? status : 1;
}
