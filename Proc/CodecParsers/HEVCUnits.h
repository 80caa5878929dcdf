#pragma once

#include "Proc/CodecParsers/HEVCCodecParser.h"

namespace Tarsel::Proc::CodecParsers {

/// The type of a unit, `HEVC_NALU_INVALID` for a unit without a whole NAL header or of a reserved or unspecified type.
u32 GetKnownHEVCNaluType(NaluRange const& unit);

}  // namespace Tarsel::Proc::CodecParsers
