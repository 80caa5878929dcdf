#pragma once

#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/GraphCRCData.h"

namespace Tarsel::Host {

/// A run of items that stand one behind the other on both sides, each with the digest of its counterpart.
struct PairedItems {
    u32 first = 0;
    u32 second = 0;
    u32 count = 0;

    bool operator==(PairedItems const&) const = default;
};

/// Which items of two runs are the same ones, ascending on both sides. Their times may differ.
///
/// Two alignments are made: one holds on to items whose time and digest are equal and pairs others by digest between
/// those, one goes by digests alone. The first is misled where times have moved in a still scene, because the items
/// there have the digest of a neighbour that had this time; the second one where an item of a still scene is lost,
/// because it doesn't matter to it which. Between places where both agree the one is taken that explains the difference
/// by fewer events: an item that is missing, one that is extra, and a place where the distance between the times of
/// both sides changes (that distance is 0 in front of the first item and behind the last). Of those that need as many
/// it is the one with more equal times.
///
/// Time: items times the logarithm of their number; a common beginning and a common end cost next to nothing.
TARSEL_HOST_EXPORT std::vector<PairedItems> AlignItems(std::vector<Proc::PacketCRCInfo> const& first,
                                                       std::vector<Proc::PacketCRCInfo> const& second);

}  // namespace Tarsel::Host
