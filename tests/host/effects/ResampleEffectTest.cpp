#include "host/effects/ResampleEffect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/Time.h"
#include "host/effects/SamplePlanes.h"
#include "tests/host/effects/ResampleSupport.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The largest distance of a signal from a sine of full accuracy, the first and last `margin` samples left out.
double Deviation(Signal const& signal, double hertz, int rate, double level, std::size_t margin) {
    double worst = 0;
    for (std::size_t i = margin; i + margin < signal.size(); ++i)
        worst = std::max(worst, std::fabs(signal[i] - level * std::sin(2 * std::numbers::pi * hertz *
                                                                       static_cast<double>(i) / rate)));
    return worst;
}

class ResampleRates : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(ResampleRates, ToneKeepsItsPitchPlaceAndLevelWithoutClicks) {
    auto const [from, to] = GetParam();
    auto const blocks = RunEffect(*MakeEffect(Rate(to)), Sine(440, from, from), Mono(from), 333);
    Signal const out = SignalOf(blocks);
    // 0.01 dB of a half is 0.0006: no sample is farther from the sine that stands there, at borders of blocks neither.
    EXPECT_LT(Deviation(out, 440, to, 0.5, 0), 0.15) << "at the ends the library mirrors what is there";
    EXPECT_LT(Deviation(out, 440, to, 0.5, static_cast<std::size_t>(to / 50)), 0.0005);
    ExpectCountedTimes(blocks, 0, to);
}

TEST_P(ResampleRates, ImpulseComesOutWhereItWentIn) {
    auto const [from, to] = GetParam();
    Signal signal(static_cast<std::size_t>(from));
    for (int place : {from / 4, from / 2, from * 3 / 4}) signal[static_cast<std::size_t>(place)] = 1;
    Signal const out = SignalOf(RunEffect(*MakeEffect(Rate(to)), signal, Mono(from)));
    for (int quarter = 1; quarter < 4; ++quarter) {
        double const place = static_cast<double>(from * quarter / 4) / from * to;
        auto const first = out.begin() + static_cast<std::ptrdiff_t>(place - to / 8.0);
        auto const last = out.begin() + static_cast<std::ptrdiff_t>(place + to / 8.0);
        EXPECT_NEAR(static_cast<double>(std::max_element(first, last) - out.begin()), place, 1) << quarter;
    }
}

TEST_P(ResampleRates, AsManySamplesComeOutAsTheOnesThatWentInAreWorth) {
    auto const [from, to] = GetParam();
    for (int const count : {1, 2, 3, 7, 16, 17, 31, 32, 33, 34, 63, 100, 999, 1000, 1001, 30000, 44099, 100003}) {
        auto const blocks =
            RunEffect(*MakeEffect(Rate(to)), Signal(static_cast<std::size_t>(count), 0.25F), Mono(from));
        EXPECT_EQ(CountOf(blocks), std::llround(static_cast<double>(count) * to / from)) << count << " samples";
        for (float const sample : SignalOf(blocks)) ASSERT_NEAR(sample, 0.25, 0.002) << count << " samples";
    }
}

TEST_P(ResampleRates, OutputDoesNotDependOnTheSizesOfTheBlocks) {
    auto const [from, to] = GetParam();
    for (auto const format : {Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_FLTP, Conf::SAMPLE_FORMAT_S32P}) {
        Conf::SampleInfo const info = Stereo(from, format);
        Signal const signal = Noise(5000, 3);
        auto const once = BytesOf(RunEffect(*MakeEffect(Rate(to)), signal, info, signal.size()));
        for (unsigned seed = 1; seed <= 5; ++seed) {
            std::mt19937 random(seed);
            auto const blocks = RunInBlocks(*MakeEffect(Rate(to)), signal, info, [&] { return random() % 700 + 1; });
            ASSERT_TRUE(BytesOf(blocks) == once) << "format " << format << ", seed " << seed;
        }
        auto const singly = RunEffect(*MakeEffect(Rate(to)), signal, info, 1);
        ASSERT_TRUE(BytesOf(singly) == once) << "format " << format << ", sample by sample";
    }
}

INSTANTIATE_TEST_SUITE_P(Usual, ResampleRates,
                         testing::Values(std::tuple(44100, 48000), std::tuple(48000, 44100), std::tuple(8000, 48000),
                                         std::tuple(48000, 8000), std::tuple(11025, 8000), std::tuple(96000, 44100),
                                         std::tuple(22050, 44100), std::tuple(44100, 44101)));

