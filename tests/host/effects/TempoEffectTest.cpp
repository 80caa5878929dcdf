#include "host/effects/TempoEffect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <ostream>
#include <random>
#include <tuple>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr double NAN_TEMPO = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE_TEMPO = std::numeric_limits<double>::infinity();

/// One channel of a stream.
using Signal = std::vector<float>;

Signal Sine(double hertz, int rate, int count, double level = 0.5) {
    Signal samples;
    for (int i = 0; i < count; ++i)
        samples.push_back(static_cast<float>(level * std::sin(2 * std::numbers::pi * hertz * i / rate)));
    return samples;
}

/// A block of `count` samples from `first` on, the same on every channel.
iptr<IDataAudio> BlockOf(Signal const& signal, std::size_t first, std::size_t count, Conf::SampleInfo const& info) {
    SamplePlanes const planes(static_cast<std::size_t>(info.GetChannelCount()), signal);
    return WritePlanes(planes, first, static_cast<int>(count), info);
}

iptr<TempoEffect> MakeEffect(double tempo) {
    auto effect = MakeShared<TempoEffect>();
    effect->Initialize(SettingsEffectTempo(tempo));
    return effect;
}

/// Everything that comes out for a stream in blocks of `blockSize`, channel by channel, the drain included.
SamplePlanes RunEffect(TempoEffect& effect, Signal const& signal, Conf::SampleInfo const& info,
                       std::size_t blockSize = 1000) {
    SamplePlanes result(static_cast<std::size_t>(info.GetChannelCount()));
    auto const take = [&](iptr<IDataAudio> const& block) {
        EXPECT_EQ(block->GetSampleInfo(), info);
        EXPECT_GT(block->GetSampleCount(), 0);
        SamplePlanes planes;
        ReadPlanes(*block, planes);
        for (std::size_t i = 0; i < planes.size(); ++i)
            result[i].insert(result[i].end(), planes[i].begin(), planes[i].end());
    };
    for (std::size_t first = 0; first < signal.size(); first += blockSize) {
        auto block = BlockOf(signal, first, std::min(blockSize, signal.size() - first), info);
        effect.Process(block);
        if (block) take(block);
    }
    for (int i = 0; i < 1000; ++i) {
        iptr<IDataAudio> block;
        effect.Process(block);
        if (!block) return result;
        take(block);
    }
    ADD_FAILURE() << "the drain doesn't end";
    return result;
}

Conf::SampleInfo Mono(int rate = 48000) {
    return {Conf::SAMPLE_FORMAT_FLTP, rate, Conf::CHANNEL_LAYOUT_MONO};
}

/// Power of one frequency in the middle half of a signal, relative to a sine of full scale 1.
double LevelAt(Signal const& signal, double hertz, int rate) {
    std::size_t const begin = signal.size() / 4;
    std::size_t const end = signal.size() * 3 / 4;
    double real = 0;
    double imaginary = 0;
    double weights = 0;
    for (std::size_t i = begin; i < end; ++i) {
        double const place = static_cast<double>(i - begin) / static_cast<double>(end - begin);
        double const weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * place);
        double const angle = 2 * std::numbers::pi * hertz * static_cast<double>(i) / rate;
        real += weight * signal[i] * std::cos(angle);
        imaginary += weight * signal[i] * std::sin(angle);
        weights += weight;
    }
    return 2 * std::hypot(real, imaginary) / weights;
}

/// The strongest frequency between 400 and 600 Hz, to half a hertz.
double PeakOf(Signal const& signal, int rate) {
    double best = 0;
    double level = -1;
    for (double hertz = 400; hertz <= 600; hertz += 0.5) {
        double const here = LevelAt(signal, hertz, rate);
        if (here <= level) continue;
        level = here;
        best = hertz;
    }
    return best;
}

double MeanSquare(Signal const& signal) {
    double sum = 0;
    for (std::size_t i = signal.size() / 4; i < signal.size() * 3 / 4; ++i) sum += double(signal[i]) * signal[i];
    return sum / static_cast<double>(signal.size() * 3 / 4 - signal.size() / 4);
}

class TempoEffectFactor : public testing::TestWithParam<double> {};

