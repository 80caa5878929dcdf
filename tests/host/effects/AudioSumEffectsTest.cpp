#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectAudioCrossFade.h"
#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "tests/host/effects/AudioEffectsSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using CrossFade = SettingsEffectAudioCrossFade;
using Blocks = std::vector<iptr<IData>>;

iptr<IDataAudio> Process(iptr<IEffect> const& effect, Blocks const& blocks) {
    return iptr<IDataAudio>(dynamic_cast<IDataAudio*>(effect->ProcessData(blocks).get()));
}
iptr<IDataAudio> Mixed(Blocks const& blocks) {
    return Process(MakeEffect(Settings2Property(SettingsEffectAudioMix())), blocks);
}
iptr<IDataAudio> Crossed(SettingsEffectAudioFade::Curves curve, Blocks const& blocks, int64 begin, int64 end) {
    return Process(MakeEffect(Settings2Property(CrossFade(curve)), begin, end), blocks);
}

/// The plain formula: a sum, counted from silence, held to the range.
template <class Sample>
Sample Expected(double sum) {
    using Limits = std::numeric_limits<Sample>;
    if constexpr (std::is_floating_point_v<Sample>) {
        Sample const value = static_cast<Sample>(sum);
        if (std::isnan(value)) return 1;
        return value > 1 ? 1 : value < -1 ? -1 : value;
    } else {
        double const rounded = std::nearbyint(sum) + (std::is_unsigned_v<Sample> ? 128 : 0);
        return static_cast<Sample>(
            std::clamp(rounded, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
    }
}
template <class Sample>
double Centred(Sample value) {
    return static_cast<double>(value) - (std::is_unsigned_v<Sample> ? 128 : 0);
}

/// A block of anything that its format can hold.
iptr<IDataAudio> MakeNoise(Conf::SampleFormats format, int count, std::mt19937_64& random) {
    auto block = MakeAudio(0, count, 1000, format);
    WithNumbersOf(format, [&]<class Sample>(Sample) {
        for (int channel : {0, 1})
            for (int i = 0; i < count; ++i) {
                if constexpr (std::is_floating_point_v<Sample>)
                    SampleAt<Sample>(*block, channel, i) =
                        static_cast<Sample>(static_cast<double>(static_cast<int64>(random())) / 6e18);
                else
                    SampleAt<Sample>(*block, channel, i) = static_cast<Sample>(random());
            }
    });
    return block;
}

TEST(AudioMixEffect, SumsAllInputsAndHoldsThemToTheRangeInEveryFormat) {
    std::mt19937_64 random(7);
    for (auto const format : ALL_FORMATS) {
        std::vector<iptr<IDataAudio>> sources;
        for (int i = 0; i < 3; ++i) sources.push_back(MakeNoise(format, 200, random));
        auto const sum = Mixed({sources[0], sources[1], sources[2]});
        WithNumbersOf(format, [&]<class Sample>(Sample) {
            for (int channel : {0, 1})
                for (int i = 0; i < 200; ++i) {
                    double wanted = 0;
                    for (auto const& source : sources) wanted += Centred(SampleAt<Sample>(*source, channel, i));
                    ASSERT_EQ(SampleAt<Sample>(*sum, channel, i), Expected<Sample>(wanted))
                        << "format " << format << " sample " << i << " channel " << channel;
                }
        });
    }
}

TEST(AudioMixEffect, LoudestSumsStandAtTheLimits) {
    for (auto const format : ALL_FORMATS) {
        auto const sum = Mixed({MakeLevels(format, {1, -1}), MakeLevels(format, {1, -1}), MakeLevels(format, {1, -1})});
        WithNumbersOf(format, [&]<class Sample>(Sample) {
            using Limits = std::numeric_limits<Sample>;
            bool const real = std::is_floating_point_v<Sample>;
            EXPECT_EQ(SampleAt<Sample>(*sum, 0, 0), real ? Sample(1) : Limits::max()) << format;
            EXPECT_EQ(SampleAt<Sample>(*sum, 0, 1), real ? Sample(-1) : Limits::lowest()) << format;
        });
    }
}

TEST(AudioMixEffect, SilenceInEightBitsStaysSilence) {
    auto const sum =
        Mixed({MakeAudio(0, 2, 1000, Conf::SAMPLE_FORMAT_U8), MakeAudio(0, 2, 1000, Conf::SAMPLE_FORMAT_U8)});
    EXPECT_EQ(BytesOf(*sum), std::string(4, '\x80'));
}

TEST(AudioMixEffect, OppositesCancelOutHoweverLoud) {
    for (auto const format : {Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S32P, Conf::SAMPLE_FORMAT_FLT}) {
        auto const loud = MakeLevels(format, {1, 1});
        auto const sum = Mixed({loud, loud, MakeLevels(format, {-1, -1}), MakeLevels(format, {-1, -1})});
        EXPECT_EQ(BytesOf(*sum), std::string(BytesOf(*sum).size(), '\0')) << format;
    }
}

TEST(AudioMixEffect, WhatIsNoNumberBecomesFullScaleAsInTheMixer) {
    auto const bad = MakeLevels(Conf::SAMPLE_FORMAT_DBL, {0});
    SampleAt<double>(*bad, 0, 0) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(SampleAt<double>(*Mixed({bad, MakeLevels(Conf::SAMPLE_FORMAT_DBL, {0.5})}), 0, 0), 1.0);
}

TEST(AudioMixEffect, LongestBlockCounts) {
    auto const lengths = MakeLevels(Conf::SAMPLE_FORMAT_S32P, {0.25, 0.25, 0.25}, 7000);
    auto const sum = Mixed(
        {MakeLevels(Conf::SAMPLE_FORMAT_S32P, {0.5}, 7000), lengths, MakeLevels(Conf::SAMPLE_FORMAT_S32P, {}, 7000)});
    ASSERT_EQ(sum->GetSampleCount(), 3);
    EXPECT_EQ(sum->GetTime(), 7000);
    EXPECT_EQ(sum->GetDuration(), 3000);
    EXPECT_EQ(SampleAt<i32>(*sum, 0, 0), Level<i32>(0.5) + Level<i32>(0.25));
    EXPECT_EQ(SampleAt<i32>(*sum, 0, 1), Level<i32>(0.25));
    EXPECT_EQ(SampleAt<i32>(*sum, 1, 2), Level<i32>(-0.25));
}

TEST(AudioMixEffect, LengthThatABlockWasGivenIsKept) {
    auto const slice = MakeLevels(Conf::SAMPLE_FORMAT_FLT, {0, 0, 0}, 0);
    slice->SetDuration(3001);
    EXPECT_EQ(Mixed({MakeLevels(Conf::SAMPLE_FORMAT_FLT, {0}), slice})->GetDuration(), 3001);
}

TEST(AudioMixEffect, LoneInputPassesAsTheObjectThatItIs) {
    iptr<IDataAudio> const loud = MakeLevels(Conf::SAMPLE_FORMAT_FLT, {1.5});
    EXPECT_EQ(Mixed({loud}), loud);
    EXPECT_EQ(Mixed({nullptr, loud, nullptr}), loud) << "null is no input";
    EXPECT_EQ(SampleAt<float>(*loud, 0, 0), 1.5F);
}

TEST(AudioMixEffect, InputsKeepTheirSamples) {
    auto const a = MakeLevels(Conf::SAMPLE_FORMAT_S16, {0.5, 0.5});
    auto const b = MakeLevels(Conf::SAMPLE_FORMAT_S16, {0.25, 0.25});
    std::string const before = BytesOf(*a) + BytesOf(*b);
    auto const sum = Mixed({a, b});
    EXPECT_NE(sum, a);
    EXPECT_NE(sum, b);
    EXPECT_EQ(BytesOf(*a) + BytesOf(*b), before);
}

TEST(AudioMixEffect, NullsAloneGiveNull) {
    EXPECT_EQ(Mixed({nullptr, nullptr}), nullptr);
}

TEST(AudioMixEffect, WrongInputsAreRefused) {
    auto const stereo = MakeLevels(Conf::SAMPLE_FORMAT_S16, {0});
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { Mixed({}); }), "An effect needs at least one input");
    EXPECT_EQ(MessageOf<EffectException>([&] {
                  Mixed({stereo, MakeVideo(0, 10)});
              }),
              "The effect can't process an item of this kind");
    for (auto const& other : {MakeAudio(0, 1, 1000, Conf::SAMPLE_FORMAT_S16P), MakeAudio(0, 1, 2000),
                              MakeAudio(0, 1, 1000, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO)})
        EXPECT_EQ(MessageOf<EffectException>([&] {
                      Mixed({stereo, other});
                  }),
                  "The effect can't put sound of different formats together");
    auto const wide = MakeAudio(0, 1, 1000, Conf::SAMPLE_FORMAT_S64);
    EXPECT_EQ(MessageOf<EffectException>([&] {
                  Mixed({wide, wide});
              }),
              "The effect can't process samples of format 10");
}

