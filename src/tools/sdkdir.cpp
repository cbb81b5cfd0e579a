#include "tools/sdkdir.h"

#include "files/filestatus.h"
#include "tools/tools.h"

#include <QDir>
#include <QSettings>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

QString environmentPath(const char *variable)
{
    return QDir::fromNativeSeparators(QString::fromLocal8Bit(std::getenv(variable)));
}

bool isDirectory(const QString &path)
{
    return FileStatus::of(path).isDirectory();
}

} // namespace

QString Tools::zeltaSdkDir()
{
    static QString ztsdk;
    if (isDirectory(ztsdk))
        return ztsdk;
    ztsdk.clear();
    if (std::getenv("ZELTADIR")) {
        const QString candidate =
                ensureDirectorySeparator(environmentPath("ZELTADIR")) + u"src/sdk"_s;
        if (isDirectory(candidate))
            ztsdk = candidate;
    }
    return ztsdk;
}

QString Tools::zeltaSDKRepositoryDir()
{
    static QString ztsdkrep;
    if (isDirectory(ztsdkrep))
        return ztsdkrep;
    ztsdkrep = QSettings().value("Preferences/ZeltaSDK"_L1).toString();
    if (isDirectory(ztsdkrep))
        return ztsdkrep;
    ztsdkrep = environmentPath("ZELTASDK");
    if (isDirectory(ztsdkrep))
        return ztsdkrep;
    ztsdkrep = ensureDirectorySeparator(appDataPath()) + u"ZeltaSDK"_s;
    return ztsdkrep;
}
