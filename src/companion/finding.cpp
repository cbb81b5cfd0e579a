#include "companion/finding.h"

#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

QString nameOf(Finding::Severity severity)
{
    switch (severity) {
    case Finding::Severity::Error:
        return u"error"_s;
    case Finding::Severity::Warning:
        return u"warning"_s;
    case Finding::Severity::Note:
        break;
    }
    return u"note"_s;
}

} // namespace

QStringList linesOf(const Finding &finding)
{
    const QString place = u"%1:%2:%3"_s.arg(finding.file)
                                  .arg(std::max(finding.place.line, 1))
                                  .arg(std::max(finding.place.column, 1));
    // Each part by itself: a text may hold what looks like a place for the next.
    return {place + u": "_s + nameOf(finding.severity) + u": "_s + finding.text + u" ["_s
                    + finding.check + u']',
            place + u": note: "_s + finding.cure};
}

QJsonArray jsonOf(const QList<Finding> &findings)
{
    QJsonArray array;
    for (const Finding &finding : findings) {
        array.append(QJsonObject{{u"file"_s, finding.file},
                                 {u"line"_s, std::max(finding.place.line, 1)},
                                 {u"column"_s, std::max(finding.place.column, 1)},
                                 {u"severity"_s, nameOf(finding.severity)},
                                 {u"check"_s, finding.check},
                                 {u"text"_s, finding.text},
                                 {u"cure"_s, finding.cure}});
    }
    return array;
}