TEST_P(TempoEffectFactor, SineKeepsItsPitchAndItsLevel) {
    int const rate = 48000;
    Signal const out = RunEffect(*MakeEffect(GetParam()), Sine(440, rate, rate * 4), Mono())[0];
    double const hertz = PeakOf(out, rate);
    EXPECT_NEAR(hertz, 440, 4.4);
    double const decibels = 10 * std::log10(MeanSquare(out) / 0.125);
    EXPECT_NEAR(decibels, 0, 1);
    RecordProperty("hertz", std::to_string(hertz));
    RecordProperty("decibels", std::to_string(decibels));
}

TEST_P(TempoEffectFactor, WhatStandsAtATimeComesOutAtItsShareOfIt) {
    int const rate = 48000;
    double const tempo = GetParam();
    Signal clicks(static_cast<std::size_t>(rate) * 5);
    for (int event = 1; event < 10; ++event)
        for (int i = 0; i < 100; ++i)
            clicks[static_cast<std::size_t>(event * rate / 2 + i)] =
                static_cast<float>(0.8 * std::sin(i * 0.13) * std::exp(-i / 24.0));
    Signal const out = RunEffect(*MakeEffect(tempo), clicks, Mono())[0];
    for (int event = 1; event < 10; ++event) {
        double const expected = event * 0.5 / tempo * rate;
        // Half the way to the neighbours on both sides.
        auto const first = out.begin() + static_cast<std::ptrdiff_t>(expected - 0.25 / tempo * rate);
        auto const last = out.begin() + static_cast<std::ptrdiff_t>(expected + 0.25 / tempo * rate);
        auto const loudest =
            std::max_element(first, last, [](float a, float b) { return std::fabs(a) < std::fabs(b); });
        EXPECT_GT(std::fabs(*loudest), 0.05);
        EXPECT_NEAR(static_cast<double>(loudest - out.begin()) / rate, expected / rate, 0.020) << "event " << event;
    }
}

TEST_P(TempoEffectFactor, AsManySamplesComeOutAsTheOnesThatWentInAreWorth) {
    for (int const count : {1, 2, 3, 7, 999, 1000, 1001, 44099, 100003}) {
        auto const out = RunEffect(*MakeEffect(GetParam()), Sine(440, 48000, count), Mono());
        EXPECT_EQ(static_cast<long long>(out[0].size()), std::llround(count / GetParam())) << count << " samples";
    }
}

INSTANTIATE_TEST_SUITE_P(Usual, TempoEffectFactor, testing::Values(0.5, 0.75, 1.5, 2.0));

TEST(TempoEffect, CountIsExactAtTheEndsOfItsRange) {
    for (double const tempo : {TempoEffect::MIN_TEMPO, 1.001, 1.0 / 3, TempoEffect::MAX_TEMPO}) {
        for (int const count : {1, 20000}) {
            auto const out = RunEffect(*MakeEffect(tempo), Sine(440, 48000, count), Mono());
            EXPECT_EQ(static_cast<long long>(out[0].size()), std::llround(count / tempo)) << tempo << ", " << count;
        }
    }
}

TEST(TempoEffect, StreamGivesItsSoundAsItGoesAndNotAtItsEndAlone) {
    auto const effect = MakeEffect(2.0);
    Signal const signal = Sine(440, 48000, 48000);
    int given = 0;
    for (std::size_t first = 0; first < signal.size(); first += 1000) {
        auto block = BlockOf(signal, first, 1000, Mono());
        effect->Process(block);
        if (block) given += block->GetSampleCount();
    }
    EXPECT_GT(given, 18000);
    EXPECT_LE(given, 24000);
}

/// What the effect has to work for.
struct Kind {
    Conf::SampleFormats format;
    int rate;
    int channels;
};

std::ostream& operator<<(std::ostream& out, Kind const& kind) {
    return out << "format " << int(kind.format) << ", " << kind.rate << " Hz, " << kind.channels << " channels";
}

class TempoEffectFormat : public testing::TestWithParam<Kind> {};

