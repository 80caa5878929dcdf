#include "host/sound/LevelMeter.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::DoubleEq;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A block with these values, channel by channel for each sample.
template <class Sample>
iptr<IDataAudio> Block(Conf::SampleFormats format, Conf::ChannelLayout layout, std::vector<Sample> const& values) {
    auto const channels = static_cast<std::size_t>(Conf::ChannelCount(layout));
    auto const block = MakeAudio(0, static_cast<int>(values.size() / channels), 48000, format, layout);
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const planar = Conf::IsPlanar(format);
        auto* const samples = SamplesOf<Sample>(*block, planar ? static_cast<int>(i % channels) : 0);
        samples[planar ? i / channels : i] = values[i];
    }
    return block;
}

template <class Sample>
iptr<IDataAudio> Mono(Conf::SampleFormats format, std::vector<Sample> const& values) {
    return Block(format, Conf::CHANNEL_LAYOUT_MONO, values);
}

iptr<LevelMeter> Measured(std::vector<iptr<IDataAudio>> const& blocks) {
    auto const meter = LevelMeter::Create(ScriptedAudio::Create(blocks));
    EXPECT_THAT(ReadAll(*meter), SizeIs(blocks.size()));
    return meter;
}

TEST(LevelMeter, WithoutASourceIsRefused) {
    EXPECT_THROW(LevelMeter::Create(nullptr), std::invalid_argument);
}

TEST(LevelMeter, ValuesAreOfTheLibrarysScale) {
    auto const peak = [](iptr<IDataAudio> const& block) { return Measured({block})->GetLevel().peak; };
    EXPECT_EQ(peak(Mono<u8>(Conf::SAMPLE_FORMAT_U8, {128, 192})), 0.5);
    EXPECT_EQ(peak(Mono<u8>(Conf::SAMPLE_FORMAT_U8P, {255})), 127 * 0.0078125);
    EXPECT_EQ(peak(Mono<int16_t>(Conf::SAMPLE_FORMAT_S16, {32767})), 1.0);
    EXPECT_EQ(peak(Mono<int16_t>(Conf::SAMPLE_FORMAT_S16P, {1})), 1 / 32767.0);
    EXPECT_EQ(peak(Mono<i32>(Conf::SAMPLE_FORMAT_S32, {std::numeric_limits<i32>::max()})), 1.0);
    EXPECT_EQ(peak(Mono<i32>(Conf::SAMPLE_FORMAT_S32P, {1})), 1 / 2147483647.0);
    EXPECT_EQ(peak(Mono<float>(Conf::SAMPLE_FORMAT_FLT, {1.5F})), 1.5);
    EXPECT_EQ(peak(Mono<float>(Conf::SAMPLE_FORMAT_FLTP, {0.25F})), 0.25);
    EXPECT_EQ(peak(Mono<double>(Conf::SAMPLE_FORMAT_DBL, {0.125})), 0.125);
    EXPECT_EQ(peak(Mono<double>(Conf::SAMPLE_FORMAT_DBLP, {0.375})), 0.375);
}

TEST(LevelMeter, ThePeakIsThatOfThePositiveHalfWave) {
    auto const meter = Measured({Mono<float>(Conf::SAMPLE_FORMAT_FLT, {-0.5F, -0.25F})});
    EXPECT_EQ(meter->GetLevel().peak, 0.0);
    EXPECT_THAT(meter->GetLevel().rms, DoubleEq(std::sqrt((0.25 + 0.0625) / 2)));
}

TEST(LevelMeter, ChannelsAreToldApartInBothKindsOfBlocks) {
    for (auto const format : {Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S16P}) {
        auto const meter =
            Measured({Block<int16_t>(format, Conf::CHANNEL_LAYOUT_STEREO, {16000, -100, 0, 200, -16000, 100})});
        ASSERT_THAT(meter->GetChannels(), SizeIs(2));
        EXPECT_EQ(meter->GetChannels()[0].peak, 16000 / 32767.0);
        EXPECT_EQ(meter->GetChannels()[1].peak, 200 / 32767.0);
        EXPECT_THAT(meter->GetChannels()[0].rms, DoubleEq(std::sqrt(2 * 16000.0 * 16000.0 / 3) / 32767.0));
        EXPECT_EQ(meter->GetLevel().peak, 16000 / 32767.0);
        EXPECT_THAT(meter->GetLevel().rms, DoubleEq(std::sqrt((2 * 16000.0 * 16000.0 + 60000.0) / 6) / 32767.0));
    }
}

TEST(LevelMeter, AllBlocksCountAndPassAsTheSameObjects) {
    auto const source =
        ScriptedAudio::Create({Mono<float>(Conf::SAMPLE_FORMAT_FLT, {0.5F}), Mono<float>(Conf::SAMPLE_FORMAT_FLT, {}),
                               Mono<float>(Conf::SAMPLE_FORMAT_FLT, {0.25F, 0.25F, 0.25F})});
    auto const meter = LevelMeter::Create(source);
    EXPECT_THAT(meter->GetChannels(), IsEmpty());
    auto const blocks = ReadAll(*meter);
    EXPECT_THAT(source->delivered, ElementsAre(blocks[0].get(), blocks[1].get(), blocks[2].get()));
    EXPECT_EQ(meter->GetLevel().peak, 0.5);
    EXPECT_THAT(meter->GetLevel().rms, DoubleEq(std::sqrt((0.25 + 3 * 0.0625) / 4)));
}

TEST(LevelMeter, NothingAndSilenceAreZero) {
    EXPECT_EQ(Measured({})->GetLevel(), LevelMeter::Level());
    EXPECT_EQ(Measured({MakeAudio(0, 100)})->GetLevel(), LevelMeter::Level());
    EXPECT_EQ(Measured({MakeAudio(0, 100, 48000, Conf::SAMPLE_FORMAT_U8)})->GetLevel(), LevelMeter::Level());
    EXPECT_THAT(Measured({MakeAudio(0, 100)})->GetChannels(), SizeIs(2));
}

TEST(LevelMeter, ASeekMeasuresAnew) {
    auto const meter = Measured({Mono<float>(Conf::SAMPLE_FORMAT_FLT, {0.5F})});
    Seek(*meter, SECOND);
    EXPECT_THAT(meter->GetChannels(), IsEmpty());
}

TEST(LevelMeter, IntegersOf64BitsAreRefused) {
    auto const meter = LevelMeter::Create(ScriptedAudio::Create({Mono<int64>(Conf::SAMPLE_FORMAT_S64, {1})}));
    EXPECT_EQ(TestSupport::MessageOf<ProcException>([&] { meter->Read(); }),
              "The level of samples of format 10 can't be told");
}

}  // namespace
}  // namespace Tarsel::Host
