#include "world.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 secondsOf2020 = 1577836800;
constexpr qint64 nanosecondsPerSecond = 1000000000;

QString decoded(const QByteArray &path)
{
    return QFile::decodeName(path);
}

/// Takes one "<length>:<bytes>," off the front.
QByteArray takeField(QByteArray &log)
{
    const qsizetype colon = log.indexOf(':');
    const qsizetype length = log.left(colon).toLongLong();
    require(colon > 0 && log.size() > colon + 1 + length, "read the log:", log);
    QByteArray field = log.mid(colon + 1, length);
    log.remove(0, colon + 1 + length + 1);
    return field;
}

void store(Call &call, const QByteArray &key, const QByteArray &value)
{
    if (key == "name")
        call.name = value;
    else if (key == "program")
        call.program = value;
    else if (key == "pid")
        call.pid = value.toLongLong();
    else if (key == "directory")
        call.directory = value;
    else if (key == "received")
        call.received.append(value);
    else if (key == "argument")
        call.arguments.append(value);
    else if (key == "response file")
        call.responseFile = value;
    else if (key == "response text")
        call.responseText = value;
    else if (key == "input")
        call.input = value;
    else if (key == "probe")
        call.probes.append(value);
    else
        require(false, key.constData(), value);
}

} // namespace

World::World() : m_directory(QDir::tempPath() + QStringLiteral("/ztmake-XXXXXX"))
{
    require(m_directory.isValid(), "make", QFile::encodeName(m_directory.path()));
    m_root = QFile::encodeName(QFileInfo(m_directory.path()).canonicalFilePath());
    for (const char *name :
         {"home", "path", "project", "record/plan", "sdk/bin", "sdk/kernel", "sdk/usr/include"})
        makeDirectory(name);
    install(ZTMAKE_PROGRAM, "sdk/bin/ztmake");
    for (const QByteArray &tool : toolNames())
        install(STANDIN_PROGRAM, "sdk/bin/" + tool);
    install(STANDIN_PROGRAM, "path/svnversion");

    setVariable("LC_ALL", "C.UTF-8");
    setVariable("ZTMAKE_SYNC", "0"); // waiting for the disk would take most of the tests' time
    setVariable("ZTMAKE_JOBS", qgetenv("ZTTEST_JOBS"));
    setVariable("HOME", path("home"));
    setVariable("PATH", path("path") + ":/usr/bin:/bin");
    setVariable("QT_LOGGING_TO_CONSOLE", "1");
    setVariable("ZTTEST_DIR", path("record"));
    setVariable("GCOV_ERROR_FILE", "/dev/null");
    for (const char *name : {"LD_LIBRARY_PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS",
                             "LLVM_PROFILE_FILE", "TMPDIR", "ZTMAKE_MUTANT"}) {
        if (qEnvironmentVariableIsSet(name))
            setVariable(name, qgetenv(name));
    }
}

World::World(const QByteArray &attributes, const QByteArray &children, const QByteArray &name)
    : World()
{
    project(attributes, children, name);
}

const QByteArrayList &World::toolNames()
{
    static const QByteArrayList names{"ztlpp",    "ztluac",    "ztmkmtd", "ztlupdate",
                                      "lrelease", "ztmkromfs", "ztlink"};
    return names;
}

/// Programs are hard links, so that a program finds its own directory and no space is spent.
void World::install(const char *program, const QByteArray &name)
{
    const bool linked = ::link(program, path(name).constData()) == 0
                        || QFile::copy(decoded(program), decoded(path(name)));
    require(linked, "install", name);
}

QByteArray World::path(const QByteArray &name) const
{
    if (name.startsWith('/'))
        return name;
    return name.isEmpty() ? m_root : m_root + '/' + name;
}

void World::makeDirectory(const QByteArray &name)
{
    require(QDir().mkpath(decoded(path(name))), "make directory", name);
}

void World::write(const QByteArray &name, const QByteArray &content, qint64 time)
{
    const QByteArray whole = path(name);
    makeDirectory(whole.left(whole.lastIndexOf('/')));
    QFile file(decoded(whole));
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "write",
            name);
    file.close();
    setTime(name, time);
}

void World::link(const QByteArray &target, const QByteArray &name)
{
    const QByteArray whole = path(name);
    makeDirectory(whole.left(whole.lastIndexOf('/')));
    require(::symlink(target.constData(), whole.constData()) == 0, "link", name);
}

void World::remove(const QByteArray &name)
{
    const QFileInfo info(decoded(path(name)));
    const bool removed = info.isDir() && !info.isSymLink()
                                 ? QDir(info.filePath()).removeRecursively()
                                 : QFile::remove(info.filePath());
    require(removed, "remove", name);
}

void World::setMode(const QByteArray &name, unsigned mode)
{
    require(::chmod(path(name).constData(), mode) == 0, "change the mode of", name);
}

void World::setTime(const QByteArray &name, qint64 time)
{
    qint64 seconds = secondsOf2020 + time / nanosecondsPerSecond;
    qint64 nanoseconds = time % nanosecondsPerSecond;
    if (nanoseconds < 0) {
        nanoseconds += nanosecondsPerSecond;
        --seconds;
    }
    const timespec both[2] = {{time_t(seconds), long(nanoseconds)},
                              {time_t(seconds), long(nanoseconds)}};
    require(::utimensat(AT_FDCWD, path(name).constData(), both, 0) == 0, "set the time of", name);
}

