#pragma once

#include <boost/rational.hpp>
#include <limits>
#include <type_traits>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel {

/// "No value", a legal content of any time field and of any stream duration. 0 is an ordinary time.
inline constexpr int64 NO_VALUE = std::numeric_limits<int64>::min();
/// Thirty days, the longest duration that a trimmer accepts, in microseconds.
inline constexpr int64 MAX_DURATION = 2592000000000;
/// Microseconds in a second.
inline constexpr int64 SECOND = 1000000;

/// Whether a time or duration is known.
constexpr bool HasValue(int64 time) {
    return time != NO_VALUE;
}

/// `a + b` in microseconds; no value if either has none. Saturates short of the no-value time instead of overflowing.
constexpr int64 AddTime(int64 a, int64 b) {
    if (!HasValue(a) || !HasValue(b)) return NO_VALUE;
    int64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum) || sum == NO_VALUE)
        return a < 0 ? NO_VALUE + 1 : std::numeric_limits<int64>::max();
    return sum;
}

/// `a - b` in microseconds; no value if either has none. Saturates short of the no-value time instead of overflowing.
constexpr int64 SubTime(int64 a, int64 b) {
    if (!HasValue(a) || !HasValue(b)) return NO_VALUE;
    return AddTime(a, -b);
}

/// `a` times `b` over `c`, rounded to the nearest integer (halves away from zero), without overflow in between.
/// `b` must not be negative and `c` must be above 0; otherwise, and when the result doesn't fit, no value.
TARSEL_CONTRACTS_EXPORT int64 AvRescale(int64 a, int64 b, int64 c);

/// Frames a second. Comparing a `boost::rational` with a plain integer recurses for ever in C++20, so that comparison
/// is a compile error here: compare rates with rates.
using Ratio = boost::rational<int64>;

}  // namespace Tarsel

namespace boost {

template <class Int>
requires std::is_integral_v<Int>
bool operator==(rational<Tarsel::int64> const&, Int) = delete;
template <class Int>
requires std::is_integral_v<Int>
bool operator!=(rational<Tarsel::int64> const&, Int) = delete;

}  // namespace boost
