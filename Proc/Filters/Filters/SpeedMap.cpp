#include "Proc/Filters/Filters/SpeedMap.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Proc/Filters/Filters/TimeCast.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::Details {

namespace {

/// Largest term of a rate: 2 to the power of 61, with room for rounding.
constexpr double TERM_LIMIT = 2305843009213693952.0;

}  // namespace

int64 SpeedMap::ToResult(int64 sourceTime) const {
    if (!HasValue(sourceTime)) return NO_VALUE;
    return ToTime(static_cast<double>(sourceTime) / factor + 0.5);
}

int64 SpeedMap::ToSource(int64 resultTime) const {
    if (!HasValue(resultTime)) return NO_VALUE;
    return ToTime(static_cast<double>(resultTime) * factor + 0.5);
}

Ratio SpeedMap::ToResult(Ratio const& rate) const {
    double numerator = std::clamp(static_cast<double>(rate.numerator()) * factor * 1000,
                                  -std::numeric_limits<double>::max(), std::numeric_limits<double>::max());
    double denominator = static_cast<double>(rate.denominator()) * 1000;
    int shift = 0;
    std::frexp(std::max(std::fabs(numerator), denominator) / TERM_LIMIT, &shift);
    if (shift > 0) {
        numerator = std::ldexp(numerator, -shift);
        denominator = std::ldexp(denominator, -shift);
    }
    return {std::llround(numerator), std::max<int64>(std::llround(denominator), 1)};
}

void RequireSpeed(double factor) {
    if (!std::isfinite(factor) || factor <= 0) TARSEL_THROW(FilterException, "Wrong settings!");
}

}  // namespace Tarsel::Proc::Details
