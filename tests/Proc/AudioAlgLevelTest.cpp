#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Core/Exception.h"
#include "tests/support/AudioBlocks.h"
#include "tests/support/AudioReference.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Proc {
namespace {

using TestSupport::AudioBlock;
using TestSupport::FillSamples;
using TestSupport::INF;
using TestSupport::MessageOf;
using TestSupport::NOT_A_NUMBER;
using TestSupport::PlanarCode;
namespace Reference = TestSupport::AudioReference;
using Level = std::pair<double, double>;
using Short = std::int16_t;

constexpr i32 LOWEST = std::numeric_limits<i32>::min();
constexpr i32 HIGHEST = std::numeric_limits<i32>::max();

bool SameBits(double a, double b) {
    return std::bit_cast<u64>(a) == std::bit_cast<u64>(b) || (std::isnan(a) && std::isnan(b));
}

testing::AssertionResult MeasuresAsTheFormulasDo(AudioBlockView const& view) {
    int const format = view.info.GetSampleFormat();
    int const planes = format < 5 ? 1 : view.info.GetChannelCount();
    auto const wanted = Reference::Level(PlanarCode(format), view.data, view.planeBytes, planes, view.samples);
    for (auto const instructions : TestSupport::InstructionsHere()) {
        auto const got = AudioArithmetic::EstimateLevelWith(instructions, view);
        if (!SameBits(got.first, wanted.first) || !SameBits(got.second, wanted.second))
            return testing::AssertionFailure() << std::hexfloat << "peak " << got.first << ", RMS " << got.second
                                               << " in place of " << wanted.first << ", " << wanted.second;
    }
    return testing::AssertionSuccess();
}

template <class Sample>
Level LevelOf(int format, int channels, std::vector<Sample> const& values) {
    AudioBlock const block(format, channels, values);
    return EstimateLevel(block.view);
}

template <class Sample>
std::vector<double> SamplesAt(int format, int channels, std::vector<Sample> const& values, uint32 index) {
    AudioBlock const block(format, channels, values);
    std::vector<double> out;
    GetAudioSamples(block.view, index, out);
    return out;
}

class LevelFormats : public testing::TestWithParam<int> {};

TEST_P(LevelFormats, AreMeasuredAsTheFormulasDoWithEveryLength) {
    int const format = GetParam();
    std::mt19937_64 random(31);
    for (int channels : {1, 2, 6})
        for (int length = 0; length <= 67; ++length) {
            AudioBlock block(format, channels, length);
            FillSamples(block, random);
            ASSERT_TRUE(MeasuresAsTheFormulasDo(block.view)) << length << " samples of " << channels << " channels";
        }
}

TEST_P(LevelFormats, AreMeasuredAsTheFormulasDoOverLongBlocks) {
    int const format = GetParam();
    std::mt19937_64 random(32);
    AudioBlock block(format, 2, 40009);
    FillSamples(block, random);
    EXPECT_TRUE(MeasuresAsTheFormulasDo(block.view));
}

// Special values would hide the order of the sum behind infinity.
TEST_P(LevelFormats, AddTheSquaresInTheirOrder) {
    int const format = GetParam();
    std::mt19937_64 random(33);
    AudioBlock block(format, 1, 5001);
    std::vector<u8> filled;
    for (int i = 0; i < 5001; ++i) {
        u64 const bits = random();
        double const real = static_cast<double>(static_cast<int64>(bits)) / 1.0e19 * (i % 7 == 0 ? 1e-5 : 1);
        int const code = PlanarCode(format);
        if (code == 5) Reference::Put(filled, static_cast<u8>(bits));
        if (code == 6) Reference::Put(filled, static_cast<Short>(bits));
        if (code == 7) Reference::Put(filled, static_cast<i32>(bits));
        if (code == 8) Reference::Put(filled, static_cast<float>(real));
        if (code == 9) Reference::Put(filled, real);
    }
    block.bytes.assign(filled.begin(), filled.end());
    block.view.data = block.bytes.data();
    EXPECT_TRUE(MeasuresAsTheFormulasDo(block.view));
}

TEST_P(LevelFormats, AreMeasuredFromStorageOfAnyAlignment) {
    int const format = GetParam();
    std::mt19937_64 random(34);
    AudioBlock block(format, 1, 101);
    FillSamples(block, random);
    for (std::size_t shift = 1; shift < 16; ++shift) {
        std::vector<u8> storage(shift + block.bytes.size());
        std::copy(block.bytes.begin(), block.bytes.end(), storage.begin() + static_cast<std::ptrdiff_t>(shift));
        AudioBlockView moved = block.view;
        moved.data = storage.data() + shift;
        EXPECT_TRUE(MeasuresAsTheFormulasDo(moved)) << shift;
    }
}

TEST_P(LevelFormats, GiveTheValueOfEachChannelAtEverySample) {
    int const format = GetParam();
    int const code = PlanarCode(format);
    std::mt19937_64 random(35);
    for (std::size_t channels : {1U, 2U, 6U}) {
        AudioBlock block(format, static_cast<int>(channels), 17);
        FillSamples(block, random);
        std::vector<double> out{42};
        std::size_t seen = 1;
        for (uint32 index = 0; index < 17; ++index) {
            GetAudioSamples(block.view, index, out);
            ASSERT_EQ(out.size(), seen + channels);
            for (std::size_t channel = 0; channel < channels; ++channel) {
                u8 const* const plane =
                    format < 5 ? block.view.data : block.view.data + block.view.planeBytes * channel;
                std::size_t const at = format < 5 ? index * channels + channel : index;
                EXPECT_TRUE(SameBits(out[seen++], Reference::Normalised(code, plane, at)));
            }
        }
        EXPECT_EQ(out[0], 42) << "what the list held stays";
    }
}

TEST_P(LevelFormats, GiveNothingWithoutChannels) {
    AudioBlock block(GetParam(), 2, 10);
    block.view.info = {static_cast<Conf::SampleFormats>(GetParam()), 48000, 0};
    std::vector<double> out;
    GetAudioSamples(block.view, 3, out);
    EXPECT_TRUE(out.empty());
}

TEST_P(LevelFormats, AreRefusedBehindTheLastSample) {
    AudioBlock const block(GetParam(), 2, 10);
    std::vector<double> out;
    EXPECT_EQ(MessageOf<ProcException>([&] { GetAudioSamples(block.view, 10, out); }),
              "GetAudioSamples: there is no sample 10 in a block of 10");
    EXPECT_EQ(MessageOf<ProcException>([&] { GetAudioSamples(block.view, 4294967295U, out); }),
              "GetAudioSamples: there is no sample 4294967295 in a block of 10");
    EXPECT_TRUE(out.empty());
}

INSTANTIATE_TEST_SUITE_P(All, LevelFormats, testing::Range(0, 10));

TEST(EstimateLevel, MeasuresEveryValueOf8And16Bits) {
    std::vector<u8> bytes(256);
    std::iota(bytes.begin(), bytes.end(), u8{0});
    EXPECT_TRUE(MeasuresAsTheFormulasDo(AudioBlock(0, 1, bytes).view));
    std::vector<Short> shorts(65536);
    std::iota(shorts.begin(), shorts.end(), Short{-32768});
    EXPECT_TRUE(MeasuresAsTheFormulasDo(AudioBlock(1, 1, shorts).view));
    for (Short value : shorts) {
        AudioBlock const one(1, 1, std::vector<Short>{value});
        ASSERT_TRUE(MeasuresAsTheFormulasDo(one.view)) << value;
    }
}

TEST(EstimateLevel, IsOneAtFullScale) {
    EXPECT_EQ(LevelOf<Short>(1, 1, {32767, 32767}), Level(1, 1));
    EXPECT_EQ(LevelOf<i32>(2, 1, {HIGHEST}), Level(1, 1));
    EXPECT_EQ(LevelOf<float>(3, 1, {1.0F}), Level(1, 1));
    EXPECT_EQ(LevelOf<double>(4, 1, {1.0}), Level(1, 1));
    EXPECT_EQ(LevelOf<u8>(0, 1, {255}).first, 127 / 128.0);
}

TEST(EstimateLevel, NegativeSamplesHaveNoPeakButAnRms) {
    EXPECT_EQ(LevelOf<float>(3, 1, {-0.5F, -0.5F}), Level(0, 0.5));
    EXPECT_EQ(LevelOf<u8>(0, 1, {0, 0}), Level(0, 1));
    EXPECT_EQ(LevelOf<Short>(6, 1, {-32767}), Level(0, 1));
    EXPECT_EQ(LevelOf<i32>(7, 1, {-HIGHEST}), Level(0, 1));
    EXPECT_EQ(LevelOf<double>(9, 1, {-1, -1}), Level(0, 1));
}

TEST(EstimateLevel, OfAnEmptyBlockIsZero) {
    EXPECT_EQ(LevelOf<Short>(1, 2, {}), Level(0, 0));
    EXPECT_EQ(LevelOf<double>(9, 2, {}), Level(0, 0));
    AudioBlock negative(6, 2, 10);
    negative.view.samples = -1;
    EXPECT_EQ(EstimateLevel(negative.view), Level(0, 0));
}

TEST(EstimateLevel, OfAPlanarBlockWithoutChannelsIsZero) {
    AudioBlock block(6, 2, std::vector<Short>{1, 2, 3, 4});
    block.view.info = {Conf::SAMPLE_FORMAT_S16P, 48000, 0};
    EXPECT_EQ(EstimateLevel(block.view), Level(0, 0));
}

TEST(EstimateLevel, OfAnInterleavedBlockLooksAtItsFrontHalfOnly) {
    EXPECT_EQ(LevelOf<float>(3, 2, {0.5F, 0.5F, 1.0F, 1.0F}), Level(0.5, 0.5));
    EXPECT_EQ(LevelOf<float>(8, 2, {0.5F, 0.5F, 1.0F, 1.0F}).first, 1) << "all of the planar one counts";
}

TEST(EstimateLevel, PlanesMayLieApart) {
    AudioBlock block(6, 2, std::vector<Short>{32767, 0, 0, 0, 32767, 0, 0, 0});
    block.view.samples = 1;
    EXPECT_EQ(EstimateLevel(block.view), Level(1, 1));
}

TEST(EstimateLevel, NaNsLeaveThePeakAndSpoilTheRms) {
    auto const level = LevelOf<double>(9, 1, {0.25, NOT_A_NUMBER, 0.5, -1});
    EXPECT_EQ(level.first, 0.5);
    EXPECT_TRUE(std::isnan(level.second));
    EXPECT_EQ(LevelOf<float>(8, 1, {static_cast<float>(NOT_A_NUMBER)}).first, 0);
}

TEST(EstimateLevel, FloatsBeyondFullScaleArentHeldToIt) {
    EXPECT_EQ(LevelOf<float>(8, 1, {2.0F, -2.0F}), Level(2, 2));
    EXPECT_EQ(LevelOf<double>(9, 1, {INF}), Level(INF, INF));
}

TEST(EstimateLevel, NegativeZeroIsNoPeak) {
    EXPECT_FALSE(std::signbit(LevelOf<double>(9, 1, {-0.0}).first));
}

TEST(GetAudioSamples, TheLowestIntegersAreSlightlyBelowMinusOne) {
    EXPECT_EQ(SamplesAt<Short>(1, 1, {-32768}, 0), std::vector<double>{-32768 / 32767.0});
    EXPECT_LT(SamplesAt<Short>(6, 1, {-32768}, 0)[0], -1.0);
    EXPECT_EQ(SamplesAt<i32>(2, 1, {LOWEST}, 0), std::vector<double>{LOWEST / 2147483647.0});
    EXPECT_LT(SamplesAt<i32>(7, 1, {LOWEST}, 0)[0], -1.0);
    EXPECT_EQ(SamplesAt<u8>(0, 1, {0}, 0), std::vector<double>{-1});
}

TEST(GetAudioSamples, FindsChannelsInBothLayouts) {
    EXPECT_EQ(SamplesAt<float>(3, 2, {0.1F, 0.2F, 0.3F, 0.4F}, 1), (std::vector<double>{0.3F, 0.4F}));
    EXPECT_EQ(SamplesAt<float>(8, 2, {0.1F, 0.2F, 0.3F, 0.4F}, 1), (std::vector<double>{0.2F, 0.4F}));
}

}  // namespace
}  // namespace Tarsel::Proc