TEST(AudioCrossFadeEffect, GoesFromOneToTheOtherSampleBySampleInEveryFormat) {
    std::mt19937_64 random(11);
    for (auto const format : ALL_FORMATS) {
        for (auto const curve : {SettingsEffectAudioFade::CURVE_LINEAR, SettingsEffectAudioFade::CURVE_EQUAL_POWER}) {
            auto const from = MakeNoise(format, 9, random);
            auto const to = MakeNoise(format, 9, random);
            auto const crossed = Crossed(curve, {MakeNoise(format, 9, random), from, to}, 2000, 6000);
            for (int i = 0; i < 9; ++i) {
                double const progress = std::clamp((i - 2) / 4.0, 0.0, 1.0);
                auto const gain = [&](double share) {
                    if (share <= 0 || share >= 1) return share;
                    return curve == SettingsEffectAudioFade::CURVE_LINEAR ? share
                                                                          : std::sin(share * std::numbers::pi / 2);
                };
                WithNumbersOf(format, [&]<class Sample>(Sample) {
                    for (int channel : {0, 1})
                        EXPECT_EQ(SampleAt<Sample>(*crossed, channel, i),
                                  Expected<Sample>(Centred(SampleAt<Sample>(*from, channel, i)) * gain(1 - progress) +
                                                   Centred(SampleAt<Sample>(*to, channel, i)) * gain(progress)))
                            << "format " << format << " sample " << i << " channel " << channel;
                });
            }
        }
    }
}

