#pragma once

#include <vector>

#include "contracts/Proc/GraphCRCData.h"
#include "host/digest/SequenceAligner.h"

namespace Tarsel::Host {

/// Of a stretch between two pairs of items, what no item of the other record was found for: the items that stand for
/// each other all the same, because they have one time and differ by their digests. Ascending on both sides; times
/// needn't ascend. Items without a time stand for each other where both sides have as many items: elsewhere nothing
/// tells which of them is the other.
std::vector<AlignedPair> FindChangedItems(std::vector<Proc::PacketCRCInfo> const& first,
                                          std::vector<Proc::PacketCRCInfo> const& second, AlignedStretch const& left);

}  // namespace Tarsel::Host
