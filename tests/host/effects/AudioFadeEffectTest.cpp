#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "tests/host/effects/AudioEffectsSupport.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using Fade = SettingsEffectAudioFade;

/// What a fade makes of a block.
iptr<IDataAudio> Faded(Fade const& settings, iptr<IDataAudio> block, int64 begin, int64 end) {
    auto const effect = MakeEffect(Settings2Property(settings), begin, end);
    dynamic_cast<IOneInputEffectAudio&>(*effect).Process(block);
    return block;
}

/// The plain formula: the number that a sample has at a gain.
template <class Sample>
Sample Expected(Sample value, double gain) {
    if constexpr (std::is_floating_point_v<Sample>)
        return static_cast<Sample>(static_cast<double>(value) * gain);
    else if constexpr (std::is_unsigned_v<Sample>)
        return static_cast<Sample>(128 + std::nearbyint((static_cast<double>(value) - 128) * gain));
    else
        return static_cast<Sample>(std::nearbyint(static_cast<double>(value) * gain));
}

TEST(AudioFadeEffect, EverySampleHasTheGainOfItsOwnTimeInEveryFormat) {
    std::vector<double> const levels{1, -1, 0.7, 0.3, -0.2, 0.9, -0.9, 0.1};
    for (auto const format : ALL_FORMATS) {
        for (auto const direction : {Fade::DIRECTION_IN, Fade::DIRECTION_OUT}) {
            for (auto const curve : {Fade::CURVE_LINEAR, Fade::CURVE_EQUAL_POWER}) {
                auto const source = MakeLevels(format, levels, 2000);
                // From the second to the sixth sample: they stand 1000 us apart, the first one at 2000.
                auto const faded = Faded(Fade(direction, curve), source->Clone(true), 3000, 7000);
                for (int i = 0; i < 8; ++i) {
                    double const progress = std::clamp((i - 1) / 4.0, 0.0, 1.0);
                    double const left = direction == Fade::DIRECTION_IN ? progress : 1 - progress;
                    double const gain = curve == Fade::CURVE_LINEAR ? left
                                        : left >= 1                 ? 1
                                                                    : std::sin(left * std::numbers::pi / 2);
                    WithNumbersOf(format, [&]<class Sample>(Sample) {
                        for (int channel : {0, 1})
                            EXPECT_EQ(SampleAt<Sample>(*faded, channel, i),
                                      Expected(SampleAt<Sample>(*source, channel, i), gain))
                                << "format " << format << " sample " << i << " channel " << channel;
                    });
                }
            }
        }
    }
}

TEST(AudioFadeEffect, TimesBetweenMicrosecondsCount) {
    // At 3 MHz three samples share a microsecond.
    auto const faded = Faded(Fade(Fade::DIRECTION_IN, Fade::CURVE_LINEAR),
                             MakeLevels(Conf::SAMPLE_FORMAT_DBL, {1, 1, 1, 1}, 0, 3000000), 0, 1);
    for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(SampleAt<double>(*faded, 0, i), i / 3.0);
}

TEST(AudioFadeEffect, TheCurvesPowersOfBothWaysSumToOne) {
    std::vector<double> const ones(101, 1.0);
    auto const in = Faded(Fade(Fade::DIRECTION_IN), MakeLevels(Conf::SAMPLE_FORMAT_DBL, ones), 0, 100000);
    auto const out = Faded(Fade(Fade::DIRECTION_OUT), MakeLevels(Conf::SAMPLE_FORMAT_DBL, ones), 0, 100000);
    for (int i = 0; i <= 100; ++i) {
        double const a = SampleAt<double>(*in, 0, i);
        double const b = SampleAt<double>(*out, 0, i);
        EXPECT_NEAR(a * a + b * b, 1.0, 1e-12) << i;
    }
    EXPECT_EQ(SampleAt<double>(*in, 0, 0), 0.0);
    EXPECT_EQ(SampleAt<double>(*in, 0, 100), 1.0);
    EXPECT_EQ(SampleAt<double>(*out, 0, 0), 1.0);
    EXPECT_EQ(SampleAt<double>(*out, 0, 100), 0.0) << "silent to the last bit";
}

TEST(AudioFadeEffect, BlockAtFullGainPassesAsTheObjectThatItIs) {
    auto const behind = MakeLevels(Conf::SAMPLE_FORMAT_S16, {1, 1}, 100000);
    auto const shared = behind;  // two owners
    EXPECT_EQ(Faded(Fade(Fade::DIRECTION_IN), behind, 0, 100000), shared);
    auto const ahead = MakeLevels(Conf::SAMPLE_FORMAT_S16, {1, 1}, 0);
    auto const sharedToo = ahead;
    EXPECT_EQ(Faded(Fade(Fade::DIRECTION_OUT), ahead, 100000, 200000), sharedToo);
    EXPECT_EQ(Faded(Fade(Fade::DIRECTION_IN), ahead, 5, 5), sharedToo) << "an interval without a length is over";
}