TEST_P(TempoEffectFormat, EveryChannelPlaysItsToneInTheFormatOfTheInput) {
    auto const [format, rate, channels] = GetParam();
    Conf::SampleInfo const info(format, rate, Conf::DefaultChannelLayout(channels));
    ASSERT_EQ(info.GetChannelCount(), channels);
    SamplePlanes const out = RunEffect(*MakeEffect(1.5), Sine(440, rate, rate), info);
    ASSERT_EQ(static_cast<int>(out.size()), channels);
    for (auto const& channel : out) {
        EXPECT_EQ(static_cast<long long>(channel.size()), std::llround(rate / 1.5));
        EXPECT_NEAR(20 * std::log10(LevelAt(channel, 440, rate) / 0.5), 0, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, TempoEffectFormat,
    testing::Values(Kind{Conf::SAMPLE_FORMAT_U8, 44100, 2}, Kind{Conf::SAMPLE_FORMAT_S16, 8000, 1},
                    Kind{Conf::SAMPLE_FORMAT_S16P, 11025, 2}, Kind{Conf::SAMPLE_FORMAT_S32, 22050, 2},
                    Kind{Conf::SAMPLE_FORMAT_S32P, 32000, 3}, Kind{Conf::SAMPLE_FORMAT_FLT, 44100, 4},
                    Kind{Conf::SAMPLE_FORMAT_FLTP, 48000, 5}, Kind{Conf::SAMPLE_FORMAT_DBL, 48000, 6},
                    Kind{Conf::SAMPLE_FORMAT_DBLP, 48000, 8}, Kind{Conf::SAMPLE_FORMAT_FLTP, 96000, 2},
                    Kind{Conf::SAMPLE_FORMAT_S16, 192000, 1}));

TEST(TempoEffect, ChannelsAreNotMixed) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_FLT, 48000, Conf::CHANNEL_LAYOUT_STEREO);
    SamplePlanes const in{Sine(440, 48000, 96000), Sine(550, 48000, 96000)};
    auto const effect = MakeEffect(1.5);
    SamplePlanes out(2);
    auto const take = [&](iptr<IDataAudio> const& block) {
        SamplePlanes planes;
        ReadPlanes(*block, planes);
        for (std::size_t i = 0; i < 2; ++i) out[i].insert(out[i].end(), planes[i].begin(), planes[i].end());
    };
    auto block = WritePlanes(in, 0, 96000, info);
    effect->Process(block);
    for (; block; effect->Process(block)) {
        take(block);
        block = nullptr;
    }
    ASSERT_EQ(out[0].size(), 64000U);
    EXPECT_NEAR(PeakOf(out[0], 48000), 440, 4.4);
    EXPECT_NEAR(PeakOf(out[1], 48000), 550, 5.5);
    EXPECT_LT(LevelAt(out[0], 550, 48000), 0.05);
    EXPECT_LT(LevelAt(out[1], 440, 48000), 0.05);
}

TEST(TempoEffect, OutputDoesNotDependOnTheSizesOfTheBlocksAndIsTheSameEveryTime) {
    Signal signal = Sine(440, 48000, 30000);
    std::mt19937 random(7);
    for (auto& sample : signal) sample += static_cast<float>(random() % 1000) / 10000;
    SamplePlanes const once = RunEffect(*MakeEffect(1.3), signal, Mono(), 1024);
    EXPECT_EQ(RunEffect(*MakeEffect(1.3), signal, Mono(), 1024), once);
    EXPECT_EQ(RunEffect(*MakeEffect(1.3), signal, Mono(), 30000), once);
    for (std::size_t const size : {1000U, 333U}) {
        SamplePlanes const other = RunEffect(*MakeEffect(1.3), signal, Mono(), size);
        ASSERT_EQ(other[0].size(), once[0].size());
        EXPECT_EQ(other, once) << "blocks of " << size;
    }
}

TEST(TempoEffect, ResetForgetsTheStreamAndANewOneBeginsLikeTheFirst) {
    Signal const signal = Sine(440, 48000, 20000);
    auto const effect = MakeEffect(1.5);
    SamplePlanes const fresh = RunEffect(*effect, signal, Mono());
    EXPECT_EQ(RunEffect(*effect, signal, Mono()), fresh) << "a drained stream leaves nothing behind";
    auto block = BlockOf(Sine(600, 48000, 9000), 0, 9000, Mono());
    effect->Process(block);
    effect->ResetEffectState();
    EXPECT_EQ(RunEffect(*effect, signal, Mono()), fresh);
    block = BlockOf(Sine(600, 48000, 9000), 0, 9000, Mono());
    effect->Process(block);
    effect->Initialize(SettingsEffectTempo(1.5));
    EXPECT_EQ(RunEffect(*effect, signal, Mono()), fresh) << "settings begin anew";
}

