#pragma once

#include <optional>
#include <vector>

#include "contracts/Core/Types.h"
#include "tests/support/BitWriter.h"

namespace Tarsel::TestSupport {

/// A program config element by its fields.
struct PCEFields {
    u8 tag = 0;                                    // 4 bits
    u8 objectType = 1;                             // 2 bits
    u8 samplingIndex = 4;                          // 4 bits
    std::vector<u8> front, side, back, coupling;   // 5 bits each
    std::vector<u8> lfe, associated;               // 4 bits each
    std::optional<u8> monoMixdown, stereoMixdown;  // 4 bits
    std::optional<u8> matrixMixdown;               // 3 bits
    std::vector<u8> comment;
};

/// The element behind its id. `alignComment`: the comment begins on a byte boundary of `out`, otherwise right behind
/// the fields.
void WritePCE(BitWriter& out, PCEFields const& fields, bool alignComment);
/// The element alone, its comment on a byte boundary: what `ReadPCE` makes of it.
std::vector<u8> BuildPCE(PCEFields const& fields);
/// Front one and two, back two, one LFE; no comment.
PCEFields MakeSurroundPCE();

/// A fixed ADTS header by its fields; frame length and fullness as they are written.
struct ADTSFields {
    u32 id = 0;
    u32 layer = 0;
    u32 protectionAbsent = 1;
    u32 profile = 1;
    u32 samplingIndex = 4;
    u32 privateBit = 0;
    u32 channelConfiguration = 2;
    u32 flags = 0;  // original, home, two of the copyright
    u32 frameLength = 7;
    u32 fullness = 0x7FF;
    u32 blockCount = 0;
};

void WriteADTS(BitWriter& out, ADTSFields const& fields);
/// The header, `behind` following it.
std::vector<u8> BuildADTS(ADTSFields const& fields, std::vector<u8> const& behind = {});
/// The header and, behind the id of a program config element, the element; its comment right behind its fields.
std::vector<u8> BuildADTSWithPCE(ADTSFields const& fields, PCEFields const& pce);

/// An AudioSpecificConfig by its fields up to the GASpecificConfig.
struct ASCFields {
    u32 objectType = 2;  // 32 and more take the escape
    u32 samplingIndex = 4;
    u32 explicitRate = 0;  // written with index 15
    u32 channelConfiguration = 2;
    u32 extensionIndex = 4;  // with object types 5 and 29
    u32 extensionRate = 0;
    u32 coreType = 2;
};

void WriteASC(BitWriter& out, ASCFields const& fields);
std::vector<u8> BuildASC(ASCFields const& fields);

}  // namespace Tarsel::TestSupport
