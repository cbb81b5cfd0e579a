#pragma once

#include <QString>

#include <functional>

/// The claim of one operation on an object directory, which no other operation can have meanwhile.
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
        NoDirectory, ///< it does not exist and could not be made
    };

    BuildLock() = default;
    ~BuildLock() { release(); }
    BuildLock(const BuildLock &) = delete;
    BuildLock &operator=(const BuildLock &) = delete;

    /// Waits for the claim on @p directory.
    /// @param makeDirectory  called when it does not exist, also when it vanishes meanwhile
    /// @param onWait  called once, before the waiting begins
    Result acquire(const QString &directory, const std::function<bool()> &makeDirectory,
                   const std::function<void()> &onWait);

    void release();

    /// @return the open directory, or -1
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};
