#include "engine/processors.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// @return @p quota of @p period, both in microseconds, in whole processors; 0: it is none
int processors(const QByteArray &quota, const QByteArray &period)
{
    const qint64 granted = quota.toLongLong();
    const qint64 whole = period.toLongLong();
    return granted > 0 && whole > 0 ? static_cast<int>((granted + whole - 1) / whole) : 0;
}

/// @return the quota of one group, in version 2 or 1 of its files
int quotaOf(const QString &directory)
{
    const QByteArrayList limit = contentOf(directory + u"/cpu.max"_s).simplified().split(' ');
    if (limit.size() == 2)
        return processors(limit[0], limit[1]);
    return processors(contentOf(directory + u"/cpu.cfs_quota_us"_s).trimmed(),
                      contentOf(directory + u"/cpu.cfs_period_us"_s).trimmed());
}

} // namespace

int processorQuota(const QString &groupRoot, const QString &group)
{
    int smallest = 0;
    for (QString path = group;; path = QFileInfo(path).path()) {
        const int quota = quotaOf(groupRoot + path);
        if (quota > 0 && (smallest == 0 || quota < smallest))
            smallest = quota;
        if (path.size() <= 1)
            return smallest;
    }
}

int availableProcessors()
{
    int count = QThread::idealThreadCount(); // those that this process may use
    // Lines of "number:controllers:path"; version 2 has no controllers and number 0.
    const QByteArrayList groups = contentOf(u"/proc/self/cgroup"_s).split('\n');
    for (const QByteArray &line : groups) {
        const QByteArrayList fields = line.split(':');
        if (fields.size() < 3)
            continue;
        const QString path =
                QFile::decodeName(line.sliced(fields[0].size() + fields[1].size() + 2));
        int quota = 0;
        if (fields[1].isEmpty())
            quota = processorQuota(u"/sys/fs/cgroup"_s, path);
        else if (fields[1].split(',').contains("cpu"))
            quota = processorQuota(u"/sys/fs/cgroup/cpu"_s, path);
        if (quota > 0)
            count = std::min(count, quota);
    }
    return std::max(count, 1);
}
