#pragma once

#include <QString>

#include <functional>
#include <utility>

/// One operation's claim on an object directory. No other operation can have it at the same time.
///
/// It is an flock() on the directory itself, so it ends with its owner, however that ends, and
/// leaves no file. The programs that the owner starts inherit it: one that outlives the owner keeps
/// others waiting until it has stopped writing. On a file system without locks there is no claim.
class BuildLock
{
public:
    enum class Result {
        Held,
        NotHeld,     ///< the file system has no locks, or the directory cannot be read
        Interrupted, ///< a signal ended the waiting
        OwnBuild,    ///< the owner is a build that started this process, and waits for its end
        NoDirectory, ///< it does not exist, or no longer
    };

    BuildLock() = default;
    ~BuildLock() { release(); }
    BuildLock(const BuildLock &) = delete;
    BuildLock &operator=(BuildLock &&other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    /// Waits for the claim on @p directory.
    /// @param onWait  called once, before the waiting begins
    Result acquire(const QString &directory, const std::function<void()> &onWait);

    void release();

    /// Claims @p directory if nobody else has, as far as the file system can tell.
    bool tryAcquire(const QString &directory);

    /// @return the open directory, or -1
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};
