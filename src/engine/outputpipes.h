#pragma once

#include "engine/childprocess.h"
#include "engine/command.h"

#include <algorithm>
#include <array>
#include <vector>

#include <poll.h>

/// The pipes through which this process reads what a program prints. There is one for both streams
/// when both of this process's own lead to the same file, so that their order is kept.
class OutputPipes
{
public:
    OutputPipes() = default;
    ~OutputPipes() { close(); }
    OutputPipes(const OutputPipes &) = delete;
    OutputPipes &operator=(const OutputPipes &) = delete;

    /// @return 0, or the errno of the failure
    int open();

    /// The ends for the program; they have to be closed here when it has started.
    OutputStreams writeEnds() const { return {m_writeEnds[0], m_writeEnds[1]}; }
    void closeWriteEnds();
    void close();

    /// Adds what tells that there is something to read: count() entries.
    void appendTo(std::vector<pollfd> *descriptors) const;
    std::ptrdiff_t count() const
    {
        return std::count_if(m_readEnds.begin(), m_readEnds.end(),
                             [](int descriptor) { return descriptor >= 0; });
    }

    /// Reads all that is there, without waiting for more.
    void read(CommandListener *listener);

private:
    std::array<int, 2> m_readEnds{-1, -1};
    std::array<int, 2> m_writeEnds{-1, -1};
};

/// Writes to one of this process's own streams. After an interruption, a reader that does not read
/// is not waited for.
/// @return 0, or the errno when something is lost
int writeOutput(OutputStream stream, QByteArrayView text);
