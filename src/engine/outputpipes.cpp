#include "engine/outputpipes.h"

#include <cerrno>
#include <climits>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void closeDescriptor(int *descriptor)
{
    if (*descriptor >= 0)
        close(std::exchange(*descriptor, -1));
}

bool isOutputAlsoError()
{
    struct stat output = {};
    struct stat error = {};
    fstat(STDOUT_FILENO, &output);
    fstat(STDERR_FILENO, &error);
    return output.st_dev == error.st_dev && output.st_ino == error.st_ino;
}

} // namespace

int OutputPipes::open()
{
    static const bool isOnePipe = isOutputAlsoError();
    for (size_t i = isOnePipe ? 1 : 0; i < m_readEnds.size(); ++i) {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return errno;
        m_readEnds[i] = ends[0];
        m_writeEnds[i] = ends[1];
        if (fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0)
            return errno;
    }
    if (isOnePipe && (m_writeEnds[0] = fcntl(m_writeEnds[1], F_DUPFD_CLOEXEC, 0)) < 0)
        return errno;
    return 0;
}

void OutputPipes::closeWriteEnds()
{
    for (int &descriptor : m_writeEnds)
        closeDescriptor(&descriptor);
}

void OutputPipes::close()
{
    closeWriteEnds();
    for (int &descriptor : m_readEnds)
        closeDescriptor(&descriptor);
}

void OutputPipes::appendTo(std::vector<pollfd> *descriptors) const
{
    for (const int descriptor : m_readEnds) {
        if (descriptor >= 0)
            descriptors->push_back({descriptor, POLLIN, {}});
    }
}

void OutputPipes::read(CommandListener *listener)
{
    std::array<char, 65'536> buffer;
    for (const OutputStream stream : {OutputStream::Output, OutputStream::Error}) {
        int &descriptor = m_readEnds[static_cast<size_t>(stream)];
        while (descriptor >= 0) {
            const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
            if (count > 0) {
                listener->output(stream, {buffer.data(), count});
            } else if (count == 0 || errno != EINTR) {
                if (count == 0 || errno != EAGAIN)
                    closeDescriptor(&descriptor);
                break;
            }
        }
    }
}

int writeOutput(OutputStream stream, QByteArrayView text)
{
    const int descriptor = stream == OutputStream::Output ? STDOUT_FILENO : STDERR_FILENO;
    while (!text.isEmpty()) {
        // Not to be deaf to signals while a reader does not read: a write of so little does not
        // block once there is room.
        pollfd room{descriptor, POLLOUT, {}};
        const bool isInterrupted = Interruption::signal() != 0;
        const int ready = poll(&room, 1, isInterrupted ? 0 : -1);
        if (ready < 0)
            continue;
        if (ready == 0)
            return EINTR;
        const auto size = std::min<qsizetype>(text.size(), PIPE_BUF);
        const ssize_t count = write(descriptor, text.data(), static_cast<size_t>(size));
        if (count >= 0)
            text = text.sliced(count);
        else if (errno != EAGAIN && errno != EINTR)
            return errno;
    }
    return 0;
}
