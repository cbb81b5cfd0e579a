#pragma once

#include "engine/project.h"
#include "files/filestatus.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// Writes, reads and dates files for tests.
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

/// Gives up root's rights while it exists, so that modes count; without effect for other users.
class OrdinaryUser
{
public:
    static constexpr uid_t number = 65534;

    OrdinaryUser()
    {
        if (m_isRoot && (setegid(number) != 0 || seteuid(number) != 0))
            qFatal("Cannot give up root's rights");
    }
    ~OrdinaryUser()
    {
        if (m_isRoot && (seteuid(0) != 0 || setegid(0) != 0))
            qFatal("Cannot take root's rights back");
    }
    OrdinaryUser(const OrdinaryUser &) = delete;
    OrdinaryUser &operator=(const OrdinaryUser &) = delete;

private:
    bool m_isRoot = geteuid() == 0;
};

/// A project whose messages are kept.
class RecordingProject final : public Project
{
public:
    using Project::Project;

    void msg(const QString &text) override { messages.append(text); }

    QStringList messages;
};

/// Runs a function of the test in place of every command.
class FakeRunner final : public CommandRunner
{
public:
    /// @param work  returns whether the command is to succeed; a failing one exits with 3
    explicit FakeRunner(std::function<bool(const Command &)> work) : m_work(std::move(work)) {}

    CommandResult run(const Command &command) override
    {
        CommandResult result;
        result.isFinished = m_work(command);
        result.outcome = result.isFinished ? CommandResult::Outcome::Succeeded
                                           : CommandResult::Outcome::Failed;
        result.status = result.isFinished ? 0 : 3;
        return result;
    }

private:
    std::function<bool(const Command &)> m_work;
};
