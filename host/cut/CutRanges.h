#pragma once

#include <limits>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "host/cut/CutRequest.h"

namespace Tarsel::Host {

/// `[begin, end)` in source time, microseconds.
struct Interval {
    /// As `end`: to the end of the file, whatever comes there.
    static constexpr int64 TO_END = std::numeric_limits<int64>::max();

    int64 begin;
    int64 end;

    bool operator==(Interval const&) const = default;
};

/// Removed ranges: sorted, apart from each other, not empty.
using Intervals = std::vector<Interval>;

/// The ranges of `request` as stretches to remove from a file of `duration` microseconds. Both ends of each range move
/// up to the next of `pictureTimes` (sorted; where there are none nothing is moved), an end behind the last of them is
/// the end of the file.
///
///     pictures   |     |     |     |     |
///     asked        [--------)                 a picture goes when its time lies in the range
///     falls            [------)
///
/// What changed is told in `warnings`. Throws `ProcException` for a range that lies wholly beyond the end, and when
/// nothing would be left.
TARSEL_HOST_EXPORT Intervals ResolveRanges(CutRequest const& request, int64 duration, std::vector<int64> const& pictureTimes,
                        std::vector<std::string>& warnings);

/// Moves the ends of each stretch inward to `keyTimes` (sorted), so that nothing outside it is lost. A stretch that
/// holds no whole group is dropped. What changed is told in `warnings`.
TARSEL_HOST_EXPORT Intervals SnapInward(Intervals const& removed, std::vector<int64> const& keyTimes, std::vector<std::string>& warnings);

}  // namespace Tarsel::Host
