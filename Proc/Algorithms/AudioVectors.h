#pragma once

#include <cstddef>

#include "Proc/Algorithms/AudioLoops.h"
#include "contracts/Core/Types.h"

// The loops that a compiler doesn't find by itself, for the commonest work. They do it for a part of the values, from
// the first one on, and return how many these were: none where they don't fit the gains or the instructions are
// missing.

namespace Tarsel::Proc::AudioArithmetic {

// Samples of 16 bits with gains of 1 at most: "quiet". Their products fit 16 bits again, which saves the wider words
// that the formula speaks of: (s * gain + 128) >> 8 is (s * (gain * 128) + 16384) >> 15, and that is one instruction.

struct QuietShorts {
    u8 const* data = nullptr;
    /// In 256ths.
    i32 gain = 0;

    /// -256 isn't: the product of it with the lowest sample doesn't fit.
    bool IsQuiet() const { return gain >= -255 && gain <= 256; }
};

std::size_t MixQuietShorts(Instructions instructions, u8* dest, QuietShorts a, QuietShorts b, std::size_t count);
std::size_t VolumizeQuietShorts(Instructions instructions, u8* dest, QuietShorts source, std::size_t count);

struct ScaledFloats {
    u8 const* data = nullptr;
    double gain = 0;
};

std::size_t MixTwoFloats(Instructions instructions, u8* dest, ScaledFloats a, ScaledFloats b, std::size_t count);

}  // namespace Tarsel::Proc::AudioArithmetic
