#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <functional>

/// What the fuzz targets share. A target defines LLVMFuzzerTestOneInput(); it is linked with
/// libFuzzer in the fuzz preset, and with replay.cpp everywhere else.
namespace Fuzz {

/// Hands an input to @p read as the path of a file in memory. Ends the program when the call took
/// more than 64 MiB beyond what the process had before.
void run(const uint8_t *data, size_t size, const std::function<void(const QString &path)> &read);

/// Ends the program, so that the input is kept as a failure, unless @p ok.
void require(bool ok, const char *expectation);

/// Tells the fuzzer how reading ended. The parsers of Qt are not instrumented, so without this it
/// could not see which of their error paths an input reached.
void noteOutcome(const QString &message, qsizetype records);

} // namespace Fuzz

// NOLINTNEXTLINE(readability-identifier-naming): the name that libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
