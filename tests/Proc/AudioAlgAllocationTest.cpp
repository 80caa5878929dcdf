#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/AudioBlocks.h"

namespace Tarsel::Proc {
namespace {

using TestSupport::AudioBlock;
using TestSupport::GetAllocations;

class AllocatingFormats : public testing::TestWithParam<int> {};

TEST_P(AllocatingFormats, AreNone) {
    int const format = GetParam();
    std::mt19937_64 random(41);
    std::deque<AudioBlock> blocks;
    for (int i = 0; i < 9; ++i) TestSupport::FillSamples(blocks.emplace_back(format, 2, 9001), random);
    AudioBlock dest(format, 2, 9001);
    std::vector<MixSource> one{SourceOf(blocks[0], 0.5)};
    std::vector<MixSource> two{SourceOf(blocks[0], 0.5), SourceOf(blocks[1], 0.3)};
    std::vector<MixSource> many;
    for (AudioBlock& block : blocks) many.push_back(SourceOf(block, 0.1));
    std::vector<double> out;
    out.reserve(2);
    auto const before = GetAllocations().count;
    MixAudio(dest.view, one);
    MixAudio(dest.view, two);
    MixAudio(dest.view, many);
    VolumizeAudio(dest.view, blocks[0].view, 1.5);
    ClipAudio(dest.view, blocks[0].view);
    auto const level = EstimateLevel(dest.view);
    GetAudioSamples(dest.view, 17, out);
    EXPECT_EQ(GetAllocations().count, before);
    EXPECT_GT(level.second, 0);
}

INSTANTIATE_TEST_SUITE_P(All, AllocatingFormats, testing::Range(0, 10));

TEST(SampleAllocations, WouldBeCounted) {
    auto const before = GetAllocations().count;
    std::vector<double> out;
    AudioBlock const block(1, 2, 10);
    GetAudioSamples(block.view, 1, out);
    EXPECT_GT(GetAllocations().count, before);
}

}  // namespace
}  // namespace Tarsel::Proc
