#pragma once

#include <vector>

#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "contracts/Core/Types.h"
#include "tests/support/BitWriter.h"

namespace Tarsel::TestSupport {

/// An MPEG-4 header from the visual object sequence on, with the fields of `config`. The layer has the start code
/// `volStartCode` and `timeIncrementBits` bits for `fixed_vop_time_increment`.
std::vector<u8> BuildMPEG4Config(Proc::CodecParsers::MPEG4Config const& config, unsigned timeIncrementBits,
                                 u32 volStartCode = 0x120);
/// The layer alone, with its start code.
void WriteVOL(BitWriter& out, Proc::CodecParsers::MPEG4VOL const& vol, unsigned timeIncrementBits,
              u32 startCode = 0x120);
/// A rectangular 320 x 240 layer of version 1 at 25 ticks a second, without optional parts.
Proc::CodecParsers::MPEG4Config MakeMPEG4Config();

/// An MPEG-2 sequence header and its extension with the fields of `config`; derived fields are not looked at.
std::vector<u8> BuildMPEG2Header(Proc::CodecParsers::MPEG2Config const& config);
std::vector<u8> BuildMPEG2Extension(Proc::CodecParsers::MPEG2SequenceExtension const& extension);

}  // namespace Tarsel::TestSupport
