#include "memorymeter.h"

// g++ says it with a macro, clang with a feature; Qt defines __has_feature() for g++, too.
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define ZTMAKE_COUNT_ALLOCATIONS
#endif

#ifdef ZTMAKE_COUNT_ALLOCATIONS

#include <algorithm>
#include <atomic>

// g++ comes without the header that declares these.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
        void (*afterAllocation)(const volatile void *memory, size_t size),
        void (*beforeRelease)(const volatile void *memory));
extern "C" size_t __sanitizer_get_allocated_size(const volatile void *memory);

namespace {

std::atomic<qint64> allocated;
std::atomic<qint64> peak;

void countAllocation(const volatile void *, size_t size)
{
    const qint64 now = allocated += static_cast<qint64>(size);
    peak = std::max<qint64>(peak, now);
}

void countRelease(const volatile void *memory)
{
    allocated -=
            static_cast<qint64>(__sanitizer_get_allocated_size(const_cast<const void *>(memory)));
}

} // namespace

MemoryMeter::MemoryMeter()
{
    static const int installed =
            __sanitizer_install_malloc_and_free_hooks(countAllocation, countRelease);
    Q_UNUSED(installed);
    m_base = allocated;
    peak = m_base;
}

qint64 MemoryMeter::peakGrowth() const
{
    return peak - m_base;
}

#else

#include <QFile>

#include <malloc.h>

namespace {

/// @return a value of /proc/self/status in bytes
qint64 statusValue(const QByteArray &key)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("/proc/self/status cannot be read");
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(key + ':'))
            return line.sliced(key.size() + 1).simplified().split(' ').first().toLongLong() * 1024;
    }
    qFatal("/proc/self/status has no %s", key.constData());
}

/// Makes the highest value that the kernel remembers the current one.
void resetPeak()
{
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || file.write("5") != 1)
        qFatal("/proc/self/clear_refs cannot be written");
}

} // namespace

MemoryMeter::MemoryMeter()
{
    malloc_trim(0); // memory that is kept for later would hide what is taken from it
    resetPeak();
    m_base = statusValue("VmRSS");
}

qint64 MemoryMeter::peakGrowth() const
{
    return statusValue("VmHWM") - m_base;
}

#endif
