#include "app/projectloader.h"

#include "xml/projectparser1.h"
#include "xml/projectparser2.h"

using namespace Qt::StringLiterals;

bool loadProject(const QString &path, ProjectSpec *spec, QString *error)
{
    ProjectParser2 currentSchema;
    if (currentSchema.parseProjectFile(path, spec)) {
        spec->projectFile = path;
        return true;
    }
    if (currentSchema.recognised()) {
        *error = currentSchema.errorString();
        return false;
    }

    ProjectParser1 firstSchema;
    if (firstSchema.parseProjectFile(path, spec))
        return true;
    *error = firstSchema.recognised() ? firstSchema.errorString()
                                      : u"This is not a ZeltaManager project file."_s;
    return false;
}
