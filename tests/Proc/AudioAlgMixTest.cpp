#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <numeric>
#include <random>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Proc/DataAudioFF.h"
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
using TestSupport::SameSamples;
using TestSupport::SampleSize;
using TestSupport::SourceOf;
namespace Reference = TestSupport::AudioReference;
using Short = std::int16_t;

constexpr i32 LOWEST = std::numeric_limits<i32>::min();
constexpr i32 HIGHEST = std::numeric_limits<i32>::max();

/// One value of each block, mixed.
template <class Sample>
Sample MixOne(int format, std::vector<Sample> const& samples, std::vector<double> const& gains) {
    std::deque<AudioBlock> blocks;
    std::vector<MixSource> sources;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        blocks.emplace_back(format, 1, std::vector<Sample>{samples[i]});
        sources.push_back(SourceOf(blocks.back(), gains[i]));
    }
    AudioBlock dest(format, 1, 1);
    MixAudio(dest.view, sources);
    return dest.Values<Sample>()[0];
}

/// Mixes the blocks and the same blocks by the formulas.
testing::AssertionResult MixesAsTheFormulasDo(AudioBlock& dest, std::vector<MixSource>& sources) {
    int const format = dest.view.info.GetSampleFormat();
    std::vector<Reference::Source> plain;
    for (MixSource const& source : sources) plain.push_back({source.data, source.gain});
    auto const wanted = Reference::Mix(PlanarCode(format), plain, dest.Count());
    return TestSupport::GivesOnEach(
        dest, wanted, [&](auto instructions) { AudioArithmetic::MixAudioWith(instructions, dest.view, sources); });
}

class MixAudioFormats : public testing::TestWithParam<int> {};

TEST_P(MixAudioFormats, MixesAsTheFormulasDoWithEveryGainLengthAndNumberOfSources) {
    int const format = GetParam();
    std::mt19937_64 random(7);
    auto const gains = Gains();
    std::size_t const each = Tarsel::Test::ThinnedBy(4);
    for (int channels : {1, 2, 6})
        for (int length = 0; length <= 67; ++length) {
            std::deque<AudioBlock> blocks;
            for (int i = 0; i < 5; ++i) FillSamples(blocks.emplace_back(format, channels, length), random);
            for (std::size_t gain = 0; gain < gains.size(); gain += each) {
                std::vector<MixSource> sources;
                for (std::size_t i = 0; i < blocks.size(); ++i) {
                    sources.push_back(SourceOf(blocks[i], gains[(gain + i * 5) % gains.size()]));
                    AudioBlock dest(format, channels, length);
                    ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources))
                        << sources.size() << " sources, length " << length << ", first gain " << gains[gain];
                }
            }
        }
}

TEST_P(MixAudioFormats, MixesPairsOfEveryTwoGains) {
    int const format = GetParam();
    std::mt19937_64 random(8);
    AudioBlock first(format, 1, 203);
    AudioBlock second(format, 1, 203);
    FillSamples(first, random);
    FillSamples(second, random);
    for (double a : Gains())
        for (double b : Gains()) {
            std::vector<MixSource> sources{SourceOf(first, a), SourceOf(second, b)};
            AudioBlock dest(format, 1, 203);
            ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << a << " and " << b;
        }
}

TEST_P(MixAudioFormats, MixesLongBlocksOfManySources) {
    int const format = GetParam();
    std::mt19937_64 random(9);
    for (std::size_t count : {3U, 4U, 7U, 8U, 64U}) {
        std::deque<AudioBlock> blocks;
        std::vector<MixSource> sources;
        for (std::size_t i = 0; i < count; ++i) {
            FillSamples(blocks.emplace_back(format, 2, 5003), random);
            sources.push_back(SourceOf(blocks.back(), 0.9 - 0.11 * static_cast<double>(i % 17)));
        }
        AudioBlock dest(format, 2, 5003);
        EXPECT_TRUE(MixesAsTheFormulasDo(dest, sources)) << count << " sources";
    }
}

TEST_P(MixAudioFormats, MixesIntoOneOfTheSources) {
    int const format = GetParam();
    std::mt19937_64 random(10);
    for (std::size_t count : {1U, 2U, 3U, 5U})
        for (std::size_t own = 0; own < count; ++own) {
            std::deque<AudioBlock> blocks;
            std::vector<MixSource> sources;
            for (std::size_t i = 0; i < count; ++i) {
                FillSamples(blocks.emplace_back(format, 2, 3001), random);
                sources.push_back(SourceOf(blocks.back(), 0.7));
            }
            EXPECT_TRUE(MixesAsTheFormulasDo(blocks[own], sources)) << "source " << own << " of " << count;
        }
}

