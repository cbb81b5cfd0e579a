#include "fuzztarget.h"

#include "memorymeter.h"

#include <QHash>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 memoryLimit = 64 << 20;  // bytes
constexpr qint64 memoryForEachByte = 256; // of the input, beyond that

// libFuzzer takes a counter that was zero before for a newly reached place in the code.
__attribute__((section("__libfuzzer_extra_counters"), used)) std::array<uint8_t, 4096>
        outcomeCounters;

/// One file in memory for all inputs; its path can be opened any number of times.
class InputFile
{
public:
    InputFile() : m_descriptor(memfd_create("input", MFD_CLOEXEC))
    {
        Fuzz::require(m_descriptor >= 0, "a file in memory can be made");
        m_path = u"/proc/self/fd/%1"_s.arg(m_descriptor);
    }

    void write(const uint8_t *data, size_t size) const
    {
        Fuzz::require(ftruncate(m_descriptor, 0) == 0
                              && pwrite(m_descriptor, data, size, 0) == static_cast<ssize_t>(size),
                      "the input can be written");
    }

    const QString &path() const { return m_path; }

private:
    int m_descriptor;
    QString m_path;
};

} // namespace

void Fuzz::run(const uint8_t *data, size_t size,
               const std::function<void(const QString &path)> &read)
{
    static const InputFile file;
    static const QtMessageHandler debugChannel =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    Q_UNUSED(debugChannel);

    file.write(data, size);
    const MemoryMeter meter;
    read(file.path());
    const qint64 growth = meter.peakGrowth();
    if (growth > memoryLimit)
        std::fprintf(stderr, "%lld bytes used for an input of %zu\n",
                     static_cast<long long>(growth), size);
    require(growth <= memoryLimit + memoryForEachByte * static_cast<qint64>(size),
            "reading takes at most 64 MiB and 256 bytes for each byte of the input");
}

void Fuzz::require(bool ok, const char *expectation)
{
    if (ok)
        return;
    std::fprintf(stderr, "Not so: %s\n", expectation);
    std::abort();
}

void Fuzz::noteOutcome(const QString &message, qsizetype records)
{
    // What stands between the first and the last quotation mark, and in angle brackets, is the
    // input's own: without it, and without numbers, equal reasons are equal texts.
    static const QRegularExpression own(u"[\"'].*[\"']|<[^>]*>|[0-9]"_s,
                                        QRegularExpression::DotMatchesEverythingOption);
    const QString kind = QString(message).remove(own);
    const auto count = [](size_t hash) { ++outcomeCounters[hash % outcomeCounters.size()]; };
    count(qHash(kind));
    count(qHash(std::min<qsizetype>(records, 16), 1));
}
