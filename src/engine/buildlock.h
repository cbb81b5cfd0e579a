#pragma once

#include <QString>

#include <functional>
#include <utility>

/// One operation's claim on something that no other operation can have at the same time.
///
/// It is a lock on an open file or directory, so it ends with its owner, however that ends, and
/// leaves no file. The programs that the owner starts inherit it: one that outlives the owner keeps
/// others waiting until it has stopped writing. A second lock, which they do not inherit, tells
/// those that wait whether the owner itself still runs. On a file system without locks there is no
/// claim.
class BuildLock
{
public:
    enum class Result {
        Held,
        NotHeld,     ///< the file system has no locks, or there is nothing that can be opened
        Interrupted, ///< a signal ended the waiting
        OwnBuild,    ///< the owner is a build that started this process, and waits for its end
        Missing,     ///< it does not exist, or no longer
    };

    BuildLock() = default;
    ~BuildLock() { release(); }
    BuildLock(const BuildLock &) = delete;
    BuildLock(BuildLock &&other) noexcept { *this = std::move(other); }
    BuildLock &operator=(BuildLock &&other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        std::swap(m_ownDescriptor, other.m_ownDescriptor);
        std::swap(m_wasLeft, other.m_wasLeft);
        return *this;
    }

    /// Waits for the claim on a directory.
    /// @param onWait  called once, before the waiting begins
    Result acquire(const QString &directory, const std::function<void()> &onWait);

    /// The same for a file; a link is not followed.
    Result acquireFile(const QString &path, const std::function<void()> &onWait);

    /// The same for a name, whatever has it: the claim goes on when that is removed and made again.
    /// @param directory  a directory that stays
    Result acquireName(const QString &directory, const QString &name,
                       const std::function<void()> &onWait);

    /// @return why a claim on @p path that ended with @p result is none; empty when the operation
    /// can go on
    static QString errorText(Result result, const QString &path);

    void release();

    /// Claims @p directory if nobody else has, as far as the file system can tell.
    bool tryAcquire(const QString &directory);

    /// @return whether programs that a killed build has left were waited for; for a name, also
    /// whether any build was, as what had that name is gone
    bool wasLeft() const { return m_wasLeft; }

    /// @return what is open, or -1
    int descriptor() const { return m_descriptor; }

private:
    Result acquireWhole(const QString &path, int flags, const std::function<void()> &onWait);
    bool open(const QString &path, int flags);
    void close();

    int m_descriptor = -1;    ///< inherited by the programs that are started
    int m_ownDescriptor = -1; ///< closed in the programs that are started
    bool m_wasLeft = false;
};
