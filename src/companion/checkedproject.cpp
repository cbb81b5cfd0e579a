#include "companion/checkedproject.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

void CheckedProject::error(const Place &place, const char *check, const QString &text,
                           const QString &cure)
{
    report(Finding::Severity::Error, opened.file, place, check, text, cure);
}

void CheckedProject::warn(const Place &place, const char *check, const QString &text,
                          const QString &cure)
{
    warnIn(opened.file, place, check, text, cure);
}

void CheckedProject::warnIn(const QString &file, const Place &place, const char *check,
                            const QString &text, const QString &cure)
{
    report(Finding::Severity::Warning, file, place, check, text, cure);
}

void CheckedProject::report(Finding::Severity severity, const QString &file, const Place &place,
                            const char *check, const QString &text, const QString &cure)
{
    findings.append({severity, file, place, QString::fromLatin1(check), text, cure});
}

QList<MergeSpec> CheckedProject::merges() const
{
    return spec.filesystems.isEmpty() ? QList<MergeSpec>() : spec.filesystems.first().merges;
}

Place CheckedProject::mergePlace(qsizetype number) const
{
    return places.element(u"Project/Filesystem/Merge"_s, number);
}

Place CheckedProject::sourcePlace(qsizetype number) const
{
    return places.child(u"Project/Filesystem/Merge"_s, number, u"Source"_s);
}

QString CheckedProject::realPath(const QString &path)
{
    const QFileInfo info(path.isEmpty() ? u"."_s : path);
    const QString real = info.canonicalFilePath();
    return real.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : real;
}

bool CheckedProject::isInside(const QString &path, const QString &directory)
{
    return path == directory
           || path.startsWith(directory.endsWith(u'/') ? directory : directory + u'/');
}
