#pragma once

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/BitIO.h"

namespace Tarsel::Proc::CodecParsers {

/// A bit reader over a unit's raw payload, behind the NAL header.
class NaluPayload {
  public:
    /// Throws `Tarsel::Exception` when the unit is shorter than its header of `headerBits` bits.
    NaluPayload(NaluRange const& unit, unsigned headerBits)
        : bytes(RemoveEmulationPrevention(unit.data, unit.size)),
          in(Core::DataInputMemory::Create(bytes.data(), bytes.size())) {
        in.ReadBits(headerBits);
    }
    NaluPayload(NaluPayload const&) = delete;
    NaluPayload& operator=(NaluPayload const&) = delete;

    Core::DataBitInput& GetInput() { return in; }

  private:
    Bytes bytes;
    Core::DataBitInput in;  // reads `bytes`
};

}  // namespace Tarsel::Proc::CodecParsers
