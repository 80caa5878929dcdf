#include "host/effects/SamplePlanes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "contracts/Proc/DataAudioFF.h"
#include "host/effects/SampleTypes.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// What a number of full scale is in a type of integers; unsigned ones have their zero in the middle.
template <class Sample>
constexpr double SCALE = static_cast<double>(uint64{1} << (sizeof(Sample) * 8 - 1));

template <class Sample>
float ToFloat(Sample value) {
    if constexpr (std::is_floating_point_v<Sample>) {
        // Nothing that is meant to be heard is a thousand times full scale; a float holds the square of that easily.
        constexpr Sample LOUDEST = 1000;
        return std::isfinite(value) ? static_cast<float>(std::clamp(value, -LOUDEST, LOUDEST)) : 0.0F;
    } else if constexpr (std::is_unsigned_v<Sample>) {
        return static_cast<float>((static_cast<double>(value) - SCALE<Sample>) / SCALE<Sample>);
    } else {
        return static_cast<float>(static_cast<double>(value) / SCALE<Sample>);
    }
}

template <class Sample>
Sample FromFloat(float value) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return static_cast<Sample>(value);
    } else {
        constexpr double MIDDLE = std::is_unsigned_v<Sample> ? SCALE<Sample> : 0.0;
        if (std::isnan(value)) return static_cast<Sample>(MIDDLE);
        double const scaled = std::nearbyint(static_cast<double>(value) * SCALE<Sample> + MIDDLE);
        return static_cast<Sample>(std::clamp(scaled, static_cast<double>(std::numeric_limits<Sample>::min()),
                                              static_cast<double>(std::numeric_limits<Sample>::max())));
    }
}

}  // namespace

bool IsPlaneFormat(Conf::SampleFormats format) {
    Conf::SampleFormats const planar = Conf::PlanarFormat(format);
    return planar >= Conf::SAMPLE_FORMAT_U8P && planar <= Conf::SAMPLE_FORMAT_DBLP;
}

void ReadPlanes(IDataAudio& block, SamplePlanes& planes) {
    auto const count = static_cast<std::size_t>(block.GetSampleCount());
    auto const channels = static_cast<std::size_t>(block.GetChannelCount());
    bool const planar = Conf::IsPlanar(block.GetSampleFormat());
    planes.resize(channels);
    WithSampleType(block.GetSampleFormat(), [&]<class Sample>(Sample*) {
        std::size_t const step = planar ? 1 : channels;
        for (std::size_t channel = 0; channel < channels; ++channel) {
            Sample const* const from = ChannelOf<Sample>(block.GetAVFrame(), channel, planar);
            planes[channel].resize(count);
            for (std::size_t i = 0; i < count; ++i) planes[channel][i] = ToFloat(from[i * step]);
        }
    });
}

iptr<IDataAudio> WritePlanes(SamplePlanes const& planes, std::size_t first, int count, Conf::SampleInfo const& info) {
    iptr<IDataAudio> block = DataAudioFF::CreateBySampleCount(info, count);
    bool const planar = Conf::IsPlanar(info.GetSampleFormat());
    WithSampleType(info.GetSampleFormat(), [&]<class Sample>(Sample*) {
        std::size_t const step = planar ? 1 : planes.size();
        for (std::size_t channel = 0; channel < planes.size(); ++channel) {
            Sample* const to = ChannelOf<Sample>(block->GetAVFrame(), channel, planar);
            for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
                to[i * step] = FromFloat<Sample>(planes[channel][first + i]);
        }
    });
    return block;
}

}  // namespace Tarsel::Host
