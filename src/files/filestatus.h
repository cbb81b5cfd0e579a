#pragma once

#include <QString>

#include <sys/types.h>

/// A moment as the file system keeps it.
struct FileTime
{
    qint64 seconds = 0;     ///< since 1970-01-01 UTC, negative before
    qint64 nanoseconds = 0; ///< 0 to 999,999,999

    /// @return the time cut to whole milliseconds since 1970-01-01 UTC
    qint64 toMilliseconds() const { return seconds * 1000 + nanoseconds / 1'000'000; }

    static FileTime fromMilliseconds(qint64 milliseconds)
    {
        const qint64 seconds = milliseconds / 1000 - (milliseconds % 1000 < 0 ? 1 : 0);
        return {seconds, (milliseconds - seconds * 1000) * 1'000'000};
    }

    bool operator<(const FileTime &other) const
    {
        return seconds != other.seconds ? seconds < other.seconds : nanoseconds < other.nanoseconds;
    }
};

/// Tells one file from all others, whatever its names.
struct FileId
{
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FileId &) const = default;
    bool operator<(const FileId &other) const
    {
        return device != other.device ? device < other.device : inode < other.inode;
    }
};

/// What one stat of a path said; symbolic links are followed.
///
/// The only place that reads file times, so that deciding what is out of date costs one system call
/// a file.
class FileStatus
{
public:
    FileStatus() = default;

    /// Stats @p path. One that leads nowhere, or where the user has no access, does not exist;
    /// after any other failure the status is unknown.
    static FileStatus of(const QString &path);

    /// Stats @p name, in the file system's encoding, as seen from the open directory
    /// @p directory or, with AT_FDCWD, from the working directory.
    static FileStatus of(int directory, const char *name);

    /// @return the status of a file whose stat failed with @p error, an errno
    static FileStatus afterError(int error);

    /// @return the status of what a rehearsal makes
    static FileStatus madeFile(const FileId &id, const FileTime &time);
    static FileStatus madeDirectory(const FileId &id, const FileTime &time);

    /// @return false when unknown, too
    bool exists() const { return m_kind > Kind::Unknown; }
    bool isUnknown() const { return m_kind == Kind::Unknown; }
    bool isDirectory() const { return m_kind == Kind::Directory; }
    bool isRegularFile() const { return m_kind == Kind::RegularFile; }

    /// @return the last modification; meaningless unless exists()
    FileTime modified() const { return m_modified; }

    /// @return what the file is known by; meaningless unless exists()
    FileId id() const { return m_id; }

    /// @return whether the file has more hard links than this one
    bool hasOtherNames() const { return m_hasOtherNames; }

    /// @return whether both paths lead to one file
    bool isSameFileAs(const FileStatus &other) const
    {
        return exists() && other.exists() && m_id == other.m_id;
    }

    /// The rule that decides every incremental step: an output is out of date when it is missing
    /// or strictly older than its input. A missing input is never newer than an output; an unknown
    /// one is taken to be.
    bool isOutOfDate(const FileStatus &input) const;

private:
    enum class Kind { Missing, Unknown, Directory, RegularFile, Other };

    Kind m_kind = Kind::Missing;
    bool m_hasOtherNames = false;
    FileTime m_modified;
    FileId m_id;
};

/// @return @p path, or the nearest thing above it that exists. A relative path stays one: the name
/// of the working directory need not be text.
QString nearestExisting(const QString &path);

/// Stats both files and applies the rule, see FileStatus::isOutOfDate().
bool needRebuild(const QString &source, const QString &target);
