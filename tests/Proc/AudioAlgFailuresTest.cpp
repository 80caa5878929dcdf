#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Core/Exception.h"
#include "tests/support/AudioBlocks.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Proc {
namespace {

using TestSupport::AudioBlock;
using TestSupport::MessageOf;
using TestSupport::SourceOf;
using Short = std::int16_t;

std::string MixFailure(AudioBlockView dest, std::vector<MixSource> sources) {
    return MessageOf<ProcException>([&] { MixAudio(dest, sources); });
}
std::string VolumizeFailure(AudioBlockView dest, AudioBlockView const& source) {
    return MessageOf<ProcException>([&] { VolumizeAudio(dest, source, 1); });
}
std::string ClipFailure(AudioBlockView dest, AudioBlockView const& source) {
    return MessageOf<ProcException>([&] { ClipAudio(dest, source); });
}
std::string LevelFailure(AudioBlockView const& block) {
    return MessageOf<ProcException>([&] { EstimateLevel(block); });
}
std::string SamplesFailure(AudioBlockView const& block, uint32 index) {
    std::vector<double> out;
    return MessageOf<ProcException>([&] { GetAudioSamples(block, index, out); });
}

class UnknownFormats : public testing::TestWithParam<int> {};

TEST_P(UnknownFormats, AreRefusedByEachFunctionWithItsOwnText) {
    AudioBlock block(6, 2, 10);
    block.view.info = {static_cast<Conf::SampleFormats>(GetParam()), 48000, Conf::DefaultChannelLayout(2)};
    EXPECT_EQ(MixFailure(block.view, {SourceOf(block, 1)}), "MixAudio doesn't support this sample format");
    EXPECT_EQ(VolumizeFailure(block.view, block.view), "VolumizeAudio doesn't support this sample format");
    EXPECT_EQ(ClipFailure(block.view, block.view), "ClipAudio doesn't support this sample format");
    EXPECT_EQ(LevelFailure(block.view), "EstimateLevel doesn't support this sample format");
    EXPECT_EQ(SamplesFailure(block.view, 0), "GetAudioSamples doesn't support this sample format");
}

TEST_P(UnknownFormats, AreRefusedBeforeAnythingElse) {
    AudioBlockView nothing;
    nothing.info = {static_cast<Conf::SampleFormats>(GetParam()), 0, 0};
    AudioBlock known(6, 2, 10);
    MixSource unknown;
    unknown.info = nothing.info;
    EXPECT_EQ(MixFailure(known.view, {unknown, SourceOf(known, 1)}), "MixAudio doesn't support this sample format");
    EXPECT_EQ(VolumizeFailure(known.view, nothing), "VolumizeAudio doesn't support this sample format");
    EXPECT_EQ(ClipFailure(known.view, nothing), "ClipAudio doesn't support this sample format");
    EXPECT_EQ(LevelFailure(nothing), "EstimateLevel doesn't support this sample format");
    EXPECT_EQ(SamplesFailure(nothing, 5), "GetAudioSamples doesn't support this sample format");
}

TEST_P(UnknownFormats, OfTheResultAreAnothersThanTheSources) {
    AudioBlock known(6, 2, 10);
    AudioBlock odd(6, 2, 10);
    odd.view.info = {static_cast<Conf::SampleFormats>(GetParam()), 48000, Conf::DefaultChannelLayout(2)};
    EXPECT_NE(MixFailure(odd.view, {SourceOf(known, 1)}).find("MixAudio: the result has the planar format "),
              std::string::npos);
    EXPECT_NE(MixFailure(known.view, {SourceOf(known, 1), SourceOf(odd, 1)})
                  .find("MixAudio: source 1 has the planar format "),
              std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(All, UnknownFormats, testing::Values(-1, 10, 11, 12, 1000, -2));

TEST(AudioAlgFailures, ASourceThatIsTooShortIsNamedWithItsLength) {
    AudioBlock enough(6, 2, 10);
    AudioBlock lacking(6, 2, 9);
    EXPECT_EQ(MixFailure(enough.view, {SourceOf(enough, 1), SourceOf(enough, 1), SourceOf(lacking, 1)}),
              "MixAudio: source 2 holds 18 values, fewer than the 20 of the result");
    EXPECT_EQ(MixFailure(enough.view, {SourceOf(lacking, 1)}),
              "MixAudio: source 0 holds 18 values, fewer than the 20 of the result");
    EXPECT_EQ(VolumizeFailure(enough.view, lacking.view),
              "VolumizeAudio: source 0 holds 18 values, fewer than the 20 of the result");
    EXPECT_EQ(ClipFailure(enough.view, lacking.view),
              "ClipAudio: source 0 holds 18 values, fewer than the 20 of the result");
}

TEST(AudioAlgFailures, ARefusedMixLeavesTheResultAlone) {
    AudioBlock dest(6, 1, std::vector<Short>{1, 2, 3});
    AudioBlock lacking(6, 1, 2);
    EXPECT_NE(MixFailure(dest.view, {SourceOf(dest, 4), SourceOf(lacking, 1)}), "(nothing was thrown)");
    EXPECT_EQ(dest.Values<Short>(), (std::vector<Short>{1, 2, 3}));
}

TEST(AudioAlgFailures, TheChannelsOfASourceCountAndNotItsSamples) {
    AudioBlock stereo(6, 2, 10);
    AudioBlock mono(6, 1, 10);
    EXPECT_EQ(MixFailure(stereo.view, {SourceOf(mono, 1)}),
              "MixAudio: source 0 holds 10 values, fewer than the 20 of the result");
    EXPECT_EQ(MixFailure(mono.view, {SourceOf(stereo, 1)}), "(nothing was thrown)");
}

TEST(AudioAlgFailures, OtherFormatsThanTheFirstSourcesAreNamed) {
    AudioBlock shorts(6, 2, 10);
    AudioBlock floats(3, 2, 10);
    EXPECT_EQ(MixFailure(shorts.view, {SourceOf(shorts, 1), SourceOf(floats, 1)}),
              "MixAudio: source 1 has the planar format 8, not 6 as the first source");
    EXPECT_EQ(MixFailure(floats.view, {SourceOf(shorts, 1)}),
              "MixAudio: the result has the planar format 8, not 6 as the first source");
    EXPECT_EQ(VolumizeFailure(floats.view, shorts.view),
              "VolumizeAudio: the result has the planar format 8, not 6 as the first source");
    EXPECT_EQ(ClipFailure(shorts.view, floats.view),
              "ClipAudio: the result has the planar format 6, not 8 as the first source");
}

TEST(AudioAlgFailures, ViewsWithoutStorageAreRefused) {
    AudioBlock block(6, 2, 10);
    AudioBlockView bare = block.view;
    bare.data = nullptr;
    MixSource bareSource = SourceOf(block, 1);
    bareSource.data = nullptr;
    EXPECT_EQ(MixFailure(bare, {SourceOf(block, 1)}), "MixAudio: the result has no storage");
    EXPECT_EQ(MixFailure(block.view, {SourceOf(block, 1), bareSource}), "MixAudio: source 1 has no storage");
    EXPECT_EQ(VolumizeFailure(bare, block.view), "VolumizeAudio: the result has no storage");
    EXPECT_EQ(ClipFailure(block.view, bare), "ClipAudio: source 0 has no storage");
    EXPECT_EQ(LevelFailure(bare), "EstimateLevel: the block has no storage");
    EXPECT_EQ(SamplesFailure(bare, 0), "GetAudioSamples: the block has no storage");
}

TEST(AudioAlgFailures, PlanesShorterThanTheSamplesTheyClaimAreRefused) {
    AudioBlock planar(6, 2, 10);
    planar.view.planeBytes = 19;
    EXPECT_EQ(LevelFailure(planar.view), "EstimateLevel: a plane has 19 bytes of the 20 wanted");
    EXPECT_EQ(SamplesFailure(planar.view, 9), "GetAudioSamples: a plane has 19 bytes of the 20 wanted");
    EXPECT_EQ(SamplesFailure(planar.view, 8), "(nothing was thrown)");
    AudioBlock interleaved(3, 2, 10);
    interleaved.view.planeBytes = 79;
    EXPECT_EQ(LevelFailure(interleaved.view), "(nothing was thrown)") << "its front half is there";
    EXPECT_EQ(SamplesFailure(interleaved.view, 9), "GetAudioSamples: a plane has 79 bytes of the 80 wanted");
    interleaved.view.planeBytes = 39;
    EXPECT_EQ(LevelFailure(interleaved.view), "EstimateLevel: a plane has 39 bytes of the 40 wanted");
}

TEST(AudioAlgFailures, LengthsThatOverflowA32BitWordAreRefused) {
    AudioBlock block(9, 2, 10);
    block.view.samples = std::numeric_limits<i32>::max();
    EXPECT_EQ(LevelFailure(block.view), "EstimateLevel: a plane has 80 bytes of the 17179869176 wanted");
    EXPECT_EQ(SamplesFailure(block.view, 2147483646U),
              "GetAudioSamples: a plane has 80 bytes of the 17179869176 wanted");
    EXPECT_EQ(SamplesFailure(block.view, 4294967295U),
              "GetAudioSamples: there is no sample 4294967295 in a block of 2147483647");
    MixSource const source = SourceOf(block, 1);
    block.view.planeBytes = 4294967288U;
    EXPECT_EQ(MixFailure(block.view, {source}),
              "MixAudio: source 0 holds 20 values, fewer than the 1073741822 of the result");
}

TEST(AudioAlgFailures, WithoutChannelsAPlanarBlockHoldsNoValues) {
    AudioBlock block(6, 2, std::vector<Short>{1, 2, 3, 4});
    AudioBlockView none = block.view;
    none.info = {Conf::SAMPLE_FORMAT_S16P, 48000, 0};
    VolumizeAudio(none, block.view, 0);
    EXPECT_EQ(block.Values<Short>(), (std::vector<Short>{1, 2, 3, 4}));
    EXPECT_EQ(VolumizeFailure(block.view, none),
              "VolumizeAudio: source 0 holds 0 values, fewer than the 4 of the result");
}

TEST(AudioAlgFailures, ThePartOfAValueAtTheEndIsLeftAlone) {
    AudioBlock block(1, 1, std::vector<Short>{100, 200, 300});
    block.view.planeBytes = 5;
    VolumizeAudio(block.view, block.view, 2);
    EXPECT_EQ(block.Values<Short>(), (std::vector<Short>{200, 400, 300}));
}

}  // namespace
}  // namespace Tarsel::Proc