TEST(AudioFadeEffect, BehindAFadeOutAndAheadOfAFadeInIsSilence) {
    for (auto const format : ALL_FORMATS) {
        auto const silence = MakeAudio(500000, 3, 1000, format);
        std::string const silent = BytesOf(*silence);
        EXPECT_EQ(BytesOf(*Faded(Fade(Fade::DIRECTION_OUT), MakeLevels(format, {1, 0.5, 0.2}, 500000), 0, 100000)),
                  silent)
            << format;
        EXPECT_EQ(BytesOf(*Faded(Fade(Fade::DIRECTION_IN), MakeLevels(format, {1, 0.5, 0.2}, 500000), 600000, 700000)),
                  silent)
            << format;
    }
}

TEST(AudioFadeEffect, ClonesKeepTheirSamples) {
    auto const first = MakeLevels(Conf::SAMPLE_FORMAT_S16P, {1, 1, 1});
    auto const clone = first->Clone(false);
    std::string const before = BytesOf(*first);
    auto const faded = Faded(Fade(Fade::DIRECTION_OUT), clone, 0, 3000);
    EXPECT_NE(BytesOf(*faded), before);
    EXPECT_EQ(BytesOf(*first), before);
    auto const heldTwice = first;
    auto const other = Faded(Fade(Fade::DIRECTION_OUT), first, 0, 3000);
    EXPECT_NE(other, heldTwice) << "who else holds the block keeps it";
    EXPECT_EQ(BytesOf(*heldTwice), before);
    EXPECT_EQ(other->GetTime(), 0);
    EXPECT_EQ(other->GetDuration(), 3000);
}

TEST(AudioFadeEffect, NullPassesAndNothingIsHeldBack) {
    EXPECT_EQ(Faded(Fade(), nullptr, 0, 10), nullptr);
}

TEST(AudioFadeEffect, BlockWithoutATimeStandsBehindTheInterval) {
    auto const out = Faded(Fade(Fade::DIRECTION_OUT), MakeLevels(Conf::SAMPLE_FORMAT_FLT, {1}, NO_VALUE), 0, 100);
    EXPECT_EQ(SampleAt<float>(*out, 0, 0), 0.0F);
}

TEST(AudioFadeEffect, LoudFloatsAndWhatIsNoNumberStaySo) {
    auto block = MakeLevels(Conf::SAMPLE_FORMAT_FLT, {1, 1, 1, 1, 1}, 0);
    SampleAt<float>(*block, 0, 2) = 3.0F;
    SampleAt<float>(*block, 0, 3) = std::numeric_limits<float>::quiet_NaN();
    block = Faded(Fade(Fade::DIRECTION_IN, Fade::CURVE_LINEAR), block, 0, 4000);
    EXPECT_EQ(SampleAt<float>(*block, 0, 2), 1.5F);
    EXPECT_TRUE(std::isnan(SampleAt<float>(*block, 0, 3)));
}

TEST(AudioFadeEffect, CurveOfTheTimeMapCounts) {
    auto const effect = MakeEffect(Settings2Property(Fade(Fade::DIRECTION_IN, Fade::CURVE_LINEAR)), 0, 4000);
    effect->GetTimeToProgress().progress = [](double share) { return share * share; };
    iptr<IDataAudio> block = MakeLevels(Conf::SAMPLE_FORMAT_DBL, {1, 1, 1}, 1000);
    dynamic_cast<IOneInputEffectAudio&>(*effect).Process(block);
    EXPECT_EQ(SampleAt<double>(*block, 0, 1), 0.25);
}

TEST(AudioFadeEffect, FormatOfNoKnownNumbersIsRefused) {
    auto const make = [] { return MakeAudio(0, 2, 1000, Conf::SAMPLE_FORMAT_S64); };
    EXPECT_EQ(MessageOf<EffectException>([&] { Faded(Fade(), make(), 0, 100); }),
              "The effect can't process samples of format 10");
}

TEST(AudioFadeEffect, PropertySaysSettingsAndInterval) {
    Core::Property property = Settings2Property(Fade(Fade::DIRECTION_OUT));
    property.SetChild("Begin", 100).SetChild("End", 300);
    auto const effect = MakeEffectFactory()->CreateEffect(Fade::CLASS_ID, ImplNames::TARSEL);
    effect->Initialize(property);
    EXPECT_EQ(effect->GetSettings(), property);
    EXPECT_EQ(effect->GetTimeToProgress().begin, 100);
    EXPECT_EQ(effect->GetTimeToProgress().end, 300);
    EXPECT_EQ(dynamic_cast<Fade const&>(effect->GetEffectSettings()), Fade(Fade::DIRECTION_OUT));
    EXPECT_EQ(effect->GetProcessingFrameType(), 4);
    EXPECT_THROW(effect->Initialize(OtherSettings()), std::bad_cast);
}

TEST(AudioFadeEffect, StatisticsCountTheBlocks) {
    auto const effect = MakeEffect(Settings2Property(Fade()), 0, 10);
    for (int i = 0; i < 3; ++i) {
        iptr<IDataAudio> block = MakeLevels(Conf::SAMPLE_FORMAT_U8, {0});
        dynamic_cast<IOneInputEffectAudio&>(*effect).Process(block);
    }
    Core::Property const statistics = effect->GetStatistic();
    EXPECT_EQ(statistics, Core::MakeStatistics("Tarsel::Host::AudioFadeEffect::GetStatistic", 0, 3));
}

}  // namespace
}  // namespace Tarsel::Host