TEST(TempoEffect, DrainWithNothingInItGivesNull) {
    auto const effect = MakeEffect(1.5);
    for (int i = 0; i < 3; ++i) {
        iptr<IDataAudio> block;
        effect->Process(block);
        EXPECT_EQ(block, nullptr);
    }
    auto empty = MakeAudio(0, 0);
    effect->Process(empty);
    EXPECT_EQ(empty, nullptr);
    effect->Process(empty);
    EXPECT_EQ(empty, nullptr);
}

TEST(TempoEffect, TempoOfOnePassesBlocksOfAnyFormatAsTheSameObjects) {
    auto const effect = MakeEffect(1.0);
    for (int const rate : {500, 48000}) {
        iptr<IDataAudio> const block = MakeAudio(7, 10, rate, Conf::SAMPLE_FORMAT_S64);
        iptr<IDataAudio> item = block;
        effect->Process(item);
        EXPECT_EQ(item, block);
        EXPECT_THAT(item, IsAudio(7, 10));
    }
    iptr<IDataAudio> none;
    effect->Process(none);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(effect->GetStatistic(), Core::MakeStatistics("Tarsel::Host::TempoEffect::GetStatistic", 0, 2));
}

TEST(TempoEffect, TempoOutOfItsRangeIsRefusedAndTheOldOneStays) {
    auto const effect = MakeEffect(2.0);
    auto const refusal = [&](double tempo) {
        return MessageOf<EffectException>([&] { effect->Initialize(SettingsEffectTempo(tempo)); });
    };
    EXPECT_EQ(refusal(0.0499), "Tempo 0.0499 is out of 0.05 to 20");
    EXPECT_EQ(refusal(20.1), "Tempo 20.1 is out of 0.05 to 20");
    EXPECT_EQ(refusal(0), "Tempo 0 is out of 0.05 to 20");
    EXPECT_EQ(refusal(-1), "Tempo -1 is out of 0.05 to 20");
    EXPECT_EQ(refusal(NAN_TEMPO), "Tempo nan is out of 0.05 to 20");
    EXPECT_EQ(refusal(INFINITE_TEMPO), "Tempo inf is out of 0.05 to 20");
    EXPECT_EQ(dynamic_cast<SettingsEffectTempo const&>(effect->GetEffectSettings()).GetTempo(), 2.0);
}

TEST(TempoEffect, SoundThatTheEngineDoesNotTakeIsRefused) {
    auto const refusal = [&](iptr<IDataAudio> block) {
        return MessageOf<EffectException>([&] { MakeEffect(2.0)->Process(block); });
    };
    EXPECT_EQ(refusal(MakeAudio(0, 10, 7999)), "Sample rate 7999 is out of 8000 to 192000");
    EXPECT_EQ(refusal(MakeAudio(0, 10, 192001)), "Sample rate 192001 is out of 8000 to 192000");
    EXPECT_EQ(refusal(MakeAudio(0, 10, 48000, Conf::SAMPLE_FORMAT_S16, 0x1FF)), "Channel count 9 is out of 1 to 8");
    EXPECT_EQ(refusal(MakeAudio(0, 10, 48000, Conf::SAMPLE_FORMAT_S64)),
              "The effect can't process samples of format 10");
}

TEST(TempoEffect, ChangeOfTheFormatInTheMiddleOfAStreamIsRefused) {
    auto const effect = MakeEffect(2.0);
    auto block = MakeAudio(0, 1000);
    effect->Process(block);
    for (auto other : {MakeAudio(0, 1000, 44100), MakeAudio(0, 1000, 48000, Conf::SAMPLE_FORMAT_FLT),
                       MakeAudio(0, 1000, 48000, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO)})
        EXPECT_EQ(MessageOf<EffectException>([&] { effect->Process(other); }),
                  "The format of the sound changes in the middle of a stream");
    effect->ResetEffectState();
    auto other = MakeAudio(0, 1000, 44100);
    effect->Process(other);
}

TEST(TempoEffect, NumbersThatAreNoneAndFarTooLoudOnesDoNotSpoilWhatFollows) {
    Signal signal = Sine(440, 48000, 48000);
    SamplePlanes planes{signal};
    planes[0][100] = std::numeric_limits<float>::quiet_NaN();
    planes[0][101] = std::numeric_limits<float>::infinity();
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_DBL, 48000, Conf::CHANNEL_LAYOUT_MONO);
    auto block = WritePlanes(planes, 0, 48000, info);
    SamplesOf<double>(*block)[102] = 1e300;
    auto const effect = MakeEffect(2.0);
    effect->Process(block);
    ASSERT_NE(block, nullptr);
    SamplePlanes out;
    ReadPlanes(*block, out);
    for (int i = 0; i < block->GetSampleCount(); ++i) ASSERT_TRUE(std::isfinite(SamplesOf<double>(*block)[i])) << i;
    EXPECT_NEAR(20 * std::log10(LevelAt(out[0], 440, 48000) / 0.5), 0, 1);
}

