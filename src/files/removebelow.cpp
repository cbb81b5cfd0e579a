#include "files/removebelow.h"

#include "files/changes.h"
#include "files/rehearsal.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

int openDirectoryBelow(int directory, const QByteArray &path)
{
    open_how how = {};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(syscall(SYS_openat2, directory, path.constData(), &how, sizeof how));
}

Removal removeIn(int directory, const QByteArray &name)
{
    struct stat data = {};
    if (fstatat(directory, name.constData(), &data, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? Removal::Gone : Removal::Outside;
    return S_ISDIR(data.st_mode) || unlinkat(directory, name.constData(), 0) == 0 ? Removal::Gone
                                                                                  : Removal::Stays;
}

} // namespace

Removal removeFileBelow(const QString &directory, const QString &name)
{
    const QByteArray path = QFile::encodeName(name);
    const qsizetype slash = path.lastIndexOf('/');
    const QByteArray file = path.mid(slash + 1);
    if (file.isEmpty() || file == "." || file == ".." || path.startsWith('/'))
        return Removal::Outside;
    const int top =
            ::open(QFile::encodeName(directory).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (top < 0)
        return Removal::Outside;
    const int parent = openDirectoryBelow(top, slash < 0 ? QByteArray(".") : path.left(slash));
    const int reason = errno;
    ::close(top);
    if (parent < 0)
        return reason == ENOENT || reason == ENOTDIR ? Removal::Gone : Removal::Outside;
    Removal removal = Removal::Gone;
    if (!Rehearsal::isOn())
        removal = removeIn(parent, file);
    else if (const QString whole = directory + u'/' + name; FileStatus::of(whole).isRegularFile())
        Changes::removeFile(whole);
    ::close(parent);
    return removal;
}
