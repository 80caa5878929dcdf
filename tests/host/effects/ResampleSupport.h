// What the tests of the converter of sound share: signals, blocks of them, and what comes out of the effect.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

#include "contracts/Proc/Time.h"
#include "host/effects/ResampleEffect.h"
#include "host/effects/SamplePlanes.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Host {

using namespace Proc;

/// One channel of a stream.
using Signal = std::vector<float>;
using Blocks = std::vector<iptr<IDataAudio>>;

inline constexpr Conf::SampleInfo UNSET;

inline Conf::SampleInfo Mono(int rate, Conf::SampleFormats format = Conf::SAMPLE_FORMAT_FLTP) {
    return {format, rate, Conf::CHANNEL_LAYOUT_MONO};
}

inline Conf::SampleInfo Stereo(int rate, Conf::SampleFormats format = Conf::SAMPLE_FORMAT_FLTP) {
    return {format, rate, Conf::CHANNEL_LAYOUT_STEREO};
}

inline Conf::SampleInfo Rate(int rate) {
    return {Conf::SAMPLE_FORMAT_NONE, rate, Conf::CHANNEL_LAYOUT_NONE};
}

inline Signal Sine(double hertz, int rate, int count, double level = 0.5) {
    Signal samples;
    for (int i = 0; i < count; ++i)
        samples.push_back(static_cast<float>(level * std::sin(2 * std::numbers::pi * hertz * i / rate)));
    return samples;
}

inline Signal Noise(int count, unsigned seed) {
    std::mt19937 random(seed);
    Signal samples;
    for (int i = 0; i < count; ++i) samples.push_back(static_cast<float>(random() % 20001) / 10000 - 1);
    return samples;
}

inline iptr<IDataAudio> BlockOf(Signal const& signal, std::size_t first, std::size_t count,
                                Conf::SampleInfo const& info, int64 start = 0) {
    SamplePlanes const planes(static_cast<std::size_t>(info.GetChannelCount()), signal);
    auto block = WritePlanes(planes, first, static_cast<int>(count), info);
    block->SetTime(AddTime(start, SampleCount2Duration(static_cast<int64>(first), info.GetSampleRate())));
    return block;
}

inline iptr<ResampleEffect> MakeEffect(Conf::SampleInfo const& target) {
    auto effect = MakeShared<ResampleEffect>();
    effect->Initialize(SettingsResample(target));
    return effect;
}

inline iptr<IDataAudio> Process(ResampleEffect& effect, iptr<IDataAudio> block) {
    effect.Process(block);
    return block;
}

/// Everything that a drain gives.
inline Blocks Drain(ResampleEffect& effect) {
    Blocks blocks;
    while (auto block = Process(effect, nullptr)) {
        blocks.push_back(std::move(block));
        if (blocks.size() < 1000) continue;
        ADD_FAILURE() << "the drain doesn't end";
        break;
    }
    return blocks;
}

/// What comes out for a signal in blocks of the sizes that `next` gives, the drain included.
template <class Next>
Blocks RunInBlocks(ResampleEffect& effect, Signal const& signal, Conf::SampleInfo const& info, Next next) {
    Blocks blocks;
    for (std::size_t first = 0; first < signal.size();) {
        std::size_t const count = std::min<std::size_t>(next(), signal.size() - first);
        if (auto block = Process(effect, BlockOf(signal, first, count, info))) blocks.push_back(block);
        first += count;
    }
    for (auto& block : Drain(effect)) blocks.push_back(block);
    return blocks;
}

inline Blocks RunEffect(ResampleEffect& effect, Signal const& signal, Conf::SampleInfo const& info,
                        std::size_t size = 1000) {
    return RunInBlocks(effect, signal, info, [&] { return size; });
}

/// The samples of one channel, in floats.
inline Signal SignalOf(Blocks const& blocks, std::size_t channel = 0) {
    Signal signal;
    for (auto const& block : blocks) {
        SamplePlanes planes;
        ReadPlanes(*block, planes);
        signal.insert(signal.end(), planes[channel].begin(), planes[channel].end());
    }
    return signal;
}

/// The bytes of all blocks, plane by plane.
inline std::vector<u8> BytesOf(Blocks const& blocks) {
    std::vector<u8> bytes;
    if (blocks.empty()) return bytes;
    for (int plane = 0; plane < blocks[0]->GetSampleInfo().GetPlanesCount(); ++plane)
        for (auto const& block : blocks) {
            u8 const* const from = block->GetAVFrame()->extended_data[plane];
            bytes.insert(bytes.end(), from,
                         from + block->GetSampleCount() * block->GetSampleInfo().GetSampleSizePerPlane());
        }
    return bytes;
}

inline int64 CountOf(Blocks const& blocks) {
    int64 count = 0;
    for (auto const& block : blocks) count += block->GetSampleCount();
    return count;
}

/// Times that run on from `begin` by the counted samples, without a gap.
inline void ExpectCountedTimes(Blocks const& blocks, int64 begin, int rate) {
    int64 count = 0;
    for (auto const& block : blocks) {
        ASSERT_EQ(block->GetTime(), begin + SampleCount2Duration(count, rate));
        count += block->GetSampleCount();
        ASSERT_EQ(block->GetTime() + block->GetDuration(), begin + SampleCount2Duration(count, rate));
    }
}

}  // namespace Tarsel::Host
