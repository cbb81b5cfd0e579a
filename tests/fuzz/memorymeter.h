#pragma once

#include <QtGlobal>

/// Measures how much memory the process takes at most beyond what it had when the meter was made.
///
/// Under the address sanitizer, whose own bookkeeping would drown the figure, the bytes that are
/// allocated (an array that grows counts twice for a moment: the sanitizer always moves it);
/// otherwise the resident memory as the kernel counts it. One meter at a time.
class MemoryMeter
{
public:
    MemoryMeter();

    /// @return the largest growth so far, in bytes
    qint64 peakGrowth() const;

private:
    qint64 m_base;
};