qint64 World::time(const QByteArray &name) const
{
    struct stat status
    {
    };
    require(::stat(path(name).constData(), &status) == 0, "stat", name);
    return (status.st_mtim.tv_sec - secondsOf2020) * nanosecondsPerSecond + status.st_mtim.tv_nsec;
}

bool World::exists(const QByteArray &name) const
{
    struct stat status
    {
    };
    return ::lstat(path(name).constData(), &status) == 0;
}

QByteArray World::read(const QByteArray &name) const
{
    QFile file(decoded(path(name)));
    require(file.open(QIODevice::ReadOnly), "read", name);
    return file.readAll();
}

QByteArray World::tree(const QByteArray &name) const
{
    QByteArrayList lines;
    const QDir directory(decoded(path(name)));
    QDirIterator it(directory.path(),
                    QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString entry = it.next();
        const bool isDirectory = it.fileInfo().isDir() && !it.fileInfo().isSymLink();
        lines.append(QFile::encodeName(directory.relativeFilePath(entry))
                     + (isDirectory ? "/\n" : "\n"));
    }
    std::sort(lines.begin(), lines.end());
    return lines.join();
}

QByteArrayList World::entries(const QByteArray &name) const
{
    QByteArrayList names;
    DIR *directory = ::opendir(path(name).constData());
    require(directory != nullptr, "list", name);
    while (const dirent *entry = ::readdir(directory)) {
        const QByteArray entryName = entry->d_name;
        if (entryName != "." && entryName != "..")
            names.append(entryName);
    }
    ::closedir(directory);
    return names;
}

void World::project(const QByteArray &attributes, const QByteArray &children,
                    const QByteArray &name)
{
    writeProject("http://zelta.example/Zelta/Project/2009/42", attributes, children, name);
}

void World::firstSchemaProject(const QByteArray &attributes, const QByteArray &children,
                               const QByteArray &name)
{
    writeProject("http://zelta.example/Zelta/Project/2009", attributes, children, name);
}

void World::writeProject(const QByteArray &schema, const QByteArray &attributes,
                         const QByteArray &children, const QByteArray &name)
{
    write(name, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ZeltaProject xmlns=\"" + schema
                        + "\">\n<Project " + attributes + ">\n" + children
                        + "</Project>\n</ZeltaProject>\n");
}

QByteArray World::environment(const char *name) const
{
    return QFile::encodeName(m_environment.value(QLatin1String(name)));
}

void World::setVariable(const char *name, const QByteArray &value)
{
    m_environment.insert(QLatin1String(name), decoded(value));
}

void World::plan(const QByteArray &tool, const QByteArray &lines)
{
    write("record/plan/" + tool, lines);
    if (exists("record/plan/" + tool + ".count"))
        remove("record/plan/" + tool + ".count");
}

/// Makes the ordinary user the owner of all but the programs, which may be links to the build tree.
void World::handOver()
{
    if (geteuid() != 0)
        return;
    QByteArrayList names = tree({}).split('\n');
    for (const QByteArray &name : names) {
        const bool isProgram =
                (name.startsWith("sdk/bin/") || name.startsWith("path/")) && !name.endsWith('/');
        if (!isProgram)
            require(::lchown(path(name).constData(), nobody, nobody) == 0, "hand over", name);
    }
}

QList<Call> World::takeCalls()
{
    QList<Call> calls;
    if (!exists("record/calls"))
        return calls;
    QByteArray log = read("record/calls");
    remove("record/calls");
    Call call;
    while (!log.isEmpty()) {
        const QByteArray key = takeField(log);
        const QByteArray value = takeField(log);
        if (key == "end") {
            calls.append(call);
            call = Call();
        } else {
            store(call, key, value);
        }
    }
    return calls;
}

Result World::run(const QByteArrayList &arguments, const Start &start)
{
    QProcess process;
    begin(&process, arguments, start);
    return end(&process, start);
}

void World::begin(QProcess *process, const QByteArrayList &arguments, const Start &start)
{
    QStringList texts;
    for (const QByteArray &argument : arguments)
        texts.append(QString::fromUtf8(argument));
    QProcessEnvironment environment = m_environment;
    if (start.ordinaryUser || start.fileSizeLimit >= 0)
        environment.insert(QStringLiteral("GCOV_PREFIX"), decoded(path("record/gcov")));
    if (start.ordinaryUser)
        handOver();
    process->setProcessEnvironment(environment);
    process->setWorkingDirectory(decoded(path(start.directory)));
    process->setChildProcessModifier([start] { start.setUpChild(); });
    process->start(decoded(start.program.contains('/') ? path(start.program) : start.program),
                   texts);
    process->write(start.input);
    process->closeWriteChannel();
}

Result World::end(QProcess *process, const Start &start)
{
    Result result;
    const bool hasEnded = process->state() == QProcess::NotRunning
                          || process->waitForFinished(start.seconds * 1000);
    if (!hasEnded) {
        process->kill();
        process->waitForFinished();
        result.status = -2;
    } else if (process->exitStatus() == QProcess::NormalExit) {
        result.status = process->exitCode();
    } else {
        result.signal = process->exitCode(); // so it is on systems that have signals
    }
    result.root = m_root;
    result.directory = path(start.directory);
    result.out = process->readAllStandardOutput().replace(m_root, "$W");
    result.err = process->readAllStandardError().replace(m_root, "$W");
    result.calls = takeCalls();
    return result;
}
