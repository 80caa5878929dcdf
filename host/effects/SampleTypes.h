#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Host {

/// Calls `work` with a null pointer to the format's type of numbers. Throws `EffectException` for a format that the
/// effects don't know: all but 8 to 32 bit integers, float and double are.
template <class Work>
void WithSampleType(Conf::SampleFormats format, Work&& work) {
    switch (Conf::PlanarFormat(format)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return work(static_cast<u8*>(nullptr));
        case Conf::SAMPLE_FORMAT_S16P:
            return work(static_cast<std::int16_t*>(nullptr));
        case Conf::SAMPLE_FORMAT_S32P:
            return work(static_cast<i32*>(nullptr));
        case Conf::SAMPLE_FORMAT_FLTP:
            return work(static_cast<float*>(nullptr));
        case Conf::SAMPLE_FORMAT_DBLP:
            return work(static_cast<double*>(nullptr));
        default:
            TARSEL_THROW(Proc::EffectException, "The effect can't process samples of format " + std::to_string(format));
    }
}

/// Where the samples of a channel begin in a frame.
template <class Sample>
Sample* ChannelOf(AVFrame* frame, std::size_t channel, bool planar) {
    if (planar) return reinterpret_cast<Sample*>(frame->extended_data[channel]);
    return reinterpret_cast<Sample*>(frame->extended_data[0]) + channel;
}

/// How far apart the samples of a channel stand.
inline std::size_t SampleStep(Proc::IDataAudio const& block) {
    return Conf::IsPlanar(block.GetSampleFormat()) ? 1 : static_cast<std::size_t>(block.GetChannelCount());
}

}  // namespace Tarsel::Host
