#pragma once

#include <cstddef>
#include <cstring>

#include "Proc/Algorithms/AudioAlg.h"

namespace Tarsel::Proc::AudioArithmetic {

/// What the functions switch on: an interleaved format and its planar sister are one.
inline Conf::SampleFormats WorkFormat(AudioBlockView const& view) {
    return Conf::PlanarFormat(view.info.GetSampleFormat());
}

/// The storage of all planes as one run of values.
std::size_t CountValues(AudioBlockView const& view);

/// Stands for the result among the numbers of sources.
inline constexpr int RESULT = -1;

/// Throws `ProcException` unless the view is of the work format `format` and holds `wanted` values at least. The text
/// names the function and the view: the number of a source, from 0, or `RESULT`.
void CheckRun(AudioBlockView const& view, Conf::SampleFormats format, std::size_t wanted, char const* function,
              int number);

// Storage may be aligned to anything; compilers make a single instruction of these.

template <class Sample>
[[gnu::always_inline]] inline Sample Load(u8 const* data, std::size_t index) {
    Sample sample;
    std::memcpy(&sample, data + index * sizeof(Sample), sizeof(Sample));
    return sample;
}

template <class Sample>
[[gnu::always_inline]] inline void Store(u8* data, std::size_t index, Sample sample) {
    std::memcpy(data + index * sizeof(Sample), &sample, sizeof(Sample));
}

}  // namespace Tarsel::Proc::AudioArithmetic
