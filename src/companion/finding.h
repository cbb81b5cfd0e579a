#pragma once

#include "companion/places.h"

#include <QJsonArray>

/// One thing that `ztproject check` has found.
struct Finding
{
    enum class Severity {
        Error,   ///< a build fails
        Warning, ///< a build succeeds, with something that is hardly meant
        Note,    ///< perhaps, which cannot be told
    };

    Severity severity = Severity::Warning;
    QString file;
    Place place;
    QString check; ///< the name of the check, as in the manual
    QString text;
    QString cure;
};

/// @return the lines for a terminal, an editor or a log: the finding and its cure
QStringList linesOf(const Finding &finding);

/// @return all findings for programs
QJsonArray jsonOf(const QList<Finding> &findings);
