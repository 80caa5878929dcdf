#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <stdexcept>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/Time.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Test {

// Samples of a block in any format, each as the number that stands there: 128 is silence in 8 bits. A double holds all
// of them exactly.

namespace Details {

/// Calls `use` with a pointer to the sample, of the type that the format has.
template <class Use>
auto WithSample(Proc::IDataAudio& block, int channel, int index, Use use) {
    Conf::SampleInfo const info = block.GetSampleInfo();
    bool const planar = Conf::IsPlanar(info.GetSampleFormat());
    u8* const plane = block.GetAVFrame()->extended_data[planar ? channel : 0];
    int const at = planar ? index : index * info.GetChannelCount() + channel;
    switch (static_cast<int>(Conf::PlanarFormat(info.GetSampleFormat()))) {
        case Conf::SAMPLE_FORMAT_U8P:
            return use(plane + at);
        case Conf::SAMPLE_FORMAT_S16P:
            return use(reinterpret_cast<std::int16_t*>(plane) + at);
        case Conf::SAMPLE_FORMAT_S32P:
            return use(reinterpret_cast<i32*>(plane) + at);
        case Conf::SAMPLE_FORMAT_FLTP:
            return use(reinterpret_cast<float*>(plane) + at);
        case Conf::SAMPLE_FORMAT_DBLP:
            return use(reinterpret_cast<double*>(plane) + at);
        default:
            TARSEL_THROW(std::logic_error, "no samples of this format");
    }
}

}  // namespace Details

inline double SampleAt(Proc::IDataAudio& block, int channel, int index) {
    return Details::WithSample(block, channel, index, [](auto* sample) { return static_cast<double>(*sample); });
}

inline void SetSampleAt(Proc::IDataAudio& block, int channel, int index, double value) {
    Details::WithSample(block, channel, index, [&](auto* sample) {
        *sample = static_cast<std::remove_reference_t<decltype(*sample)>>(value);
        return 0;
    });
}

/// What silence is in a format.
inline double SilenceOf(Conf::SampleFormats format) {
    return Conf::PlanarFormat(format) == Conf::SAMPLE_FORMAT_U8P ? 128 : 0;
}

/// A block of sound: `value(channel, index)` for each sample. The duration follows from the count.
inline iptr<Proc::IDataAudio> MakeSound(Conf::SampleInfo const& info, int64 time, int count,
                                        std::function<double(int, int)> const& value) {
    auto block = Proc::DataAudioFF::CreateBySampleCount(info, count);
    for (int channel = 0; channel < info.GetChannelCount(); ++channel)
        for (int i = 0; i < count; ++i) SetSampleAt(*block, channel, i, value(channel, i));
    block->SetTime(time);
    return block;
}

/// A block that holds one value everywhere.
inline iptr<Proc::IDataAudio> MakeLevelSound(Conf::SampleInfo const& info, int64 time, int count, double level) {
    return MakeSound(info, time, count, [&](int, int) { return level; });
}

/// The samples of one channel of a block.
inline std::vector<double> ChannelOf(Proc::IDataAudio& block, int channel = 0) {
    std::vector<double> values;
    for (int i = 0; i < block.GetSampleCount(); ++i) values.push_back(SampleAt(block, channel, i));
    return values;
}

/// The same for blocks one behind the other.
inline std::vector<double> ChannelOf(std::vector<iptr<Proc::IDataAudio>> const& blocks, int channel = 0) {
    std::vector<double> values;
    for (auto const& block : blocks) {
        auto const part = ChannelOf(*block, channel);
        values.insert(values.end(), part.begin(), part.end());
    }
    return values;
}

/// The block in another format, as simply as can be: numbers scaled, samples repeated or left out, missing channels
/// taken from the last one.
inline iptr<Proc::IDataAudio> ConvertPlainly(Proc::IDataAudio& block, Conf::SampleInfo const& info) {
    auto const scale = [](Conf::SampleFormats format) {
        switch (static_cast<int>(Conf::PlanarFormat(format))) {
            case Conf::SAMPLE_FORMAT_U8P:
                return 128.0;
            case Conf::SAMPLE_FORMAT_S16P:
                return 32768.0;
            case Conf::SAMPLE_FORMAT_S32P:
                return 2147483648.0;
            default:
                return 1.0;
        }
    };
    Conf::SampleFormats const from = block.GetSampleFormat(), to = info.GetSampleFormat();
    double const factor = scale(to) / scale(from);
    int const count = static_cast<int>(AvRescale(block.GetSampleCount(), info.GetSampleRate(), block.GetSampleRate()));
    auto const result = MakeSound(info, block.GetTime(), count, [&](int channel, int index) {
        int const sourceChannel = std::min(channel, block.GetChannelCount() - 1);
        int64 const sourceIndex = int64{index} * block.GetSampleRate() / info.GetSampleRate();
        int const held = static_cast<int>(std::min<int64>(sourceIndex, block.GetSampleCount() - 1));
        return (SampleAt(block, sourceChannel, held) - SilenceOf(from)) * factor + SilenceOf(to);
    });
    result->SetDuration(block.GetDuration());
    return result;
}

}  // namespace Tarsel::Test
