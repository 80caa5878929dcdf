#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/Time.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

// The filters of the library together with the effects of this host, met as any graph meets them.
namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;

constexpr int RATE = 44100;
constexpr int BLOCK = 1024;
constexpr int BLOCKS = 130;

/// Three seconds of a sine of 440 Hz.
iptr<ScriptedAudio> MakeTone() {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < BLOCKS; ++i) {
        auto block = MakeAudio(SampleCount2Duration(int64{i} * BLOCK, RATE), BLOCK, RATE, Conf::SAMPLE_FORMAT_FLTP,
                               Conf::CHANNEL_LAYOUT_MONO);
        for (int k = 0; k < BLOCK; ++k)
            SamplesOf<float>(*block)[k] =
                static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 440 * (i * BLOCK + k) / RATE));
        script.push_back(block);
    }
    auto source = ScriptedAudio::Create(script);
    source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_FLTP, RATE, Conf::CHANNEL_LAYOUT_MONO});
    source->duration = SampleCount2Duration(int64{BLOCKS} * BLOCK, RATE);
    return source;
}

/// Frequency by the zero crossings of the middle half, each found between two samples.
double FrequencyOf(std::vector<float> const& samples) {
    double first = -1;
    double last = -1;
    int periods = -1;
    for (std::size_t i = samples.size() / 4; i < samples.size() * 3 / 4; ++i) {
        if (samples[i - 1] >= 0 || samples[i] < 0) continue;
        last = static_cast<double>(i) - samples[i] / double(samples[i] - samples[i - 1]);
        if (first < 0) first = last;
        ++periods;
    }
    return periods * RATE / (last - first);
}

std::vector<float> SamplesOfAll(std::vector<iptr<IDataAudio>> const& blocks) {
    std::vector<float> samples;
    for (auto const& block : blocks)
        samples.insert(samples.end(), SamplesOf<float>(*block), SamplesOf<float>(*block) + block->GetSampleCount());
    return samples;
}

/// Times that run on from `begin` by the counted samples.
void ExpectCountedTimes(std::vector<iptr<IDataAudio>> const& blocks, int64 begin) {
    int64 count = 0;
    for (auto const& block : blocks) {
        ASSERT_EQ(block->GetTime(), begin + SampleCount2Duration(count, RATE));
        count += block->GetSampleCount();
        ASSERT_EQ(block->GetTime() + block->GetDuration(), begin + SampleCount2Duration(count, RATE));
    }
}

class SpeedUpSound : public testing::TestWithParam<double> {};

TEST_P(SpeedUpSound, KeepsThePitchAndHasTheMappedLength) {
    auto const source = MakeTone();
    auto const filter = MakeFilterFactory()->CreateAudio(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL, source,
                                                         SettingsFilterSpeedUp(GetParam()));
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    auto const samples = SamplesOfAll(blocks);
    EXPECT_EQ(static_cast<long long>(samples.size()), std::llround(BLOCKS * BLOCK / GetParam()));
    EXPECT_NEAR(FrequencyOf(samples), 440, 4.4);
    RecordProperty("hertz", std::to_string(FrequencyOf(samples)));
    ExpectCountedTimes(blocks, 0);
    EXPECT_NEAR(static_cast<double>(filter->GetPosition()), static_cast<double>(filter->GetDuration()), 1e6 / RATE + 1);
}

TEST_P(SpeedUpSound, BehindASeekTimesAndCountsAreThoseOfAStreamThatBeginsThere) {
    auto const source = MakeTone();
    auto const filter = MakeFilterFactory()->CreateAudio(SettingsFilterSpeedUp::CLASS_ID, ImplNames::DEFAULT, source,
                                                         SettingsFilterSpeedUp(GetParam()));
    for (unsigned seed = 1; seed <= 3; ++seed) {
        std::mt19937 random(seed);
        int const landing = 1 + static_cast<int>(random() % (BLOCKS - 40));
        int64 const time = SampleCount2Duration(int64{landing} * BLOCK, RATE);
        SCOPED_TRACE("seed " + std::to_string(seed) + ", block " + std::to_string(landing));
        Seek(*filter, static_cast<int64>(static_cast<double>(time + 500) / GetParam()));
        auto const blocks = ReadAll(*filter);
        auto const samples = SamplesOfAll(blocks);
        EXPECT_EQ(static_cast<long long>(samples.size()), std::llround((BLOCKS - landing) * BLOCK / GetParam()));
        EXPECT_NEAR(FrequencyOf(samples), 440, 4.4);
        ExpectCountedTimes(blocks, static_cast<int64>(static_cast<double>(time) / GetParam() + 0.5));
    }
}

INSTANTIATE_TEST_SUITE_P(Usual, SpeedUpSound, testing::Values(0.5, 1.0, 1.5));

TEST(SpeedUpInAGraph, FactorThatTheEffectDoesNotTakeIsRefused) {
    auto const factory = MakeFilterFactory();
    auto const source = MakeTone();
    EXPECT_EQ(MessageOf<EffectException>([&] {
                  factory->CreateAudio(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL, source,
                                       SettingsFilterSpeedUp(21));
              }),
              "Tempo 21 is out of 0.05 to 20");
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  factory->CreateAudio(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL, source,
                                       SettingsFilterSpeedUp(0));
              }),
              "Wrong settings!");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(SpeedUpInAGraph, PicturesAreRegisteredToo) {
    auto const factory = MakeFilterFactory();
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000), MakeVideo(40000, 40000)});
    auto const filter =
        factory->CreateVideo(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL, source, SettingsFilterSpeedUp(2));
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 20000), IsVideo(20000, 20000)));
    EXPECT_THROW(factory->CreateVideo(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL, source,
                                      SettingsFilterFrameRate({25, 1})),
                 std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 2U);
}

TEST(FrameRateInAGraph, HasTwoImplementationsToldApartByTheirNames) {
    auto const factory = MakeFilterFactory();
    constexpr char const* CLASS_ID = SettingsFilterFrameRate::CLASS_ID;
    EXPECT_THAT(factory->GetRegistry().GetImplementations(FilterKind::Video, CLASS_ID),
                ElementsAre(SettingsFilterFrameRate::IMPL_DEFAULT, SettingsFilterFrameRate::IMPL_ADJUST));
    std::vector<iptr<IDataVideo>> const script{MakeVideo(0, 50000), MakeVideo(50000, 30000)};
    SettingsFilterFrameRate const settings({25, 1});
    for (bool const adjust : {false, true}) {
        auto const source = ScriptedVideo::Create(script);
        source->duration = 80000;
        auto const filter = factory->CreateVideo(
            CLASS_ID, adjust ? SettingsFilterFrameRate::IMPL_ADJUST : SettingsFilterFrameRate::IMPL_DEFAULT, source,
            settings);
        Seek(*filter, 0);
        if (adjust)
            EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 50000), IsVideo(50000, 30000)));
        else
            EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    }
    auto const source = ScriptedVideo::Create(script);
    EXPECT_THROW(factory->CreateVideo(CLASS_ID, SettingsFilterFrameRate::IMPL_ADJUST, source, SettingsFilterSpeedUp(2)),
                 std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  factory->CreateVideo(CLASS_ID, SettingsFilterFrameRate::IMPL_DEFAULT, source,
                                       SettingsFilterFrameRate({-25, 1}));
              }),
              "Wrong fps!");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Host
