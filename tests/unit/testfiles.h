#pragma once

#include "engine/project.h"
#include "tools/filestatus.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>

/// Files for tests: written, read and dated without a word; a failure shows in what the test
/// asserts.
namespace TestFiles {

inline bool write(const QString &path, const QByteArray &content = {})
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
           && file.write(content) == content.size();
}

inline QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(cannot be read)");
}

inline bool writeProgram(const QString &path, const QByteArray &script)
{
    return write(path, "#!/bin/sh\n" + script)
           && QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

inline bool setModified(const QString &path, FileTime time)
{
    const timespec stamp{time.seconds, time.nanoseconds};
    const timespec times[2] = {stamp, stamp};
    return utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0;
}

} // namespace TestFiles

/// A project whose messages are kept.
class RecordingProject final : public Project
{
public:
    using Project::Project;

    void msg(const QString &text) override { messages.append(text); }

    QStringList messages;
};
