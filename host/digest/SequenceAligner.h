#pragma once

#include <cstddef>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// A place in each of two sequences, where the same name stands.
struct AlignedPair {
    u32 first = 0;
    u32 second = 0;

    bool operator==(AlignedPair const&) const = default;
};

/// A stretch of each of two sequences, half open.
struct AlignedStretch {
    u32 firstBegin = 0;
    u32 firstEnd = 0;
    u32 secondBegin = 0;
    u32 secondEnd = 0;
};

/// Finds what two sequences of names have in common, in order: pairs of equal names, each behind the one before it on
/// both sides. There are as many as there can be where no name of the stretch repeats, and also where names do as long
/// as that takes few enough steps: always for up to 60 items, and for up to 2,000 differences among items that mostly
/// differ from each other. Beyond that the way of most pairs is looked for piece by piece from the front. That loses
/// its way where much was moved or left out in one place; so names are also paired by their occurrence, and again
/// between those that are kept, and the way that has more pairs is taken.
///
/// Time and memory: items of the stretch times the logarithm of their number. One thread at a time.
class TARSEL_HOST_EXPORT SequenceAligner {
  public:
    /// Names are numbers below `names`. Both sequences are kept by reference.
    SequenceAligner(std::vector<u32> const& first, std::vector<u32> const& second, u32 names);

    /// Appends the pairs of a stretch, ascending.
    void Align(AlignedStretch const& stretch, std::vector<AlignedPair>& pairs) { Align(stretch, pairs, DEPTH); }

  private:
    /// Items that the other side has too, by their places.
    struct Shared {
        std::vector<u32> first;
        std::vector<u32> second;
        bool areUnique = true;
    };

    /// How often stretches between pairs are looked at once more.
    static constexpr int DEPTH = 4;

    void Align(AlignedStretch stretch, std::vector<AlignedPair>& pairs, int depth);
    void AlignInner(AlignedStretch const& stretch, std::vector<AlignedPair>& pairs, int depth);
    std::vector<AlignedPair> AlignByOccurrence(AlignedStretch const& stretch, Shared const& shared, int depth);
    Shared FindShared(AlignedStretch const& stretch);
    std::vector<AlignedPair> PairOccurrences(Shared const& shared);

    std::vector<u32> const& first;
    std::vector<u32> const& second;
    /// By name; all zero, or without a place, between two uses.
    std::vector<u32> inFirst;
    std::vector<u32> inSecond;
    std::vector<u32> nextPlace;
};

/// The longest run of pairs that ascend on both sides. Those given ascend on the first side, and no place repeats.
TARSEL_HOST_EXPORT std::vector<AlignedPair> LongestChain(std::vector<AlignedPair> const& pairs);

}  // namespace Tarsel::Host