TEST_P(MixAudioFormats, MixesStorageOfAnyAlignment) {
    int const format = GetParam();
    std::mt19937_64 random(11);
    AudioBlock block(format, 1, 101);
    FillSamples(block, random);
    for (std::size_t shift = 1; shift < 16; ++shift) {
        std::vector<u8> storage(shift + block.bytes.size());
        std::copy(block.bytes.begin(), block.bytes.end(), storage.begin() + static_cast<std::ptrdiff_t>(shift));
        MixSource moved = SourceOf(block, 0.8);
        moved.data = storage.data() + shift;
        std::vector<MixSource> sources{moved, moved, moved};
        AudioBlock dest(format, 1, 101);
        EXPECT_TRUE(MixesAsTheFormulasDo(dest, sources)) << shift;
    }
}

TEST_P(MixAudioFormats, ReadsNoMoreOfALongerSource) {
    int const format = GetParam();
    std::mt19937_64 random(12);
    AudioBlock longer(format, 1, 50);
    AudioBlock other(format, 1, 33);
    FillSamples(longer, random);
    FillSamples(other, random);
    AudioBlock dest(format, 1, 33);
    std::vector<MixSource> sources{SourceOf(longer, 1), SourceOf(other, 0.5)};
    EXPECT_TRUE(MixesAsTheFormulasDo(dest, sources));
}

TEST_P(MixAudioFormats, PassesALoneSourceOfGainOneUnchanged) {
    int const format = GetParam();
    std::mt19937_64 random(13);
    AudioBlock block(format, 2, 1000);
    FillSamples(block, random);
    // Only what lies beyond full scale changes, and a zero loses its sign in a sum.
    auto wanted = Reference::Clip(PlanarCode(format), block.bytes.data(), block.Count());
    if (format % 5 >= 3) {
        AudioBlock zeros(format, 2, 1000);
        std::size_t const size = SampleSize(format);
        for (std::size_t i = 0; i < zeros.Count(); ++i)
            if (format % 5 == 3 ? Reference::At<float>(wanted.data(), i) == 0
                                : Reference::At<double>(wanted.data(), i) == 0)
                std::memset(wanted.data() + i * size, 0, size);
    }
    AudioBlock dest(format, 2, 1000);
    std::vector<MixSource> sources{SourceOf(block, 1)};
    MixAudio(dest.view, sources);
    EXPECT_TRUE(SameSamples(dest.bytes, wanted, SampleSize(format)));
}

TEST_P(MixAudioFormats, MixesAnInterleavedBlockWithItsPlanarSister) {
    int const format = GetParam();
    int const sister = (format + 5) % 10;
    std::mt19937_64 random(14);
    AudioBlock own(format, 6, 40);
    AudioBlock other(sister, 6, 40);
    FillSamples(own, random);
    FillSamples(other, random);
    AudioBlock dest(sister, 6, 40);
    std::vector<MixSource> sources{SourceOf(own, 0.4), SourceOf(other, 0.6)};
    EXPECT_TRUE(MixesAsTheFormulasDo(dest, sources));
}

TEST_P(MixAudioFormats, MixesNothingIntoABlockWithoutSamples) {
    int const format = GetParam();
    AudioBlock dest(format, 2, 0);
    AudioBlock empty(format, 2, 0);
    dest.view.data = nullptr;
    std::vector<MixSource> sources{SourceOf(empty, 1), SourceOf(empty, 1), SourceOf(empty, 1)};
    EXPECT_NO_THROW(MixAudio(dest.view, sources));
}

INSTANTIATE_TEST_SUITE_P(All, MixAudioFormats, testing::Range(0, 10));

TEST(MixAudio, MixesEveryValueOf8BitsWithEveryGain) {
    std::vector<u8> values(256);
    std::iota(values.begin(), values.end(), u8{0});
    AudioBlock rising(5, 1, values);
    AudioBlock falling(5, 1, std::vector<u8>(values.rbegin(), values.rend()));
    AudioBlock dest(5, 1, 256);
    for (double gain : Gains()) {
        std::vector<MixSource> sources{SourceOf(rising, gain)};
        ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << gain;
        sources.push_back(SourceOf(falling, 1 - gain));
        ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << gain;
        sources.push_back(SourceOf(rising, -gain));
        ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << gain;
    }
}

TEST(MixAudio, MixesEveryValueOf16BitsWithEveryGain) {
    std::vector<Short> values(65536);
    std::iota(values.begin(), values.end(), Short{-32768});
    AudioBlock rising(6, 1, values);
    AudioBlock falling(6, 1, std::vector<Short>(values.rbegin(), values.rend()));
    AudioBlock dest(6, 1, 65536);
    auto const gains = Gains();
    std::size_t const each = Tarsel::Test::ThinnedBy(4);
    for (std::size_t i = 0; i < gains.size(); i += each) {
        double const gain = gains[i];
        std::vector<MixSource> sources{SourceOf(rising, gain)};
        ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << gain;
        sources.push_back(SourceOf(falling, 1 - gain));
        ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << gain;
        sources.push_back(SourceOf(rising, -gain));
        ASSERT_TRUE(MixesAsTheFormulasDo(dest, sources)) << gain;
    }
}