TEST(ResampleEffect, BlocksOfExactlyTheSamplesThatAreWaitedForAtTheBeginAreNotLost) {
    // The first 64 samples are handed over at once, and nothing else with them here.
    Signal const signal = Noise(640, 5);
    for (std::size_t const size : {64, 32, 16, 1}) {
        auto const effect = MakeEffect(Rate(48000));
        auto const whole = MakeEffect(Rate(48000));
        EXPECT_EQ(SignalOf(RunEffect(*effect, signal, Mono(44100), size)),
                  SignalOf(RunEffect(*whole, signal, Mono(44100), signal.size())))
            << size;
    }
}

TEST(ResampleEffect, SampleThatTheLibraryLacksAtTheEndRepeatsTheLastOne) {
    // Here the library gives a sample less than these are worth.
    for (auto const [from, to, count, worth] : {std::array{44100, 32000, 4411, 3201}, {48000, 44100, 9999, 9187}}) {
        auto const effect = MakeEffect(Rate(to));
        Signal const result = SignalOf(RunEffect(*effect, Noise(count, 7), Mono(from), 10000));
        ASSERT_EQ(result.size(), static_cast<std::size_t>(worth));
        // Noise: two samples that follow each other aren't equal by chance.
        EXPECT_EQ(result[result.size() - 1], result[result.size() - 2]) << count;
        EXPECT_NE(result[result.size() - 2], result[result.size() - 3]) << count;
    }
}

TEST(ResampleEffect, SoundIsGivenAsItGoesAndNotAtItsEndAlone) {
    auto const effect = MakeEffect(Rate(48000));
    Signal const signal = Noise(44100, 1);
    int64 given = 0;
    for (std::size_t first = 0; first < signal.size(); first += 441)
        if (auto const block = Process(*effect, BlockOf(signal, first, 441, Mono(44100))))
            given += block->GetSampleCount();
    EXPECT_GT(given, 47900);
    EXPECT_EQ(given + CountOf(Drain(*effect)), 48000);
    EXPECT_THAT(Drain(*effect), IsEmpty()) << "a drained stream leaves nothing behind";
}

TEST(ResampleEffect, UnsetWordsStayAsTheyComeIn) {
    Signal const signal = Noise(4410, 1);
    Conf::SampleInfo const in = Stereo(44100, Conf::SAMPLE_FORMAT_S16);
    auto const infoFor = [&](Conf::SampleInfo const& target) {
        return RunEffect(*MakeEffect(target), signal, in)[0]->GetSampleInfo();
    };
    EXPECT_EQ(infoFor(Rate(48000)), Stereo(48000, Conf::SAMPLE_FORMAT_S16));
    EXPECT_EQ(infoFor({Conf::SAMPLE_FORMAT_DBLP, -1, 0}), Stereo(44100, Conf::SAMPLE_FORMAT_DBLP));
    EXPECT_EQ(infoFor({Conf::SAMPLE_FORMAT_DBLP, 0, 0}), Stereo(44100, Conf::SAMPLE_FORMAT_DBLP));
    EXPECT_EQ(infoFor({Conf::SAMPLE_FORMAT_NONE, -1, Conf::CHANNEL_LAYOUT_MONO}), Mono(44100, Conf::SAMPLE_FORMAT_S16));
    EXPECT_EQ(infoFor(Mono(32000, Conf::SAMPLE_FORMAT_FLT)), Mono(32000, Conf::SAMPLE_FORMAT_FLT));
    EXPECT_EQ(infoFor({}), in);
}

TEST(ResampleEffect, BlocksThatHaveTheFormatPassAsTheSameObjects) {
    for (Conf::SampleInfo const& target : {UNSET, Stereo(500, Conf::SAMPLE_FORMAT_S64), Rate(500)}) {
        auto const effect = MakeEffect(target);
        for (int64 const time : {int64{7}, NO_VALUE, int64{1} << 62, int64{0}}) {
            auto const block = MakeAudio(time, 10, 500, Conf::SAMPLE_FORMAT_S64);
            EXPECT_EQ(Process(*effect, block), block);
            EXPECT_THAT(block, IsAudio(time, 10));
        }
        EXPECT_THAT(Drain(*effect), IsEmpty());
        EXPECT_EQ(effect->GetStatistic(), Core::MakeStatistics("Tarsel::Host::ResampleEffect::GetStatistic", 0, 4));
    }
}

