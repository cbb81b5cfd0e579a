#include "companion/imagefiles.h"

#include "companion/contentof.h"
#include "companion/romfs.h"
#include "files/directory.h"
#include "model/projectspec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// @return the rest of @p path below @p directory; null when it is not below it
QString below(const QString &directory, const QString &path)
{
    const QString prefix = directory.endsWith(u'/') ? directory : directory + u'/';
    return path.startsWith(prefix) ? path.sliced(prefix.size()) : QString();
}

Held archiveHolds(const QString &archive, const QString &path)
{
    const auto files = filesOfRomfs(contentOf(archive).value_or(QByteArray()));
    if (!files)
        return Held::Unknown;
    return std::any_of(files->begin(), files->end(),
                       [&path](const RomfsFile &entry) { return entry.path == path; })
                   ? Held::Yes
                   : Held::No;
}

Held mergeHolds(const MergeSpec &merge, const QString &source, const QString &destination,
                const QString &path)
{
    const QString rest = below(destination, path);
    switch (merge.type) {
    case MergeSpec::Type::Archive:
        return rest.isEmpty() ? Held::No : archiveHolds(source, rest);
    case MergeSpec::Type::Directory: // a build takes both for what is there
    case MergeSpec::Type::File:
        if (QFileInfo(source).isDir())
            return !rest.isEmpty() && QFileInfo(source + u'/' + rest).isFile() ? Held::Yes
                                                                               : Held::No;
        return path == destination || rest == QFileInfo(source).fileName() ? Held::Yes : Held::No;
    case MergeSpec::Type::None:
        break;
    }
    return Held::No;
}

/// @return the absolute destinations of the merges: relative ones are below the last absolute one
QStringList destinationsOf(const FilesystemSpec &filesystem)
{
    QStringList destinations;
    QString above = u"/"_s;
    for (const MergeSpec &merge : filesystem.merges) {
        QString destination = merge.destination.isEmpty() ? u"/"_s : merge.destination;
        if (QDir::isAbsolutePath(destination))
            above = destination;
        else
            destination = above + u'/' + destination;
        destinations << QDir::cleanPath(destination);
    }
    return destinations;
}

} // namespace

QList<qsizetype> mergesOfLoneCopies(const ProjectSpec &spec)
{
    QList<qsizetype> numbers;
    const FilesystemSpec filesystem = spec.filesystems.value(0);
    for (qsizetype i = 0; i < filesystem.merges.size(); ++i) {
        const MergeSpec &merge = filesystem.merges[i];
        const ProcessSpec process = spec.processOf(filesystem, merge);
        const QString source = spec.projectFilePath(merge.source);
        if (merge.type != MergeSpec::Type::Archive && QFileInfo(source).isFile()
            && isLuaFile(QFile::encodeName(source).toStdString()) && !process.preprocess()
            && !process.compileLua())
            numbers.append(i);
    }
    return numbers;
}

bool isArchive(const QString &file)
{
    return filesOfRomfs(contentOf(file).value_or(QByteArray())).has_value();
}

Held imageHolds(const ProjectSpec &spec, const QString &path)
{
    const QString wanted = QDir::cleanPath(path);
    const FilesystemSpec filesystem = spec.filesystems.value(0);
    Held held = Held::No;
    const auto take = [&held](Held answer) {
        if (answer == Held::Yes || held == Held::No)
            held = answer;
    };
    if (filesystem.includeBase.isOn())
        take(archiveHolds(spec.sdkPath(u"kernel/base.romfs"_s), below(u"/"_s, wanted)));
    const QStringList destinations = destinationsOf(filesystem);
    for (qsizetype i = 0; i < destinations.size(); ++i) {
        const MergeSpec &merge = filesystem.merges[i];
        take(mergeHolds(merge, spec.projectFilePath(merge.source), destinations[i], wanted));
    }
    return held;
}

QList<qsizetype> mergesThatHold(const ProjectSpec &spec, const QString &path)
{
    QList<qsizetype> numbers;
    const FilesystemSpec filesystem = spec.filesystems.value(0);
    const QStringList destinations = destinationsOf(filesystem);
    for (qsizetype i = 0; i < destinations.size(); ++i) {
        const MergeSpec &merge = filesystem.merges[i];
        if (merge.type != MergeSpec::Type::Archive
            && mergeHolds(merge, spec.projectFilePath(merge.source), destinations[i], path)
                       == Held::Yes)
            numbers.append(i);
    }
    return numbers;
}
