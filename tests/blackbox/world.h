#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QProcessEnvironment>
#include <QTemporaryDir>

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

/// How World::run starts the program.
struct Start
{
    QByteArray directory = "project"; ///< below the world
    QByteArray input = {};            ///< for its standard input
    QByteArray program = "sdk/bin/ztmake";
    bool ordinaryUser = false; ///< give up root's rights first
    qint64 fileSizeLimit = -1; ///< bytes that it can write to one file; -1: no limit
    int fileLimit = -1;        ///< files that it can have open; -1: no limit
    bool ownGroup = false;     ///< in a process group of its own
    int ignoredSignal = 0;     ///< 0: none
    int seconds = 60;          ///< when to give up
};

/// A directory of its own with an SDK ("sdk"), a project directory ("project"), a home directory
/// ("home") and a search path ("path"), and with the real program beside stand-ins for its tools.
///
/// All paths that it takes are relative to that directory, unless they begin with "/". Everything
/// it writes carries the same time stamp in the past, so that what a run produces is younger.
class World
{
public:
    World();

    static const QByteArrayList &toolNames();

    QByteArray path(const QByteArray &name = {}) const;
    void makeDirectory(const QByteArray &name);
    void write(const QByteArray &name, const QByteArray &content = "x\n", qint64 time = 0);
    void link(const QByteArray &target, const QByteArray &name);
    void remove(const QByteArray &name);
    void setMode(const QByteArray &name, unsigned mode);

    /// Time stamps are nanoseconds since 2020-01-01.
    void setTime(const QByteArray &name, qint64 time);
    qint64 time(const QByteArray &name) const;

    bool exists(const QByteArray &name) const;
    QByteArray read(const QByteArray &name) const;
    /// Everything below a directory, one a line and sorted; directories end in "/".
    QByteArray tree(const QByteArray &name) const;
    /// The names in a directory in the order in which the file system returns them.
    QByteArrayList entries(const QByteArray &name) const;

    /// Writes project/demo.ztp in the current schema.
    void project(const QByteArray &attributes, const QByteArray &children,
                 const QByteArray &name = "project/demo.ztp");
    /// Writes project/demo.ztp in the first schema.
    void firstSchemaProject(const QByteArray &attributes, const QByteArray &children,
                            const QByteArray &name = "project/demo.ztp");

    /// Plans what a stand-in does; the lines are explained in standin.cpp.
    void plan(const QByteArray &tool, const QByteArray &lines);

    QProcessEnvironment &environment() { return m_environment; }
    QByteArray environment(const char *name) const;

    Result run(const QByteArrayList &arguments, const Start &start = {});

private:
    void install(const char *program, const QByteArray &name);
    void handOver();
    QList<Call> takeCalls();

    QTemporaryDir m_directory;
    QByteArray m_root;
    QProcessEnvironment m_environment;
};
