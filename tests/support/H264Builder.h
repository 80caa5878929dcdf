#pragma once

#include <vector>

#include "Proc/CodecParsers/H264Records.h"
#include "contracts/Core/Types.h"

namespace Tarsel::TestSupport {

/// One scaling list as an SPS codes it.
struct CodedScalingList {
    bool present = false;
    std::vector<i32> deltas;  // delta_scale values, as they are written
};

using NaluBytes = std::vector<u8>;

/// The NAL unit of an SPS with the fields of `sps`. `lists` are written when `seq_scaling_matrix_present_flag` is set;
/// the scaling lists of the record are not looked at.
NaluBytes BuildSPS(Proc::CodecParsers::H264SPS const& sps, std::vector<CodedScalingList> const& lists = {});

/// The NAL unit of a PPS with the fields of `pps`. The three optional fields at its end are left out.
NaluBytes BuildPPS(Proc::CodecParsers::H264PPS const& pps);

/// A slice's NAL unit: header byte `type`, first macroblock 0, `sliceType`, and some bytes of data.
NaluBytes BuildSlice(u32 type, u32 sliceType, std::size_t dataBytes = 8);

/// A plain 640 x 360 SPS of the High profile at level 3.0 and a PPS for it, as records.
Proc::CodecParsers::H264SPS MakeSPS(u32 id = 0);
Proc::CodecParsers::H264PPS MakePPS(u32 id = 0, u32 spsId = 0);

/// The units, each after 00 00 00 01.
std::vector<u8> JoinAnnexB(std::vector<NaluBytes> const& units);
/// The units, each after a big-endian length of `lengthSize` bytes.
std::vector<u8> JoinMP4(std::vector<NaluBytes> const& units, int lengthSize);
/// An avcC header with `lengthSize`-byte lengths and `tail` behind the last PPS.
std::vector<u8> JoinAvcC(std::vector<NaluBytes> const& sps, std::vector<NaluBytes> const& pps, int lengthSize = 4,
                         std::vector<u8> const& tail = {});

}  // namespace Tarsel::TestSupport
