#pragma once

#include "files/filestatus.h"

#include <QByteArray>

#include <sys/types.h>

/// Whose a lock is that a build has to wait for, as far as the system says it in /proc.
namespace LockOwner {

constexpr pid_t unknown = 0;

/// @return the process that has locked the whole file, or `unknown`
pid_t of(const FileId &file);

/// @param range  of the lock, as the system writes it
/// @return whether this process has inherited the lock
bool isThisProcess(const FileId &file, const QByteArray &range);

/// @return whether the owner runs this program, too, and this process is one of its descendants
bool isOuterBuild(pid_t owner);

} // namespace LockOwner