TEST(ResampleEffect, WhereTheRateStaysBlocksKeepTheirSizesTimesAndDurations) {
    auto const effect = MakeEffect(Stereo(48000));
    auto const convert = [&](int64 time, int count, int64 duration) {
        auto block = MakeAudio(time, count, 48000, Conf::SAMPLE_FORMAT_S16, Conf::CHANNEL_LAYOUT_MONO);
        block->SetDuration(duration);
        return Process(*effect, block);
    };
    auto block = convert(5, 480, 9999);
    EXPECT_THAT(block, IsAudio(5, 480));
    EXPECT_EQ(block->GetDuration(), 9999);
    EXPECT_THAT(convert(70000000, 480, 10000), IsAudio(70000000, 480)) << "a jump is none of the converter's affairs";
    EXPECT_THAT(convert(NO_VALUE, 1, 10000), IsAudio(70010000, 1)) << "without a time: counted from the last known";
    block = convert(NO_VALUE, 1, NO_VALUE);
    EXPECT_THAT(block, IsAudio(70010021, 1));
    EXPECT_EQ(block->GetDuration(), 21);
    EXPECT_THAT(convert(NO_VALUE, 1, 10000), IsAudio(70010042, 1)) << "and the roundings don't add up";
    EXPECT_EQ(convert(70010063, 0, 0), nullptr) << "nothing comes of nothing";
    EXPECT_THAT(Drain(*effect), IsEmpty());
    effect->ResetEffectState();
    EXPECT_THAT(convert(NO_VALUE, 480, 10000), IsAudio(NO_VALUE, 480));
}

TEST(ResampleEffect, FormatsAreConvertedExactly) {
    using namespace Conf;
    SamplePlanes const planes{{0.0F, 0.5F, -0.5F, -1.0F}, {0.25F, -0.25F, 0.0F, 0.75F}};
    auto const formats = {SAMPLE_FORMAT_U8,   SAMPLE_FORMAT_S16, SAMPLE_FORMAT_S32,  SAMPLE_FORMAT_FLT,
                          SAMPLE_FORMAT_DBL,  SAMPLE_FORMAT_U8P, SAMPLE_FORMAT_S16P, SAMPLE_FORMAT_S32P,
                          SAMPLE_FORMAT_FLTP, SAMPLE_FORMAT_DBLP};
    for (auto const from : formats) {
        for (auto const to : formats) {
            auto const block = Process(*MakeEffect({to, -1, 0}), WritePlanes(planes, 0, 4, Stereo(48000, from)));
            ASSERT_NE(block, nullptr);
            SamplePlanes out;
            ReadPlanes(*block, out);
            EXPECT_EQ(block->GetSampleInfo(), Stereo(48000, to));
            EXPECT_EQ(out, planes) << from << " to " << to;
        }
    }
}

TEST(ResampleEffect, NumbersOf32BitsKeepTheirLowBits) {
    constexpr i32 VALUE = 0x7654321F;
    auto const block = MakeAudio(0, 100, 44100, Conf::SAMPLE_FORMAT_S32, Conf::CHANNEL_LAYOUT_MONO);
    std::fill_n(SamplesOf<i32>(*block), 100, VALUE);
    auto const out = Process(*MakeEffect(Stereo(44100, Conf::SAMPLE_FORMAT_S32)), block);
    for (int i = 0; i < 200; ++i) ASSERT_NEAR(SamplesOf<i32>(*out)[i], VALUE, 1) << i;
}

TEST(ResampleEffect, FormatConversionDoesNotDependOnTheSizesOfTheBlocks) {
    using namespace Conf;
    Signal const signal = Noise(2000, 9);
    for (auto const& [from, to] : {std::tuple(Stereo(48000, SAMPLE_FORMAT_FLTP), Stereo(48000, SAMPLE_FORMAT_S16)),
                                   std::tuple(Stereo(48000, SAMPLE_FORMAT_S32), Stereo(48000, SAMPLE_FORMAT_FLTP)),
                                   std::tuple(Mono(48000, SAMPLE_FORMAT_S16), Stereo(48000, SAMPLE_FORMAT_S16P)),
                                   std::tuple(Stereo(48000, SAMPLE_FORMAT_S16P), Mono(48000, SAMPLE_FORMAT_S16)),
                                   std::tuple(SampleInfo(SAMPLE_FORMAT_S16, 48000, DefaultChannelLayout(6)),
                                              Stereo(48000, SAMPLE_FORMAT_S16))}) {
        auto const once = BytesOf(RunEffect(*MakeEffect(to), signal, from, signal.size()));
        for (std::size_t const size : {1U, 3U, 17U, 333U}) {
            auto const blocks = RunEffect(*MakeEffect(to), signal, from, size);
            EXPECT_EQ(blocks.size(), (signal.size() + size - 1) / size);
            EXPECT_TRUE(BytesOf(blocks) == once) << from.GetSampleFormat() << ", blocks of " << size;
        }
    }
}

