#pragma once

#include "Proc/CodecParsers/H264Records.h"
#include "contracts/Core/BitIO.h"

namespace Tarsel::Proc::CodecParsers {

/// Reads the scaling lists of an SPS: six of 4x4, and two of 8x8, or six when `chroma_format_idc` is 3 (7.3.2.1.1). 8x8
/// lists that aren't read stay as they are.
void ReadScalingLists(Core::DataBitInput& in, H264SPS& sps);

/// Sets all lists to 16, the flat scaling of an SPS without lists.
void FillFlatScalingLists(H264SPS& sps);

}  // namespace Tarsel::Proc::CodecParsers
