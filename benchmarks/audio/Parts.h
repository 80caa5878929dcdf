// The parts of the program. What is set side by side is measured in turns, and the best of the rounds counts: compare
// figures within one run only.
#pragma once

#include <chrono>
#include <vector>

#include "benchmarks/bitstream/BenchReport.h"

namespace Tarsel::Bench {

using Rows = std::vector<Row>;

constexpr int ROUNDS = 9;

/// Seconds from some fixed moment on.
inline double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// The loops of the sample algorithms: bytes of the result a second, beside memcpy of as many bytes. Of the level it is
/// the bytes that are read.
void MeasureSampleLoops(Rows& rows);

}  // namespace Tarsel::Bench
