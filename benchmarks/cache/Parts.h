// The parts of the program. What is set side by side is measured in turns, and the best of the rounds counts: compare
// figures within one run only.
#pragma once

#include <chrono>
#include <vector>

#include "benchmarks/bitstream/BenchReport.h"

namespace Tarsel::Bench {

using Rows = std::vector<Row>;

constexpr int ROUNDS = 7;

/// Seconds from some fixed moment on.
inline double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Reads and seeks through caches, beside those of the bare source.
void MeasureCaches(Rows& rows);
/// What a producer of frames pays for its preview: frames published a second, and its worst wait.
void MeasurePreview(Rows& rows);

}  // namespace Tarsel::Bench
