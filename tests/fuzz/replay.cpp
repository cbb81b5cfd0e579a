// Runs a fuzz target over stored inputs, in builds without libFuzzer.

#include "fuzztarget.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

#include <sys/time.h>

namespace {

constexpr int secondsAnInput = 10; // of processor time

QStringList inputFiles(const QString &path)
{
    if (!QFileInfo(path).isDir())
        return {path};
    QStringList files;
    QDirIterator directory(path, QDir::Files, QDirIterator::Subdirectories);
    while (directory.hasNext())
        files.append(directory.next());
    files.sort();
    return files;
}

/// The timer's signal ends the program.
void setTimer(int seconds)
{
    const itimerval timer{{0, 0}, {seconds, 0}};
    setitimer(ITIMER_PROF, &timer, nullptr);
}

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(file.errorString()));
        return false;
    }
    const QByteArray input = file.readAll();
    // The name comes first: an input that breaks the reader ends the program.
    std::printf("%s", qPrintable(path));
    std::fflush(stdout);
    QElapsedTimer timer;
    timer.start();
    setTimer(secondsAnInput);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.constData()),
                           static_cast<size_t>(input.size()));
    setTimer(0);
    std::printf(": %lld ms\n", static_cast<long long>(timer.elapsed()));
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    qsizetype count = 0;
    for (int i = 1; i < argc; ++i) {
        const QStringList files = inputFiles(QString::fromLocal8Bit(argv[i]));
        for (const QString &file : files) {
            if (!replay(file))
                return 1;
            ++count;
        }
    }
    std::printf("%lld inputs\n", static_cast<long long>(count));
    return count > 0 ? 0 : 1; // a run without inputs proves nothing
}
