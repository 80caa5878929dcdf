#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "tests/support/AudioBlocks.h"
#include "tests/support/AudioReference.h"
#include "tests/support/Sanitizer.h"

namespace Tarsel::Proc {
namespace {

using TestSupport::AudioBlock;
using TestSupport::FillSamples;
using TestSupport::Gains;
using TestSupport::INF;
using TestSupport::NOT_A_NUMBER;
using TestSupport::PlanarCode;
namespace Reference = TestSupport::AudioReference;
using Short = std::int16_t;

constexpr i32 LOWEST = std::numeric_limits<i32>::min();
constexpr i32 HIGHEST = std::numeric_limits<i32>::max();

template <class Sample>
std::vector<Sample> Volumized(int format, std::vector<Sample> const& values, double volume) {
    AudioBlock const source(format, 1, values);
    AudioBlock dest(format, 1, static_cast<int>(values.size()));
    VolumizeAudio(dest.view, source.view, volume);
    return dest.Values<Sample>();
}

template <class Sample>
std::vector<Sample> Clipped(int format, std::vector<Sample> const& values) {
    AudioBlock const source(format, 1, values);
    AudioBlock dest(format, 1, static_cast<int>(values.size()));
    ClipAudio(dest.view, source.view);
    return dest.Values<Sample>();
}

testing::AssertionResult VolumizesAsTheFormulasDo(AudioBlock& dest, AudioBlockView const& source, double volume) {
    int const format = dest.view.info.GetSampleFormat();
    auto const wanted = Reference::Volumize(PlanarCode(format), source.data, dest.Count(), volume);
    return TestSupport::GivesOnEach(dest, wanted, [&](auto instructions) {
        AudioArithmetic::VolumizeAudioWith(instructions, dest.view, source, volume);
    });
}

testing::AssertionResult ClipsAsTheFormulasDo(AudioBlock& dest, AudioBlockView const& source) {
    int const format = dest.view.info.GetSampleFormat();
    auto const wanted = Reference::Clip(PlanarCode(format), source.data, dest.Count());
    return TestSupport::GivesOnEach(
        dest, wanted, [&](auto instructions) { AudioArithmetic::ClipAudioWith(instructions, dest.view, source); });
}

class VolumeFormats : public testing::TestWithParam<int> {};

TEST_P(VolumeFormats, VolumizeAsTheFormulasDoWithEveryGainAndLength) {
    int const format = GetParam();
    std::mt19937_64 random(21);
    auto const gains = Gains();
    // A share of them for each length still meets all.
    std::size_t const each = Tarsel::Test::ThinnedBy(4);
    for (int channels : {1, 2, 6})
        for (int length = 0; length <= 67; ++length) {
            AudioBlock source(format, channels, length);
            FillSamples(source, random);
            for (std::size_t i = static_cast<std::size_t>(length) % each; i < gains.size(); i += each) {
                AudioBlock dest(format, channels, length);
                ASSERT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, gains[i]))
                    << length << " samples, gain " << gains[i];
            }
        }
}

TEST_P(VolumeFormats, ClipAsTheFormulasDoWithEveryLength) {
    int const format = GetParam();
    std::mt19937_64 random(22);
    for (int channels : {1, 2, 6})
        for (int length = 0; length <= 67; ++length) {
            AudioBlock source(format, channels, length);
            FillSamples(source, random);
            AudioBlock dest(format, channels, length);
            ASSERT_TRUE(ClipsAsTheFormulasDo(dest, source.view)) << length << " samples";
        }
}

TEST_P(VolumeFormats, TakeLongBlocksOfEveryKindOfSample) {
    int const format = GetParam();
    std::mt19937_64 random(23);
    AudioBlock source(format, 2, 20011);
    FillSamples(source, random);
    AudioBlock dest(format, 2, 20011);
    for (double gain : Gains()) ASSERT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, gain)) << gain;
    EXPECT_TRUE(ClipsAsTheFormulasDo(dest, source.view));
}

TEST_P(VolumeFormats, WorkInPlace) {
    int const format = GetParam();
    std::mt19937_64 random(24);
    AudioBlock block(format, 2, 1003);
    FillSamples(block, random);
    EXPECT_TRUE(VolumizesAsTheFormulasDo(block, block.view, 0.7));
    FillSamples(block, random);
    EXPECT_TRUE(ClipsAsTheFormulasDo(block, block.view));
}

TEST_P(VolumeFormats, TakeStorageOfAnyAlignment) {
    int const format = GetParam();
    std::mt19937_64 random(25);
    AudioBlock block(format, 1, 101);
    FillSamples(block, random);
    AudioBlock dest(format, 1, 101);
    for (std::size_t shift = 1; shift < 16; ++shift) {
        std::vector<u8> storage(shift + block.bytes.size());
        std::copy(block.bytes.begin(), block.bytes.end(), storage.begin() + static_cast<std::ptrdiff_t>(shift));
        AudioBlockView moved = block.view;
        moved.data = storage.data() + shift;
        EXPECT_TRUE(VolumizesAsTheFormulasDo(dest, moved, 0.8)) << shift;
        EXPECT_TRUE(ClipsAsTheFormulasDo(dest, moved)) << shift;
    }
}

