#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// Ends the test program, at once: a world that could not be made proves nothing.
void require(bool condition, const char *what, const QByteArray &name);

/// One call of a stand-in, as it was received.
struct Call
{
    QByteArray name;
    QByteArray program; ///< its argv[0]
    QByteArray directory;
    QByteArrayList received;
    QByteArrayList arguments; ///< `received`, or the lines of the response file
    QByteArray responseFile;  ///< empty: the arguments came on the command line
    QByteArray responseText;
    QByteArray input;      ///< what a planned "read" has read
    QByteArrayList probes; ///< "<path> missing", "<path> directory" or "<path> file <content>"
    qint64 pid = 0;
};

/// What one run of ztmake has done. In the texts $W stands for the world's directory.
struct Result
{
    int status = -1; ///< -1: a signal ended it, -2: it did not end in time
    int signal = 0;  ///< the signal that ended it
    QByteArray out;
    QByteArray err;
    QList<Call> calls;
    QByteArray directory; ///< where it ran
    QByteArray root;

    /// The calls, one a line: the name, "@" when a response file was used, and the arguments. An
    /// argument of other than plain characters is quoted. "(in <directory>) " precedes the name
    /// when the tool ran elsewhere than ztmake.
    QByteArray callText() const;
    /// Status, streams and calls as one text, to be compared with report().
    QByteArray text() const;
};

/// The text of a Result as expected.
QByteArray report(int status, const QByteArray &calls, const QByteArray &err = {},
                  const QByteArray &out = {});

/// The lines with which ztmake announces these calls, when they are short and plain and all run in
/// ztmake's own directory.
QByteArray echoOf(const QByteArray &calls);

/// Empty when both are the same, otherwise what differs.
QByteArray difference(const QByteArray &actual, const QByteArray &expected);

/// Compares two texts whole and shows both when they differ.
#define SAME(actual, expected)                                                                     \
    do {                                                                                           \
        const QByteArray sameDifference = difference((actual), (expected));                        \
        QVERIFY2(sameDifference.isEmpty(), sameDifference.constData());                            \
    } while (false)
