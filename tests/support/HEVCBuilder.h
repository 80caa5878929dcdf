#pragma once

#include <vector>

#include "Proc/CodecParsers/HEVCRecords.h"
#include "contracts/Core/Types.h"
#include "tests/support/H264Builder.h"

namespace Tarsel::TestSupport {

/// What profile_tier_level() says of one sub-layer.
struct HEVCSubLayer {
    bool hasProfile = false;
    bool hasLevel = false;
    u64 filler = 0;  // repeated, it fills the fields that these announce
};

/// How the parts of a set are written that its record doesn't tell.
struct HEVCForm {
    std::vector<HEVCSubLayer> subLayers;  // of the sub-layers behind its end nothing is announced
    bool writeEmptyWindow = false;        // write the four offsets of the conformance window even if all are 0
};

/// The NAL unit of a VPS with the fields of `vps`. It ends behind profile_tier_level().
NaluBytes BuildHEVCVPS(Proc::CodecParsers::HEVCVPS const& vps, HEVCForm const& form = {});
/// The NAL unit of an SPS with the fields of `sps`. It ends behind bit_depth_chroma_minus8.
NaluBytes BuildHEVCSPS(Proc::CodecParsers::HEVCSPS const& sps, HEVCForm const& form = {});
/// A NAL unit of any type: its two header bytes and `payload`.
NaluBytes BuildHEVCUnit(u32 type, std::vector<u8> const& payload = {0x55, 0xAA});

/// A VPS and an SPS of a plain 640 x 360 stream of the Main profile at level 3.0, as records.
Proc::CodecParsers::HEVCVPS MakeHEVCVPS();
Proc::CodecParsers::HEVCSPS MakeHEVCSPS(u8 id = 0);

/// One array of an hvcC header.
struct HvccArray {
    u8 head = 0;  // array_completeness and NAL_unit_type
    std::vector<NaluBytes> units;
};

/// An hvcC header for the sets, with `lengthSize`-byte lengths; all that the sets don't tell is "unknown".
std::vector<u8> JoinHvcC(Proc::CodecParsers::HEVCVPS const& vps, Proc::CodecParsers::HEVCSPS const& sps,
                         std::vector<HvccArray> const& arrays, int lengthSize = 4);

}  // namespace Tarsel::TestSupport
