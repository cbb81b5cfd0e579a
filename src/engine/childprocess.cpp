#include "engine/childprocess.h"

#include "engine/interruption.h"

#include <QFile>

#include <cerrno>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The environment's words for posix_spawn(), which takes them without const but changes nothing.
std::vector<char *> pointersTo(QByteArrayList &words)
{
    std::vector<char *> pointers;
    pointers.reserve(static_cast<size_t>(words.size()) + 1);
    for (QByteArray &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// @return the process's number, or -1 with errno set
pid_t start(const QString &workDir, const QString &program, const QByteArrayList &arguments)
{
    const QByteArray path = QFile::encodeName(program);
    QByteArrayList words = QByteArrayList{path} + arguments;

    posix_spawn_file_actions_t actions;
    int error = posix_spawn_file_actions_init(&actions);
    pid_t process = -1;
    if (error == 0) {
        if (!workDir.isEmpty()) {
            error = posix_spawn_file_actions_addchdir_np(&actions,
                                                         QFile::encodeName(workDir).constData());
        }
        if (error == 0) {
            error = posix_spawn(&process, path.constData(), &actions, nullptr,
                                pointersTo(words).data(), environ);
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    errno = error;
    return error == 0 ? process : -1;
}

} // namespace

ProcessEnd runProcess(const QString &workDir, const QString &program,
                      const QByteArrayList &arguments)
{
    pid_t process = -1;
    siginfo_t end;
    {
        // The process keeps its number until it is waited for below, so that no signal meant for it
        // can reach another one.
        Interruption::Target target;
        process = start(workDir, program, arguments);
        if (process < 0)
            return {.error = errno};
        target.set(process);
        while (waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOWAIT) != 0) {
            if (errno != EINTR)
                return {};
        }
    }
    waitpid(process, nullptr, 0);
    return end.si_code == CLD_EXITED
                   ? ProcessEnd{.kind = ProcessEnd::Kind::Exited, .status = end.si_status}
                   : ProcessEnd{.kind = ProcessEnd::Kind::Crashed};
}