/// The level of each channel that comes out for a sine on one channel alone.
std::vector<double> LevelsFor(Conf::SampleInfo const& from, std::size_t channel, Conf::SampleInfo const& to) {
    SamplePlanes planes(static_cast<std::size_t>(from.GetChannelCount()), Signal(48000));
    planes[channel] = Sine(440, 48000, 48000);
    auto const out = Process(*MakeEffect(to), WritePlanes(planes, 0, 48000, from));
    ReadPlanes(*out, planes);
    std::vector<double> levels;
    for (auto const& plane : planes) {
        double sum = 0;
        for (float const sample : plane) sum += double(sample) * sample;
        levels.push_back(std::sqrt(sum / 48000 / 0.125));
    }
    return levels;
}

MATCHER_P(IsNearly, level, "") {
    return std::fabs(arg - level) < 0.001;
}

constexpr double HALF_POWER = 0.70711;

TEST(ResampleEffect, MonoComesOutOfLeftAndRightAsItIs) {
    for (auto const format : {Conf::SAMPLE_FORMAT_FLTP, Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S32}) {
        EXPECT_THAT(LevelsFor(Mono(48000, format), 0, Stereo(48000, format)), ElementsAre(IsNearly(1), IsNearly(1)));
        EXPECT_THAT(LevelsFor(Mono(48000, format), 0, {format, 48000, 0x33}),
                    ElementsAre(IsNearly(1), IsNearly(1), IsNearly(0), IsNearly(0)))
            << "speakers at the back stay silent";
        Conf::SampleInfo const surround(format, 48000, Conf::DefaultChannelLayout(6));
        EXPECT_THAT(LevelsFor(Mono(48000, format), 0, surround),
                    ElementsAre(IsNearly(0), IsNearly(0), IsNearly(1), IsNearly(0), IsNearly(0), IsNearly(0)))
            << "where there is a speaker between them, it goes there";
    }
}

TEST(ResampleEffect, SixChannelsAreMixedToTwoSpeakersAndIntegersAreHeldToTheirRange) {
    for (auto const format :
         {Conf::SAMPLE_FORMAT_FLTP, Conf::SAMPLE_FORMAT_DBL, Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S32P}) {
        Conf::SampleInfo const surround(format, 48000, Conf::DefaultChannelLayout(6));
        bool const isFloat = format == Conf::SAMPLE_FORMAT_FLTP || format == Conf::SAMPLE_FORMAT_DBL;
        double const scale = isFloat ? 1 : 1 / (1 + 2 * HALF_POWER);
        auto const levels = [&](std::size_t channel) { return LevelsFor(surround, channel, Stereo(48000, format)); };
        EXPECT_THAT(levels(0), ElementsAre(IsNearly(scale), IsNearly(0))) << "front left, format " << format;
        EXPECT_THAT(levels(1), ElementsAre(IsNearly(0), IsNearly(scale)));
        EXPECT_THAT(levels(2), ElementsAre(IsNearly(scale * HALF_POWER), IsNearly(scale * HALF_POWER)));
        EXPECT_THAT(levels(3), ElementsAre(IsNearly(0), IsNearly(0))) << "the low effects are left out";
        EXPECT_THAT(levels(4), ElementsAre(IsNearly(scale * HALF_POWER), IsNearly(0)));
        EXPECT_THAT(levels(5), ElementsAre(IsNearly(0), IsNearly(scale * HALF_POWER)));
    }
}

TEST(ResampleEffect, TwoChannelsAreMixedToOneAndIntegersAreHeldToTheirRange) {
    EXPECT_THAT(LevelsFor(Stereo(48000), 1, Mono(48000)), ElementsAre(IsNearly(HALF_POWER)));
    EXPECT_THAT(LevelsFor(Stereo(48000, Conf::SAMPLE_FORMAT_S16), 1, Mono(48000, Conf::SAMPLE_FORMAT_S16)),
                ElementsAre(IsNearly(0.5)));
}

TEST(ResampleEffect, HugeBlockComesOutInBlocksOfABoundedSize) {
    auto const effect = MakeEffect(Rate(768000));
    Blocks blocks{Process(*effect, MakeAudio(0, 20000, 1000, Conf::SAMPLE_FORMAT_U8, Conf::CHANNEL_LAYOUT_MONO))};
    for (auto& block : Drain(*effect)) blocks.push_back(block);
    EXPECT_EQ(CountOf(blocks), 20000 * 768);
    for (auto const& block : blocks) EXPECT_LT(block->GetSampleCount(), (1 << 22) + 200000);
    ExpectCountedTimes(blocks, 0, 768000);
}

