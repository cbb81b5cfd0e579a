#include "engine/lockowner.h"

#include <QDir>
#include <QFile>

#include <algorithm>

#include <sys/sysmacros.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArrayList linesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QByteArrayList();
}

/// @return the rest of the line of the process's status that begins like this; empty when the
/// system does not say
QByteArray statusOf(pid_t process, const QByteArray &begin)
{
    const QByteArrayList lines = linesOf(u"/proc/%1/status"_s.arg(process));
    const auto line = std::find_if(lines.begin(), lines.end(), [&begin](const QByteArray &text) {
        return text.startsWith(begin);
    });
    return line == lines.end() ? QByteArray() : line->sliced(begin.size());
}

} // namespace

pid_t LockOwner::of(const FileId &file)
{
    const QByteArray place = QString::asprintf("%02x:%02x:%llu", major(file.device),
                                               minor(file.device), quint64(file.inode))
                                     .toLatin1();
    for (const QByteArray &line : linesOf(u"/proc/locks"_s)) {
        // As "1: FLOCK  ADVISORY  WRITE 4711 fe:00:1234 0 EOF".
        const QByteArrayList words = line.simplified().split(' ');
        if (words.value(1) == "FLOCK" && words.value(5) == place)
            return words[4].toInt();
    }
    return unknown;
}

bool LockOwner::isThisProcess(const FileId &file, const QByteArray &range)
{
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList names = descriptors.entryList(QDir::Files | QDir::Dirs | QDir::System);
    return std::any_of(names.begin(), names.end(), [&](const QString &name) {
        if (FileStatus::of(descriptors.filePath(name)).id() != file)
            return false;
        QFile info(u"/proc/self/fdinfo/"_s + name);
        return info.open(QIODevice::ReadOnly) && info.readAll().contains(' ' + range + '\n');
    });
}

bool LockOwner::isOuterBuild(pid_t owner)
{
    for (pid_t process = getppid(); process != unknown;
         process = statusOf(process, "PPid:\t").toInt()) {
        if (process == owner)
            return statusOf(process, "Name:\t") == statusOf(getpid(), "Name:\t");
    }
    return false;
}
