#pragma once

#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Proc::CodecParsers {

/// A borrowed view of one NAL unit: `data` is the NAL header byte, `size` counts bytes without start code or length
/// field. Valid as long as the buffer that was scanned.
struct NaluRange {
    u8 const* data = nullptr;
    u32 size = 0;
};

using NaluRangeList = std::vector<NaluRange>;
using Bytes = std::vector<u8>;

inline constexpr u8 StartCode3[] = {0, 0, 1};
inline constexpr u8 StartCode4[] = {0, 0, 0, 1};

}  // namespace Tarsel::Proc::CodecParsers