TEST(MixAudio, LeavesTheResultAloneWithoutASource) {
    AudioBlock dest(6, 1, std::vector<Short>{1, 2, 3});
    std::vector<MixSource> sources;
    MixAudio(dest.view, sources);
    EXPECT_EQ(dest.Values<Short>(), (std::vector<Short>{1, 2, 3}));
}

TEST(MixAudio, DoesNotLookAtTheResultWithoutASource) {
    AudioBlockView dest;
    std::vector<MixSource> sources;
    EXPECT_NO_THROW(MixAudio(dest, sources));
}

TEST(MixAudio, TwoFullScale16BitSourcesSaturate) {
    EXPECT_EQ(MixOne<Short>(6, {32767, 32767}, {1, 1}), 32767);
    EXPECT_EQ(MixOne<Short>(6, {-32768, -32768}, {1, 1}), -32768);
}

TEST(MixAudio, SaturatesTheSumAndNotItsParts) {
    EXPECT_EQ(MixOne<Short>(6, {32767, 32767, -32768}, {1, 1, 1}), 32766);
    EXPECT_EQ(MixOne<Short>(6, {32767, -32767}, {4, 4}), 0);
    EXPECT_EQ(MixOne<i32>(7, {HIGHEST, HIGHEST, LOWEST}, {1, 1, 1}), HIGHEST - 1);
    EXPECT_EQ(MixOne<float>(8, {1.0F, 1.0F, -1.0F}, {1, 0.5, 1}), 0.5F);
    EXPECT_EQ(MixOne<double>(9, {1.0, 1.0, -1.0}, {1, 0.5, 1}), 0.5);
}

TEST(MixAudio, TwoSilent8BitSourcesAre255) {
    EXPECT_EQ(MixOne<u8>(5, {128, 128}, {1, 1}), 255);
    EXPECT_EQ(MixOne<u8>(5, {128, 128}, {0, 0}), 255);
    EXPECT_EQ(MixOne<u8>(5, {0, 0}, {1, 1}), 0);
}

TEST(MixAudio, Reaches32BitLimitsThroughThe64BitSumWithoutAWrap) {
    EXPECT_EQ(MixOne<i32>(7, {HIGHEST, HIGHEST}, {1, 1}), HIGHEST);
    EXPECT_EQ(MixOne<i32>(7, {LOWEST, LOWEST}, {1, 1}), LOWEST);
    EXPECT_EQ(MixOne<i32>(7, std::vector<i32>(64, HIGHEST), std::vector<double>(64, 1000)), HIGHEST);
}

TEST(MixAudio, RoundsHalfUpForEachSource) {
    EXPECT_EQ(MixOne<Short>(6, {1}, {0.5}), 1);
    EXPECT_EQ(MixOne<Short>(6, {-1}, {0.5}), 0);
    EXPECT_EQ(MixOne<Short>(6, {1, 1}, {0.5, 0.5}), 2);
    EXPECT_EQ(MixOne<i32>(7, {3}, {0.5}), 2);
    EXPECT_EQ(MixOne<i32>(7, {-3}, {0.5}), -1);
}

TEST(MixAudio, NegativeGainsAreCutTowardZero) {
    EXPECT_EQ(MixOne<Short>(6, {25600}, {-1}), -25500) << "-255 of 256";
    EXPECT_EQ(MixOne<Short>(6, {25600}, {-1.0 / 512}), 0);
}

TEST(MixAudio, AGainOf128WrapsIn8BitsAndInverts) {
    EXPECT_EQ(MixOne<u8>(5, {129}, {128}), 0);
    EXPECT_EQ(MixOne<u8>(5, {127}, {128}), 255);
}

TEST(MixAudio, GainsBeyondTheFixedPointAreHeldToIt) {
    // The largest of them wraps as soon as the product is rounded.
    EXPECT_EQ(MixOne<Short>(6, {1}, {INF}), -32768);
    EXPECT_EQ(MixOne<Short>(6, {1}, {1e9}), -32768);
    EXPECT_EQ(MixOne<Short>(6, {1}, {-INF}), -32768);
    EXPECT_EQ(MixOne<Short>(6, {2}, {INF}), 0);
    EXPECT_EQ(MixOne<i32>(7, {1}, {INF}), LOWEST);
    EXPECT_EQ(MixOne<i32>(7, {1}, {1e9}), 1000000000) << "fits 64 bits";
    EXPECT_EQ(MixOne<u8>(5, {0}, {INF}), 129) << "the low 16 bits are -1";
    EXPECT_EQ(MixOne<u8>(5, {0}, {-INF}), 128) << "the low 16 bits are 0";
}

