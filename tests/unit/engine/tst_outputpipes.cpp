#include "engine/outputpipes.h"

#include "rows.h"
#include "testprocess.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

class Listener final : public CommandListener
{
public:
    void message(const QString & /*text*/) override {}
    void output(OutputStream stream, QByteArrayView text) override
    {
        (stream == OutputStream::Output ? printed : printedAsError).append(text);
    }
    void ended(const CommandResult & /*result*/) override {}

    QByteArray printed;
    QByteArray printedAsError;
};

bool isClosedInPrograms(int descriptor)
{
    return (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
}

} // namespace

class TestOutputPipes : public QObject
{
    Q_OBJECT

private slots:
    void streamsAreReadUntilTheirEnd_data()
    {
        Rows<bool, QByteArray, QByteArray> row; // own streams are one file, printed, as error
        row("one file", true, "", "abc");
        row("two files", false, "ac", "b");
    }
    void streamsAreReadUntilTheirEnd()
    {
        const auto [isOneFile, printed, printedAsError] = fetch<bool, QByteArray, QByteArray>();
        QCOMPARE(TestProcess::inChild([&, isOneFile = isOneFile, printed = printed,
                                       printedAsError = printedAsError] {
                     std::array<int, 2> own{};
                     std::array<int, 2> other{};
                     if (pipe(own.data()) != 0 || pipe(other.data()) != 0)
                         return false;
                     dup2(own[1], STDOUT_FILENO);
                     dup2(isOneFile ? own[1] : other[1], STDERR_FILENO);
                     OutputPipes pipes;
                     Listener listener;
                     if (pipes.open() != 0)
                         return false;
                     const OutputStreams ends = pipes.writeEnds();
                     const bool isWritten = write(ends.output, "a", 1) == 1
                                            && write(ends.error, "b", 1) == 1
                                            && write(ends.output, "c", 1) == 1;
                     const bool isKept =
                             isClosedInPrograms(ends.output) && isClosedInPrograms(ends.error);
                     pipes.read(&listener); // leaves errno set
                     const bool isOpen = pipes.count() == (isOneFile ? 1 : 2);
                     pipes.closeWriteEnds();
                     pipes.read(&listener);
                     return isWritten && isKept && isOpen && pipes.count() == 0
                            && listener.printed == printed
                            && listener.printedAsError == printedAsError;
                 }),
                 0);
    }

    void nothingStaysOpen()
    {
        OutputStreams ends;
        {
            OutputPipes pipes;
            QCOMPARE(pipes.open(), 0);
            ends = pipes.writeEnds();
        }
        QCOMPARE(fcntl(ends.output, F_GETFD), -1);
        QCOMPARE(fcntl(ends.error, F_GETFD), -1);
    }
};

QTEST_GUILESS_MAIN(TestOutputPipes)
#include "tst_outputpipes.moc"
