#pragma once

#include "contracts/Core/Types.h"

namespace Tarsel::Proc::CodecParsers {

/// The first position in `[begin, end)` of the three bytes 00 00 `third`, or `end`. `third` must not be 0: 1 is a start
/// code, 3 an emulation prevention byte. Uses the processor's vector unit where it has one.
u8 const* FindZeroZero(u8 const* begin, u8 const* end, u8 third);

/// The first start code 00 00 01 that is followed by a byte from `lowest` to `highest`; `end` when there is none.
u8 const* FindStartCodeOf(u8 const* begin, u8 const* end, u8 lowest, u8 highest);

namespace Details {

/// `FindZeroZero` byte by byte, for the ends of buffers and for processors without the vector unit.
u8 const* FindZeroZeroScalar(u8 const* begin, u8 const* end, u8 third);

}  // namespace Details
}  // namespace Tarsel::Proc::CodecParsers