TEST(AudioCrossFadeEffect, ShorterBlockGoesOnAsSilence) {
    auto const linear = SettingsEffectAudioFade::CURVE_LINEAR;
    auto const shortLast = Crossed(
        linear, {MakeLevels(Conf::SAMPLE_FORMAT_DBL, {1, 1, 1}), MakeLevels(Conf::SAMPLE_FORMAT_DBL, {1})}, 0, 4000);
    ASSERT_EQ(shortLast->GetSampleCount(), 3);
    EXPECT_EQ(SampleAt<double>(*shortLast, 0, 0), 1.0);
    EXPECT_EQ(SampleAt<double>(*shortLast, 0, 2), 0.5);
    auto const shortFirst = Crossed(
        linear, {MakeLevels(Conf::SAMPLE_FORMAT_DBL, {1}), MakeLevels(Conf::SAMPLE_FORMAT_DBL, {1, 1, 1})}, 0, 4000);
    ASSERT_EQ(shortFirst->GetSampleCount(), 3);
    EXPECT_EQ(SampleAt<double>(*shortFirst, 0, 1), 0.25);
}

TEST(AudioCrossFadeEffect, WhatIsNotHeardCannotSpoilTheSound) {
    auto const bad = MakeLevels(Conf::SAMPLE_FORMAT_FLT, {0});
    SampleAt<float>(*bad, 0, 0) = std::numeric_limits<float>::infinity();
    auto const good = MakeLevels(Conf::SAMPLE_FORMAT_FLT, {0.5});
    auto const power = SettingsEffectAudioFade::CURVE_EQUAL_POWER;
    EXPECT_EQ(SampleAt<float>(*Crossed(power, {bad, good}, -10, 0), 0, 0), 0.5F) << "it is over";
    EXPECT_EQ(SampleAt<float>(*Crossed(power, {good, bad}, 10, 20), 0, 0), 0.5F) << "it has not begun";
}