TEST(ResampleEffect, RatesThatTheLibraryCanNotConvertAreRefused) {
    auto const refusal = [](int from, int to) {
        auto block = MakeAudio(0, 10, from);
        auto const before = block;
        auto const effect = MakeEffect(Rate(to));
        auto const text = MessageOf<EffectException>([&] { effect->Process(block); });
        EXPECT_EQ(block == before, text[0] != '[') << "a refused block stays the caller's";
        return text;
    };
    EXPECT_EQ(refusal(999, 48000), "Sample rate 999 is out of 1000 to 768000");
    EXPECT_EQ(refusal(48000, 999), "Sample rate 999 is out of 1000 to 768000");
    EXPECT_EQ(refusal(768001, 48000), "Sample rate 768001 is out of 1000 to 768000");
    EXPECT_EQ(refusal(48000, 2000000000), "Sample rate 2000000000 is out of 1000 to 768000");
    EXPECT_EQ(refusal(1000, 768000), "[nothing was thrown]");
    EXPECT_EQ(refusal(768000, 1001), "[nothing was thrown]");
}

TEST(ResampleEffect, LayoutsThatTheLibraryCanNotMixAreRefusedAndNothingHeldIsLost) {
    auto const effect = MakeEffect(Mono(48000, Conf::SAMPLE_FORMAT_S16));
    auto const first = Process(*effect, BlockOf(Sine(440, 44100, 4410), 0, 4410, Mono(44100)));
    auto odd = MakeAudio(100000, 10, 48000, Conf::SAMPLE_FORMAT_S16, 0x30);  // two channels, behind
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Process(odd); }),
              "Can't convert sound of 2 channels (BL+BR) at 48000 Hz in s16 to mono at 48000 Hz in s16: Invalid "
              "argument");
    EXPECT_EQ(first->GetSampleCount() + CountOf(Drain(*effect)), 4800);
}

TEST(ResampleEffect, TargetThatIsNoFormatIsRefusedAndTheOldOneStays) {
    auto const effect = MakeEffect(Rate(48000));
    Conf::SampleInfo const wrong(static_cast<Conf::SampleFormats>(77), 48000, 0);
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->SetSampleInfo(wrong); }), "There is no format 77 of samples");
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(SettingsResample(wrong)); }),
              "There is no format 77 of samples");
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsResample(Rate(48000))));
}

TEST(ResampleEffect, SettingsGoInAsObjectAndAsProperty) {
    auto const effect = MakeShared<ResampleEffect>();
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsResample()));
    effect->Initialize(Settings2Property(SettingsResample(Mono(32000))));
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsResample(Mono(32000))));
    effect->SetSampleInfo(Stereo(0));
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsResample(Stereo(-1))));
    EXPECT_EQ(dynamic_cast<SettingsResample const&>(effect->GetEffectSettings()).GetSampleInfo(), Stereo(-1));
    EXPECT_EQ(MessageOf<FilterException>([&] { effect->Initialize(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
    EXPECT_THROW(effect->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsResample(Stereo(-1))));
}

TEST(ResampleEffect, FormatIsAdaptedWordByWord) {
    auto const effect = MakeEffect({Conf::SAMPLE_FORMAT_S16, -1, Conf::CHANNEL_LAYOUT_MONO});
    auto const audio = Conf::IFormatCodecAudio::Create();
    audio->SetSampleInfo(Stereo(44100));
    iptr<Conf::IFormatCodec> format = audio;
    effect->AdaptFormatCodec(format);
    EXPECT_EQ(format, audio);
    EXPECT_EQ(audio->GetSampleInfo(), Mono(44100, Conf::SAMPLE_FORMAT_S16));
    iptr<Conf::IFormatCodec> none;
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { effect->AdaptFormatCodec(none); }), "format is NULL");
    iptr<Conf::IFormatCodec> video = Conf::IFormatCodecVideo::Create();
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->AdaptFormatCodec(video); }),
              "The effect can't adapt a format of this kind");
}

TEST(ResampleEffect, SaysWhatItIs) {
    auto const effect = MakeShared<ResampleEffect>();
    EXPECT_EQ(effect->GetProcessingFrameType(), IDataVideo::FRAME_ALLOC_ANY);
    effect->SetTimeToProgress(TimeToProgress([](double) { return 0.25; }));
    effect->GetTimeToProgress().end = 10;
    EXPECT_EQ(effect->GetTimeToProgress().GetProgress(5), 0.25);
}

}  // namespace
}  // namespace Tarsel::Host
