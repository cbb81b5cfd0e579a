#pragma once

#include "result.h"
#include "start.h"

#include <QProcessEnvironment>
#include <QTemporaryDir>

class QProcess;

/// A directory of its own with an SDK ("sdk"), a project directory ("project"), a home directory
/// ("home") and a search path ("path"), and with the real program beside stand-ins for its tools.
///
/// All paths that it takes are relative to that directory, unless they begin with "/". Everything
/// it writes carries the same time stamp in the past, so that what a run produces is younger.
class World
{
public:
    World();
    /// With a project in the current schema.
    World(const QByteArray &attributes, const QByteArray &children,
          const QByteArray &name = "project/demo.ztp");

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
    void setVariable(const char *name, const QByteArray &value);

    Result run(const QByteArrayList &arguments, const Start &start = {});
    /// The two halves of run(), for what is to happen while the program runs.
    void begin(QProcess *process, const QByteArrayList &arguments, const Start &start = {});
    Result end(QProcess *process, const Start &start = {});

private:
    void writeProject(const QByteArray &schema, const QByteArray &attributes,
                      const QByteArray &children, const QByteArray &name);
    void install(const char *program, const QByteArray &name);
    void handOver();
    QList<Call> takeCalls();

    QTemporaryDir m_directory;
    QByteArray m_root;
    QProcessEnvironment m_environment;
};
