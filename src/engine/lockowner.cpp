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

/// @return the value of a line of the process's status; empty when the system does not say
QByteArray statusOf(pid_t process, const QByteArray &key)
{
    const QByteArrayList lines = linesOf(u"/proc/%1/status"_s.arg(process));
    const auto line = std::find_if(lines.begin(), lines.end(), [&key](const QByteArray &text) {
        return text.startsWith(key + ':');
    });
    return line == lines.end() ? QByteArray() : line->sliced(key.size() + 1).trimmed();
}

QByteArray hexadecimal(unsigned number)
{
    return QByteArray::number(number, 16).rightJustified(2, '0');
}

} // namespace

pid_t LockOwner::of(const FileId &file)
{
    const QByteArray place = hexadecimal(major(file.device)) + ':' + hexadecimal(minor(file.device))
                             + ':' + QByteArray::number(quint64(file.inode));
    for (const QByteArray &line : linesOf(u"/proc/locks"_s)) {
        // As "1: FLOCK  ADVISORY  WRITE 4711 fe:00:1234 0 EOF".
        const QByteArrayList words = line.simplified().split(' ');
        if (words.size() > 5 && words[1] == "FLOCK" && words[5] == place)
            return std::max(words[4].toInt(), unknown); // below 0: of another namespace
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
    pid_t process = getppid();
    while (process > 0 && process != owner)
        process = statusOf(process, "PPid").toInt();
    return process > 0 && statusOf(process, "Name") == statusOf(getpid(), "Name");
}
