#include "Proc/Filters/Filters/FrameGrid.h"

#include <algorithm>
#include <limits>

namespace Tarsel::Proc::Details {

namespace {

/// Holds the product of a slot number (63 bits), a term of a rate (63 bits) and the microseconds of a second, because a
/// slot that is asked for lies within times of 63 bits.
__extension__ using Wide = unsigned __int128;

constexpr auto LARGEST = static_cast<uint64>(std::numeric_limits<int64>::max());

}  // namespace

int64 FrameGrid::BeginOf(uint64 slot) const {
    auto const numerator = static_cast<Wide>(rate.numerator());
    Wide const period = static_cast<Wide>(rate.denominator()) * static_cast<Wide>(SECOND);
    // A slot this far out begins behind all times, and its product may not fit either.
    if (slot > (static_cast<Wide>(LARGEST) * numerator) / period) return static_cast<int64>(LARGEST);
    Wide const begin = (slot * period + numerator / 2) / numerator;
    return static_cast<int64>(std::min<Wide>(begin, LARGEST));
}

uint64 FrameGrid::SlotAt(int64 time) const {
    if (time <= 0) return 0;
    Wide const period = static_cast<Wide>(rate.denominator()) * static_cast<Wide>(SECOND);
    Wide const slot = static_cast<Wide>(time) * static_cast<Wide>(rate.numerator()) / period;
    return static_cast<uint64>(std::min<Wide>(slot, LARGEST));
}

}  // namespace Tarsel::Proc::Details
