#pragma once

#include <vector>

#include "host/digest/SequenceAligner.h"

namespace Tarsel::Host {

/// What two sequences have in common, as places in them.
struct CommonItems {
    std::vector<AlignedPair> pairs;
    /// There is no longer common subsequence.
    bool areMost = false;
};

/// The greedy walk along the diagonals of Myers' algorithm, for a longest common subsequence. Where it takes too many
/// steps, or more than 2,000 items are left over, it keeps what it has found up to the furthest place that it came to,
/// but for the end of that, which what follows might show in another light, and begins anew from there, with a shorter
/// walk. Steps: a constant number for each item.
CommonItems FewestEdits(std::vector<u32> const& first, std::vector<u32> const& second);

}  // namespace Tarsel::Host