TEST(TempoEffect, SettingsGoInAsObjectAndAsProperty) {
    auto const effect = MakeShared<TempoEffect>();
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsEffectTempo()));
    effect->Initialize(Settings2Property(SettingsEffectTempo(1.25)));
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsEffectTempo(1.25)));
    EXPECT_EQ(MessageOf<FilterException>([&] { effect->Initialize(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
    EXPECT_THROW(effect->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsEffectTempo(1.25)));
}

TEST(TempoEffect, SaysWhatItIs) {
    auto const effect = MakeShared<TempoEffect>();
    EXPECT_EQ(effect->GetProcessingFrameType(), IDataVideo::FRAME_ALLOC_ANY);
    effect->SetTimeToProgress(TimeToProgress([](double) { return 0.25; }));
    effect->GetTimeToProgress().end = 10;
    EXPECT_EQ(effect->GetTimeToProgress().GetProgress(5), 0.25);
    iptr<Conf::IFormatCodec> format = Conf::IFormatCodecAudio::Create();
    auto const before = format;
    effect->AdaptFormatCodec(format);
    EXPECT_EQ(format, before);
}

TEST(SamplePlanes, EveryFormatGoesThereAndBack) {
    SamplePlanes const in{{0.0F, 0.5F, -0.5F, -1.0F}, {0.25F, -0.25F, 0.0F, 0.75F}};
    using namespace Conf;
    for (auto const format :
         {SAMPLE_FORMAT_U8, SAMPLE_FORMAT_S16, SAMPLE_FORMAT_S32, SAMPLE_FORMAT_FLT, SAMPLE_FORMAT_DBL,
          SAMPLE_FORMAT_U8P, SAMPLE_FORMAT_S16P, SAMPLE_FORMAT_S32P, SAMPLE_FORMAT_FLTP, SAMPLE_FORMAT_DBLP}) {
        EXPECT_TRUE(IsPlaneFormat(format));
        auto const block = WritePlanes(in, 0, 4, {format, 48000, CHANNEL_LAYOUT_STEREO});
        SamplePlanes out;
        ReadPlanes(*block, out);
        EXPECT_EQ(out, in) << "format " << format;
        EXPECT_THAT(WritePlanes(in, 1, 2, {format, 48000, CHANNEL_LAYOUT_STEREO}), IsAudio(NO_VALUE, 2));
    }
    for (auto const format : {SAMPLE_FORMAT_NONE, SAMPLE_FORMAT_S64, SAMPLE_FORMAT_S64P})
        EXPECT_FALSE(IsPlaneFormat(format));
}

TEST(SamplePlanes, IntegersAreHeldToTheirRange) {
    SamplePlanes const loud{{1.0F, 2.0F, -2.0F, std::numeric_limits<float>::quiet_NaN()}};
    auto const s16 = WritePlanes(loud, 0, 4, {Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_MONO});
    EXPECT_THAT(std::vector<int>(SamplesOf<std::int16_t>(*s16), SamplesOf<std::int16_t>(*s16) + 4),
                testing::ElementsAre(32767, 32767, -32768, 0));
    auto const s32 = WritePlanes(loud, 0, 4, {Conf::SAMPLE_FORMAT_S32, 48000, Conf::CHANNEL_LAYOUT_MONO});
    EXPECT_THAT(std::vector<int>(SamplesOf<i32>(*s32), SamplesOf<i32>(*s32) + 4),
                testing::ElementsAre(2147483647, 2147483647, std::numeric_limits<i32>::min(), 0));
    auto const bytes = WritePlanes(loud, 0, 4, {Conf::SAMPLE_FORMAT_U8, 48000, Conf::CHANNEL_LAYOUT_MONO});
    EXPECT_THAT(std::vector<int>(SamplesOf<u8>(*bytes), SamplesOf<u8>(*bytes) + 4),
                testing::ElementsAre(255, 255, 0, 128));
}

}  // namespace
}  // namespace Tarsel::Host
