#pragma once

#include <vector>

#include "contracts/Core/Types.h"
#include "host/digest/SequenceAligner.h"

namespace Tarsel::Host {

/// Items by their digests, as numbers, and their times.
struct TimedSequence {
    std::vector<u32> digests;
    std::vector<int64> times;
};

/// Where items of one side alone are left over in the midst of equal digests, any of them may be the one: moves each
/// such gap to where the distance between the times of both sides changes least often.
void SlideGaps(TimedSequence const& first, TimedSequence const& second, std::vector<AlignedPair>& pairs);

/// Of two alignments, between the pairs that both have, the one that needs fewer events; see `AlignItems`.
std::vector<AlignedPair> ChooseSimpler(TimedSequence const& first, TimedSequence const& second,
                                       std::vector<AlignedPair> const& exact, std::vector<AlignedPair> const& loose);

}  // namespace Tarsel::Host
