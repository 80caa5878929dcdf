#pragma once

#include "contracts/Core/BitIO.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc::CodecParsers {

/// Reads an unsigned Exp-Golomb code (ITU-T H.264, 9.1). At most 32 leading zeros are counted; 32 of them have no
/// closing 1 bit, and the 32 bits behind them are the value as it stands. Throws `Tarsel::Exception` past the end.
u32 ReadUE(Core::DataBitInput& in);

/// Reads a signed Exp-Golomb code: 0, 1, -1, 2, -2... for the codes 0, 1, 2, 3, 4... The code 0xFFFFFFFF gives the
/// smallest 32-bit integer. Throws `Tarsel::Exception` past the end.
i32 ReadSE(Core::DataBitInput& in);

/// Reads `count` bits, 0 to 8.
u8 ReadU8(Core::DataBitInput& in, unsigned count);

/// Throws `Tarsel::Exception` when `count` entries of at least `bitsPerEntry` bits can't be left in `in`: a count that
/// a hostile header states must not size an array or bound a loop before. `name` is the field that holds the count.
void RequireEntries(Core::DataBitInput const& in, u64 count, unsigned bitsPerEntry, char const* name);

}  // namespace Tarsel::Proc::CodecParsers
