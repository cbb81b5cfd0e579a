#include "companion/openedproject.h"

#include "app/projectloader.h"
#include "tools/tools.h"

#include <QFile>

#include <cerrno>

#include <unistd.h>

using namespace Qt::StringLiterals;

bool OpenedProject::open(const QString &path, QString *error)
{
    file = path.isEmpty() ? Tools::findProfile({}, u"ztp"_s) : path;
    if (file.isEmpty()) {
        *error = u"Cannot find a unique profile in current directory."_s;
        return false;
    }
    // Qt would take a name with a colon in front for a resource of this program.
    if (file.startsWith(u':'))
        file.prepend(u"./"_s);
    status = FileStatus::of(file);
    const QByteArray name = QFile::encodeName(file);
    if (access(name.constData(), R_OK) != 0 || status.isDirectory()) {
        *error = qt_error_string(status.isDirectory() ? EISDIR : errno);
        return false;
    }
    if (!status.isRegularFile()) {
        *error = u"not a regular file"_s;
        return false;
    }
    if (!loadProject(file, &spec, error))
        return false;
    spec.verbose = 1; // as without options
    return true;
}
