#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// A plain view of one audio block, for the functions below. Built on the stack; the block outlives it.
struct AudioBlockView {
    /// A view of nothing.
    AudioBlockView() = default;
    /// Throws `std::invalid_argument` for a null block, and `ProcException` for one whose planes don't lie back to
    /// back: the functions take the storage of all planes as one run.
    explicit AudioBlockView(iptr<IDataAudio> const& block);

    /// Samples of each channel.
    i32 samples = 0;
    Conf::SampleInfo info;
    /// Start of the block's storage.
    u8* data = nullptr;
    /// Bytes of one plane: of the whole block in an interleaved format.
    uint32 planeBytes = 0;
};

/// One of the blocks that are mixed.
struct MixSource : AudioBlockView {
    /// The gain as `MixAudio` works with it; which field is in use depends on the format.
    union FixedGain {
        std::int16_t bits16;
        i32 bits32;
        int64 bits64;
        double real;
    };

    MixSource() = default;
    MixSource(iptr<IDataAudio> const& block, double gain) : AudioBlockView(block), gain(gain) {}

    /// 1 leaves the block as it is.
    double gain = 1.0;
    FixedGain fixedGain{};
};

// Sample arithmetic on formats of 8, 16 and 32 bits, float and double. An interleaved block and its planar sister are
// worked on alike. Integers are multiplied by a gain in 256ths, rounded half up, and saturated; a gain of 1 gives back
// the very same samples. Gains beyond the fixed-point word are bounded to it; one that is no number is 0; of an 8-bit
// gain the low 16 bits count. Float samples that are no number, or become so, leave as 1. Formats that aren't known
// throw `ProcException` with the function's name, views that are too short for the work one that says so. The functions
// hold no state: any thread.

/// Sums the sources, each with its gain, into `dest`, which fixes the number of values; their `fixedGain` is written.
/// Without a source nothing is done. Mixing 8-bit sources adds their silent level of 128 for each of them and never
/// takes it off again: more than one can't be mixed in 8 bits. `dest` may be one of the sources, but not overlap one in
/// part.
void MixAudio(AudioBlockView& dest, std::vector<MixSource>& sources);

/// `dest = source x volume`. The two may be the same block.
void VolumizeAudio(AudioBlockView& dest, AudioBlockView const& source, double volume);

/// Peak and RMS, 1 at full scale. The peak is that of the positive half-wave: below zero it stays 0. Of an interleaved
/// block the first `samples` values count, which is its front part.
std::pair<double, double> EstimateLevel(AudioBlockView const& block);

/// Copies and holds float samples to -1..1.
void ClipAudio(AudioBlockView& dest, AudioBlockView const& source);

/// Appends the value of each channel at sample `index`, 1 at full scale, to `out`.
void GetAudioSamples(AudioBlockView const& block, uint32 index, std::vector<double>& out);

}  // namespace Tarsel::Proc
