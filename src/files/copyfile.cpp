#include "files/copyfile.h"

#include "files/rehearsal.h"
#include "files/writeall.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return m_number; }
    bool close() { return ::close(std::exchange(m_number, -1)) == 0; }

private:
    int m_number;
};

bool copyContent(int source, int target)
{
    while (copy_file_range(source, nullptr, target, nullptr, 1 << 30, 0) > 0) {
    }
    // Some file systems cannot do that, and some files that claim to be empty are not.
    std::array<char, 65'536> piece;
    for (;;) {
        const ssize_t count = ::read(source, piece.data(), piece.size());
        if (count == 0)
            return true;
        if (count < 0 || !writeAll(target, {piece.data(), count}))
            return false;
    }
}

/// @return the permissions that QFile::copy() gives: the source's, and what this user may do, who
/// has opened it for reading
mode_t permissionsOf(const QByteArray &source, mode_t mode)
{
    mode_t permissions = (mode & 0777) | S_IRUSR;
    if (access(source.constData(), W_OK) == 0)
        permissions |= S_IWUSR;
    if (access(source.constData(), X_OK) == 0)
        permissions |= S_IXUSR;
    return permissions;
}

/// @return false when @p to exists already, even as a link that leads nowhere
bool renameToNew(const QByteArray &from, const QByteArray &to)
{
    if (renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // Not every file system knows that.
    struct stat data = {};
    return lstat(to.constData(), &data) != 0 && rename(from.constData(), to.constData()) == 0;
}

} // namespace

QString temporaryCopyOf(const QString &target)
{
    return target.left(target.lastIndexOf(u'/') + 1) + u".ztmake-copy"_s;
}

bool copyFile(const QString &source, const QString &target)
{
    if (Rehearsal::isOn()) {
        Rehearsal::make(target);
        const std::optional<FileStatus> made = Rehearsal::status(source);
        return made ? made->exists() : access(QFile::encodeName(source).constData(), R_OK) == 0;
    }
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(target);
    const QByteArray temporary = QFile::encodeName(temporaryCopyOf(target));
    const Descriptor input(::open(from.constData(), O_RDONLY | O_CLOEXEC));
    struct stat data = {};
    if (input.number() < 0 || fstat(input.number(), &data) != 0)
        return false;
    unlink(temporary.constData());
    Descriptor output(::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (output.number() < 0)
        return false;
    if (copyContent(input.number(), output.number())
        && fchmod(output.number(), permissionsOf(from, data.st_mode)) == 0 && output.close()
        && renameToNew(temporary, to))
        return true;
    unlink(temporary.constData());
    return false;
}