TEST_P(VolumeFormats, TakeTheFirstValuesOfALongerSource) {
    int const format = GetParam();
    std::mt19937_64 random(26);
    AudioBlock longer(format, 1, 50);
    FillSamples(longer, random);
    AudioBlock dest(format, 1, 33);
    EXPECT_TRUE(VolumizesAsTheFormulasDo(dest, longer.view, 0.8));
    EXPECT_TRUE(ClipsAsTheFormulasDo(dest, longer.view));
}

TEST_P(VolumeFormats, TakeBlocksWithoutSamples) {
    int const format = GetParam();
    AudioBlock const source(format, 2, 0);
    AudioBlock dest(format, 2, 0);
    EXPECT_NO_THROW(VolumizeAudio(dest.view, source.view, 1));
    EXPECT_NO_THROW(ClipAudio(dest.view, source.view));
}

TEST_P(VolumeFormats, AreSilentAtVolumeZero) {
    int const format = GetParam();
    std::mt19937_64 random(27);
    AudioBlock source(format % 5 < 3 ? format : 1, 2, 300);
    FillSamples(source, random);
    AudioBlock dest(source.view.info.GetSampleFormat(), 2, 300);
    VolumizeAudio(dest.view, source.view, 0);
    u8 const silent = source.view.info.GetSampleFormat() % 5 == 0 ? 128 : 0;
    EXPECT_EQ(dest.bytes, std::vector<u8>(dest.bytes.size(), silent));
}

INSTANTIATE_TEST_SUITE_P(All, VolumeFormats, testing::Range(0, 10));

TEST(VolumizeAudio, PassesEveryIntegerUnchangedAtVolumeOne) {
    std::vector<u8> bytes(256);
    std::iota(bytes.begin(), bytes.end(), u8{0});
    EXPECT_EQ(Volumized<u8>(5, bytes, 1), bytes);
    std::vector<Short> shorts(65536);
    std::iota(shorts.begin(), shorts.end(), Short{-32768});
    EXPECT_EQ(Volumized<Short>(6, shorts, 1), shorts);
    std::vector<i32> ints{LOWEST, LOWEST + 1, -1, 0, 1, HIGHEST - 1, HIGHEST};
    std::mt19937 random(28);
    for (int i = 0; i < 100000; ++i) ints.push_back(static_cast<i32>(random()));
    EXPECT_EQ(Volumized<i32>(7, ints, 1), ints);
}

TEST(VolumizeAudio, PassesFloatsWithinFullScaleUnchangedAtVolumeOne) {
    std::vector<float> const floats{-1.0F, -0.3F, -0.0F, 0.0F, 1e-40F, 0.7F, 1.0F};
    auto const passed = Volumized<float>(8, floats, 1);
    EXPECT_EQ(passed, floats);
    EXPECT_TRUE(std::signbit(passed[2])) << "a zero keeps its sign";
    std::vector<double> const doubles{-1.0, -0.3, 0.0, 1e-310, 0.7, 1.0};
    EXPECT_EQ(Volumized<double>(9, doubles, 1), doubles);
}

TEST(VolumizeAudio, VolumeZeroSilencesFloats) {
    EXPECT_EQ(Volumized<float>(3, {0.5F, -0.5F}, 0), (std::vector<float>{0, 0}));
    EXPECT_EQ(Volumized<double>(4, {0.5, -0.5}, 0), (std::vector<double>{0, 0}));
}

TEST(VolumizeAudio, TakesEveryValueOf8BitsWithEveryGain) {
    std::vector<u8> values(256);
    std::iota(values.begin(), values.end(), u8{0});
    AudioBlock const source(5, 1, values);
    AudioBlock dest(5, 1, 256);
    for (double gain : Gains()) EXPECT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, gain)) << gain;
    for (int step = -33000; step < 33000; step += 7)
        ASSERT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, step / 256.0)) << step;
}

TEST(VolumizeAudio, TakesEveryValueOf16BitsWithEveryGain) {
    std::vector<Short> values(65536);
    std::iota(values.begin(), values.end(), Short{-32768});
    AudioBlock const source(6, 1, values);
    AudioBlock dest(6, 1, 65536);
    for (double gain : Gains()) EXPECT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, gain)) << gain;
}

TEST(VolumizeAudio, TakesEveryStepOf256WithTheEdgesOf16Bits) {
    AudioBlock const source(6, 1,
                            std::vector<Short>{-32768, -32767, -16384, -257, -256, -255, -129, -128,  -127,  -1,   0,
                                               1,      127,    128,    129,  255,  256,  257,  16384, 32766, 32767});
    AudioBlock dest(6, 1, 21);
    for (int step = -33000; step < 33000; ++step)
        ASSERT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, step / 256.0)) << step;
}

