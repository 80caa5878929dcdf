// Blocks of chosen samples in every format, and the effects of the host made as filters make them.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "contracts/Core/Property.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/TimeToProgress.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"

namespace Tarsel::Test {

inline constexpr Conf::SampleFormats ALL_FORMATS[] = {
    Conf::SAMPLE_FORMAT_U8,   Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S32,  Conf::SAMPLE_FORMAT_FLT,
    Conf::SAMPLE_FORMAT_DBL,  Conf::SAMPLE_FORMAT_U8P, Conf::SAMPLE_FORMAT_S16P, Conf::SAMPLE_FORMAT_S32P,
    Conf::SAMPLE_FORMAT_FLTP, Conf::SAMPLE_FORMAT_DBLP};

/// Calls `work` with a value of the format's type of numbers.
template <class Work>
void WithNumbersOf(Conf::SampleFormats format, Work work) {
    switch (Conf::PlanarFormat(format)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return work(u8{});
        case Conf::SAMPLE_FORMAT_S16P:
            return work(std::int16_t{});
        case Conf::SAMPLE_FORMAT_S32P:
            return work(i32{});
        case Conf::SAMPLE_FORMAT_FLTP:
            return work(float{});
        default:
            return work(double{});
    }
}

/// The sample `index` of a channel.
template <class Sample>
Sample& SampleAt(Proc::IDataAudio& block, int channel, int index) {
    bool const planar = Conf::IsPlanar(block.GetSampleFormat());
    if (planar) return SamplesOf<Sample>(block, channel)[index];
    return SamplesOf<Sample>(block)[index * block.GetChannelCount() + channel];
}

/// What stands for a part of full scale (-1 to 1) in a type of numbers.
template <class Sample>
Sample Level(double part) {
    if constexpr (std::is_floating_point_v<Sample>)
        return static_cast<Sample>(part);
    else if constexpr (std::is_unsigned_v<Sample>)
        return static_cast<Sample>(128 + part * 127);
    else
        return static_cast<Sample>(part * static_cast<double>(std::numeric_limits<Sample>::max()));
}

/// A block whose channels hold the levels, one sample each, the second channel turned over.
inline iptr<Proc::IDataAudio> MakeLevels(Conf::SampleFormats format, std::vector<double> const& levels, int64 time = 0,
                                         int rate = 1000) {
    auto block = MakeAudio(time, static_cast<int>(levels.size()), rate, format);
    WithNumbersOf(format, [&]<class Sample>(Sample) {
        for (int i = 0; i < block->GetSampleCount(); ++i) {
            SampleAt<Sample>(*block, 0, i) = Level<Sample>(levels[static_cast<std::size_t>(i)]);
            SampleAt<Sample>(*block, 1, i) = Level<Sample>(-levels[static_cast<std::size_t>(i)]);
        }
    });
    return block;
}

/// All bytes of a block.
inline std::string BytesOf(Proc::IDataAudio& block) {
    auto const blob = block.GetBlob();
    return {reinterpret_cast<char const*>(blob->GetData()), blob->GetSize()};
}

/// An effect of the host, over an interval.
inline iptr<Proc::IEffect> MakeEffect(Core::Property const& property, int64 begin = 0, int64 end = 0) {
    auto effect = Host::MakeEffectFactory()->CreateEffect(property.Name(), Proc::ImplNames::DEFAULT);
    effect->Initialize(property);
    Proc::TimeToProgress map;
    map.begin = begin;
    map.end = end;
    effect->SetTimeToProgress(map);
    return effect;
}

}  // namespace Tarsel::Test
