#pragma once

#include <algorithm>
#include <vector>

#include "tests/support/Builders.h"

namespace Tarsel::Test {

/// A block of one channel that holds these values, for formats of `Sample`s: double samples unless told.
template <class Sample = double>
iptr<Proc::IDataAudio> MakeMono(int64 time, int64 duration, std::vector<Sample> const& values,
                                Conf::SampleFormats format = Conf::SAMPLE_FORMAT_DBL) {
    auto block = MakeAudio(time, static_cast<int>(values.size()), 48000, format, Conf::CHANNEL_LAYOUT_MONO);
    std::copy(values.begin(), values.end(), SamplesOf<Sample>(*block));
    block->SetDuration(duration);
    return block;
}

/// All samples of one plane, in order: those of all channels for an interleaved block.
template <class Sample>
std::vector<Sample> PlaneOf(Proc::IDataAudio& block, int plane = 0) {
    Sample const* const first = SamplesOf<Sample>(block, plane);
    int const channels = Conf::IsPlanar(block.GetSampleFormat()) ? 1 : block.GetChannelCount();
    return {first, first + block.GetSampleCount() * channels};
}

}  // namespace Tarsel::Test