TEST(AudioCrossFadeEffect, LoneInputPassesAsTheObjectThatItIs) {
    iptr<IDataAudio> const only = MakeLevels(Conf::SAMPLE_FORMAT_FLT, {1.5});
    EXPECT_EQ(Crossed(SettingsEffectAudioFade::CURVE_LINEAR, {nullptr, only}, 0, 100), only);
    EXPECT_EQ(Crossed(SettingsEffectAudioFade::CURVE_LINEAR, {nullptr}, 0, 100), nullptr);
}

TEST(AudioCrossFadeEffect, InputsKeepTheirSamples) {
    auto const a = MakeLevels(Conf::SAMPLE_FORMAT_S16P, {0.5, 0.5});
    auto const b = a->Clone(false);
    std::string const before = BytesOf(*a);
    Crossed(SettingsEffectAudioFade::CURVE_EQUAL_POWER, {a, b}, 0, 2000);
    EXPECT_EQ(BytesOf(*a), before);
    EXPECT_EQ(BytesOf(*b), before);
}

TEST(AudioCrossFadeEffect, WrongInputsAreRefused) {
    auto const linear = SettingsEffectAudioFade::CURVE_LINEAR;
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { Crossed(linear, {}, 0, 1); }),
              "An effect needs at least one input");
    EXPECT_EQ(MessageOf<EffectException>([&] { Crossed(linear, {MakeVideo(0, 10)}, 0, 1); }),
              "The effect can't process an item of this kind");
    EXPECT_EQ(MessageOf<EffectException>([&] {
                  Crossed(linear, {MakeAudio(0, 1, 1000), MakeAudio(0, 1, 2000)}, 0, 1);
              }),
              "The effect can't put sound of different formats together");
}

TEST(SumEffects, CannotStandInTheChainOfOneStream) {
    for (char const* id : {CrossFade::CLASS_ID, SettingsEffectAudioMix::CLASS_ID}) {
        auto const effect = MakeEffect(Core::Property(id));
        EXPECT_EQ(dynamic_cast<IOneInputEffectAudio*>(effect.get()), nullptr) << id;
        EXPECT_EQ(effect->GetProcessingFrameType(), 4);
    }
}

TEST(SumEffects, StatisticsCountTheBlocks) {
    auto const mix = MakeEffect(Settings2Property(SettingsEffectAudioMix()));
    auto const cross = MakeEffect(Settings2Property(CrossFade()));
    auto const block = MakeLevels(Conf::SAMPLE_FORMAT_S16, {0});
    mix->ProcessData({block, block});
    mix->ProcessData({block});
    cross->ProcessData({block, block});
    EXPECT_EQ(mix->GetStatistic(), Core::MakeStatistics("Tarsel::Host::AudioMixEffect::GetStatistic", 0, 2));
    EXPECT_EQ(cross->GetStatistic(), Core::MakeStatistics("Tarsel::Host::AudioCrossFadeEffect::GetStatistic", 0, 1));
}

}  // namespace
}  // namespace Tarsel::Host
