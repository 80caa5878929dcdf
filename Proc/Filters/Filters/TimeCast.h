#pragma once

#include <limits>

#include "contracts/Core/Time.h"

namespace Tarsel::Proc::Details {

/// A computed time, cut to an integer. What doesn't fit saturates short of the no-value time.
inline int64 ToTime(double value) {
    constexpr double LIMIT = 9223372036854775808.0;  // 2 to the power of 63, the first that is too large
    if (value >= LIMIT) return std::numeric_limits<int64>::max();
    if (!(value > -LIMIT)) return NO_VALUE + 1;
    return static_cast<int64>(value);
}

}  // namespace Tarsel::Proc::Details
