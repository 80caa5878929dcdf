#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "host/media/FFmpeg.h"
#include "host/media/PacketScan.h"

namespace Tarsel::Host {

/// Guesses the order in which H.264 pictures are shown from the types of their slices alone: for streams without
/// presentation times whose headers don't tell it. Of each packet only the beginning of its first slice is kept.
class TARSEL_HOST_EXPORT SliceOrder {
  public:
    /// The next packet of the stream; called for each one, in order.
    void Add(AVPacket const& packet, NalFraming framing);
    /// For each packet its place in presentation order, from 0; empty when a slice can't be read.
    std::vector<std::size_t> GetRanks() const;

  private:
    /// Unit header, first_mb_in_slice and slice_type (H.264, 7.3.3) take at most 13 bytes.
    static constexpr std::size_t HEAD = 16;
    static constexpr std::size_t START_CODE = 4;
    using Head = std::array<u8, START_CODE + HEAD>;

    std::vector<Head> heads;
};

}  // namespace Tarsel::Host