TEST(MixAudio, IntegersTimesNaNAreSilent) {
    EXPECT_EQ(MixOne<u8>(5, {255}, {NOT_A_NUMBER}), 128);
    EXPECT_EQ(MixOne<Short>(6, {32767}, {NOT_A_NUMBER}), 0);
    EXPECT_EQ(MixOne<i32>(7, {HIGHEST}, {NOT_A_NUMBER}), 0);
}

TEST(MixAudio, ANaNIsFullScale) {
    EXPECT_EQ(MixOne<float>(8, {0.1F}, {NOT_A_NUMBER}), 1.0F);
    EXPECT_EQ(MixOne<double>(9, {NOT_A_NUMBER}, {1}), 1.0);
    EXPECT_EQ(MixOne<double>(9, {INF, -INF}, {1, 1}), 1.0);
    EXPECT_EQ(MixOne<float>(8, {0.0F}, {INF}), 1.0F);
}

TEST(MixAudio, AGainOfZeroIsSilence) {
    EXPECT_EQ(MixOne<u8>(5, {17}, {0}), 128);
    EXPECT_EQ(MixOne<Short>(6, {-32768}, {0}), 0);
    EXPECT_EQ(MixOne<i32>(7, {LOWEST}, {0}), 0);
    EXPECT_EQ(MixOne<float>(8, {0.7F}, {0}), 0.0F);
    EXPECT_EQ(MixOne<double>(9, {-0.7}, {0}), 0.0);
}

TEST(MixAudio, NegativeZeroLosesItsSign) {
    EXPECT_FALSE(std::signbit(MixOne<float>(8, {-0.0F}, {1})));
    EXPECT_FALSE(std::signbit(MixOne<float>(8, {-0.0F, -0.0F}, {1, 1})));
    EXPECT_FALSE(std::signbit(MixOne<double>(9, {-0.0, -0.0}, {1, 1})));
    EXPECT_FALSE(std::signbit(MixOne<double>(9, {-0.0, -0.0, -0.0}, {1, 1, 1})));
}

TEST(MixAudio, SumsFloatsInDouble) {
    EXPECT_EQ(MixOne<float>(8, {1.0F, 1e-9F, -1.0F}, {1, 1, 1}), static_cast<float>((1.0 + 1e-9F) - 1.0));
}

TEST(MixAudio, TellsTheGainAsItWorkedWithIt) {
    for (double gain : {1.5, -1.0, 128.0, 1e9}) {
        AudioBlock block8(0, 1, 1), block16(1, 1, 1), block32(2, 1, 1), blockReal(3, 1, 1);
        std::vector<MixSource> sources;
        sources = {SourceOf(block8, gain)};
        MixAudio(block8.view, sources);
        EXPECT_EQ(sources[0].fixedGain.bits16, Reference::Fixed8(gain));
        sources = {SourceOf(block16, gain)};
        MixAudio(block16.view, sources);
        EXPECT_EQ(sources[0].fixedGain.bits32, Reference::BoundedGain(gain, 32));
        sources = {SourceOf(block32, gain)};
        MixAudio(block32.view, sources);
        EXPECT_EQ(sources[0].fixedGain.bits64, Reference::BoundedGain(gain, 64));
        sources = {SourceOf(blockReal, gain)};
        MixAudio(blockReal.view, sources);
        EXPECT_EQ(sources[0].fixedGain.real, gain);
    }
}

TEST(MixAudio, MixesBlocksOfTheLibrary) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S16P, 48000, Conf::DefaultChannelLayout(2));
    auto const first = DataAudioFF::CreateBySampleCount(info, 4410);
    auto const second = DataAudioFF::CreateBySampleCount(info, 4410);
    auto const result = DataAudioFF::CreateBySampleCount(info, 4410);
    AudioBlockView const a(first), b(second);
    for (std::size_t i = 0; i < std::size_t{4410} * 2; ++i) {
        auto const value = static_cast<Short>(i);
        std::memcpy(a.data + 2 * i, &value, 2);
        std::memcpy(b.data + 2 * i, &value, 2);
    }
    AudioBlockView dest(result);
    std::vector<MixSource> sources{MixSource(first, 1), MixSource(second, 1)};
    MixAudio(dest, sources);
    for (std::size_t i = 0; i < std::size_t{4410} * 2; ++i)
        ASSERT_EQ(Reference::At<Short>(dest.data, i), static_cast<Short>(2 * i)) << i;
}

}  // namespace
}  // namespace Tarsel::Proc