TEST(VolumizeAudio, TakesTheEdgesOf32BitsWithGainsOfEverySize) {
    AudioBlock const source(
        7, 1, std::vector<i32>{LOWEST, LOWEST + 1, -65537, -65536, -1, 0, 1, 65535, 65536, HIGHEST - 1, HIGHEST});
    AudioBlock dest(7, 1, 11);
    for (int power = 0; power < 70; ++power)
        for (double offset : {-1.0, -0.5, 0.0, 0.5, 1.0})
            for (double sign : {-1.0, 1.0}) {
                double const gain = sign * (std::ldexp(1.0, power) + offset) / 256;
                ASSERT_TRUE(VolumizesAsTheFormulasDo(dest, source.view, gain)) << gain;
            }
}

TEST(VolumizeAudio, SaturatesAtFullScale) {
    EXPECT_EQ(Volumized<u8>(0, {0, 64, 192, 255}, 2), (std::vector<u8>{0, 0, 255, 255}));
    EXPECT_EQ(Volumized<Short>(1, {-32768, 20000}, 2), (std::vector<Short>{-32768, 32767}));
    EXPECT_EQ(Volumized<i32>(2, {LOWEST, 2000000000}, 2), (std::vector<i32>{LOWEST, HIGHEST}));
    EXPECT_EQ(Volumized<float>(3, {-0.75F, 0.75F}, 2), (std::vector<float>{-1, 1}));
    EXPECT_EQ(Volumized<double>(4, {-0.75, 0.75}, 2), (std::vector<double>{-1, 1}));
}

TEST(VolumizeAudio, AGainOf128WrapsIn8BitsAndInverts) {
    EXPECT_EQ(Volumized<u8>(5, {127, 128, 129}, 128), (std::vector<u8>{255, 128, 0}));
    EXPECT_EQ(Volumized<u8>(5, {127, 128, 129}, 127.996), (std::vector<u8>{0, 128, 255}));
}

TEST(VolumizeAudio, ANaNIsFullScaleInFloatsAndSilenceInIntegers) {
    EXPECT_EQ(Volumized<float>(8, {0.1F, -0.1F}, NOT_A_NUMBER), (std::vector<float>{1, 1}));
    EXPECT_EQ(Volumized<double>(9, {NOT_A_NUMBER}, 1), (std::vector<double>{1}));
    EXPECT_EQ(Volumized<double>(9, {0.0}, INF), (std::vector<double>{1}));
    EXPECT_EQ(Volumized<u8>(5, {255}, NOT_A_NUMBER), (std::vector<u8>{128}));
    EXPECT_EQ(Volumized<Short>(6, {-5}, NOT_A_NUMBER), (std::vector<Short>{0}));
    EXPECT_EQ(Volumized<i32>(7, {5}, NOT_A_NUMBER), (std::vector<i32>{0}));
}

TEST(ClipAudio, FloatsBeyondFullScaleLeaveAsFullScale) {
    EXPECT_EQ(Clipped<float>(3, {1.5F, -1.5F, 0.5F}), (std::vector<float>{1, -1, 0.5F}));
    EXPECT_EQ(Clipped<double>(9, {1.5, -1.5, 0.5}), (std::vector<double>{1, -1, 0.5}));
    EXPECT_EQ(Clipped<double>(9, {INF, -INF}), (std::vector<double>{1, -1}));
}

TEST(ClipAudio, ANaNLeavesAsOne) {
    EXPECT_EQ(Clipped<float>(8, {static_cast<float>(NOT_A_NUMBER)}), (std::vector<float>{1}));
    EXPECT_EQ(Clipped<double>(4, {NOT_A_NUMBER, -NOT_A_NUMBER}), (std::vector<double>{1, 1}));
}

TEST(ClipAudio, CopiesEveryInteger) {
    std::vector<u8> bytes(256);
    std::iota(bytes.begin(), bytes.end(), u8{0});
    EXPECT_EQ(Clipped<u8>(0, bytes), bytes);
    std::vector<Short> shorts(65536);
    std::iota(shorts.begin(), shorts.end(), Short{-32768});
    EXPECT_EQ(Clipped<Short>(1, shorts), shorts);
    EXPECT_EQ(Clipped<i32>(2, {LOWEST, -1, 0, HIGHEST}), (std::vector<i32>{LOWEST, -1, 0, HIGHEST}));
}

TEST(ClipAudio, KeepsTheSignOfZero) {
    EXPECT_TRUE(std::signbit(Clipped<float>(8, {-0.0F})[0]));
    EXPECT_TRUE(std::signbit(Clipped<double>(9, {-0.0})[0]));
}

}  // namespace
}  // namespace Tarsel::Proc
