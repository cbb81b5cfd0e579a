#include "engine/childprocess.h"

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

/// @return 0, or an error number
int addActions(posix_spawn_file_actions_t *actions, const QString &workDir,
               const OutputStreams &streams)
{
    int error = 0;
    if (!workDir.isEmpty())
        error = posix_spawn_file_actions_addchdir_np(actions,
                                                     QFile::encodeName(workDir).constData());
    if (error == 0 && streams.output >= 0)
        error = posix_spawn_file_actions_adddup2(actions, streams.output, STDOUT_FILENO);
    if (error == 0 && streams.error >= 0)
        error = posix_spawn_file_actions_adddup2(actions, streams.error, STDERR_FILENO);
    return error;
}

} // namespace

int ChildProcess::start(const QString &workDir, const QString &program,
                        const QByteArrayList &arguments, const OutputStreams &streams)
{
    const QByteArray path = QFile::encodeName(program);
    QByteArrayList words = QByteArrayList{path} + arguments;

    posix_spawn_file_actions_t actions;
    int error = posix_spawn_file_actions_init(&actions);
    if (error != 0)
        return error;
    error = addActions(&actions, workDir, streams);
    if (error == 0) {
        m_target.emplace();
        error = posix_spawn(&m_process, path.constData(), &actions, nullptr,
                            pointersTo(words).data(), environ);
        if (error == 0)
            m_target->set(m_process);
        else
            m_target.reset();
    }
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

bool ChildProcess::hasEnded() const
{
    siginfo_t end = {};
    return waitid(P_PID, static_cast<id_t>(m_process), &end, WEXITED | WNOWAIT | WNOHANG) != 0
           || end.si_pid != 0;
}

ProcessEnd ChildProcess::wait()
{
    siginfo_t end = {};
    int error = 0;
    do {
        error = waitid(P_PID, static_cast<id_t>(m_process), &end, WEXITED | WNOWAIT) == 0 ? 0
                                                                                          : errno;
    } while (error == EINTR);
    // The process keeps its number until it is waited for below, so that no signal meant for it
    // can reach another one.
    m_target.reset();
    if (error != 0)
        return {};
    waitpid(m_process, nullptr, 0);
    return end.si_code == CLD_EXITED
                   ? ProcessEnd{.kind = ProcessEnd::Kind::Exited, .status = end.si_status}
                   : ProcessEnd{.kind = ProcessEnd::Kind::Crashed};
}

ProcessEnd runProcess(const QString &workDir, const QString &program,
                      const QByteArrayList &arguments)
{
    ChildProcess process;
    const int error = process.start(workDir, program, arguments);
    return error == 0 ? process.wait() : ProcessEnd{.error = error};
}
