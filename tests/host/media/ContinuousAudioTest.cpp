#include "host/media/ContinuousAudio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int BLOCK = 4800;  // samples of 100 ms

/// A block whose samples count up from `first`, in both channels.
iptr<IDataAudio> Counting(int64 time, int samples, int first, int rate = 48000) {
    auto const block = MakeAudio(time, samples, rate);
    auto* const values = SamplesOf<int16_t>(*block);
    for (int i = 0; i < 2 * samples; ++i) values[i] = static_cast<int16_t>(first + i / 2);
    return block;
}

struct Chain {
    iptr<ScriptedAudio> source;
    iptr<ContinuousAudio> sound;

    explicit Chain(std::vector<ScriptedAudio::Step> const& steps) : source(ScriptedAudio::Create(steps)) {
        source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO});
        sound = ContinuousAudio::Create(source);
    }
};

TEST(ContinuousAudio, WithoutASourceIsRefused) {
    EXPECT_THROW(ContinuousAudio::Create(nullptr), std::invalid_argument);
}

TEST(ContinuousAudio, BlocksThatTouchPassAsTheSameObjects) {
    Chain chain({MakeAudio(0, BLOCK), MakeAudio(100000, BLOCK)});
    auto const blocks = ReadAll(*chain.sound);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK)));
    EXPECT_THAT(chain.source->delivered, ElementsAre(blocks[0].get(), blocks[1].get()));
    EXPECT_EQ(0, chain.sound->GetFilled());
    EXPECT_EQ(0, chain.sound->GetCut());
}

TEST(ContinuousAudio, ALaterFirstBlockKeepsItsPlace) {
    Chain chain({MakeAudio(5000000, BLOCK)});
    EXPECT_THAT(ReadAll(*chain.sound), ElementsAre(IsAudio(5000000, BLOCK)));
}

TEST(ContinuousAudio, AnEarlierFirstBlockKeepsItsPlaceToo) {
    Chain chain({MakeAudio(-20000, BLOCK), MakeAudio(80000, BLOCK)});
    EXPECT_THAT(ReadAll(*chain.sound), ElementsAre(IsAudio(-20000, BLOCK), IsAudio(80000, BLOCK)));
}

// A count that begins at the seek.

/// A chain whose count begins where it is sought to.
iptr<ContinuousAudio> Anchored(std::vector<ScriptedAudio::Step> const& steps) {
    auto const source = ScriptedAudio::Create(steps);
    source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO});
    return ContinuousAudio::Create(source, ContinuousAudio::Start::AtSeek);
}

TEST(ContinuousAudio, ACountFromTheSeekPutsSilenceInFrontOfALaterFirstBlock) {
    auto const sound = Anchored({Counting(50000, BLOCK, 1)});
    Seek(*sound, 0);
    auto const blocks = ReadAll(*sound);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, 2400), IsAudio(50000, BLOCK)));
    EXPECT_EQ(0, SamplesOf<int16_t>(*blocks[0])[4799]);
    EXPECT_EQ(1, *SamplesOf<int16_t>(*blocks[1]));
}

TEST(ContinuousAudio, ACountFromTheSeekIsExactToTheSample) {
    // 1 ms off is far below what passes for the rounding of a container.
    auto const later = Anchored({MakeAudio(1000, BLOCK)});
    Seek(*later, 0);
    EXPECT_THAT(ReadAll(*later), ElementsAre(IsAudio(0, 48), IsAudio(1000, BLOCK)));
    auto const earlier = Anchored({Counting(0, BLOCK, 0), Counting(100000, BLOCK, BLOCK)});
    Seek(*earlier, 1000);
    auto const blocks = ReadAll(*earlier);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(1000, BLOCK - 48), IsAudio(100000, BLOCK)));
    EXPECT_EQ(48, *SamplesOf<int16_t>(*blocks[0]));
    auto const fitting = Anchored({MakeAudio(20, BLOCK)});
    Seek(*fitting, 0);
    EXPECT_THAT(ReadAll(*fitting), ElementsAre(IsAudio(0, BLOCK)));
}

TEST(ContinuousAudio, ACountFromTheSeekDropsBlocksThatLieWhollyAheadOfIt) {
    auto const sound = Anchored({MakeAudio(-100000, BLOCK), MakeAudio(0, BLOCK)});
    EXPECT_THAT(ReadAll(*sound), ElementsAre(IsAudio(0, BLOCK)));
    EXPECT_EQ(100000, sound->GetCut());
}

TEST(ContinuousAudio, ACountFromASeekPastTheEndGivesNothing) {
    auto const sound = Anchored({MakeAudio(0, BLOCK)});
    Seek(*sound, 5000000);
    EXPECT_THAT(ReadAll(*sound), IsEmpty());
    // Ahead of 0 there is nothing to wait for.
    Seek(*sound, -50000);
    EXPECT_THAT(ReadAll(*sound), ElementsAre(IsAudio(0, BLOCK)));
}

TEST(ContinuousAudio, ACountFromTheSeekBeginsAtZeroWithoutOne) {
    EXPECT_THAT(ReadAll(*Anchored({MakeAudio(50000, BLOCK)})), ElementsAre(IsAudio(0, 2400), IsAudio(50000, BLOCK)));
}

TEST(ContinuousAudio, RoundedTimesOfAContainerDontMoveTheCount) {
    Chain chain({MakeAudio(0, BLOCK), MakeAudio(103000, BLOCK), MakeAudio(191000, BLOCK)});
    EXPECT_THAT(ReadAll(*chain.sound), ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK), IsAudio(200000, BLOCK)));
    EXPECT_EQ(0, chain.sound->GetFilled());
}

TEST(ContinuousAudio, TenMillisecondsAreARoundingAndOneMoreIsAGap) {
    Chain near({MakeAudio(0, BLOCK), MakeAudio(110000, BLOCK)});
    EXPECT_THAT(ReadAll(*near.sound), ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK)));
    Chain far({MakeAudio(0, BLOCK), MakeAudio(111000, BLOCK)});
    EXPECT_THAT(ReadAll(*far.sound), ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, 528), IsAudio(111000, BLOCK)));
    EXPECT_EQ(11000, far.sound->GetFilled());
}

TEST(ContinuousAudio, AGapIsFilledWithSilenceInBlocks) {
    Chain chain({Counting(0, BLOCK, 1), Counting(350000, BLOCK, 1)});
    auto const blocks = ReadAll(*chain.sound);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK), IsAudio(200000, BLOCK),
                                    IsAudio(300000, 2400), IsAudio(350000, BLOCK)));
    auto const* const silent = SamplesOf<int16_t>(*blocks[1]);
    EXPECT_EQ(0, std::accumulate(silent, silent + 2 * BLOCK, 0));
    EXPECT_EQ(1, *SamplesOf<int16_t>(*blocks[4]));
}

TEST(ContinuousAudio, AnOverlapIsCutAtTheFrontOfTheLaterBlock) {
    Chain chain({Counting(0, BLOCK, 0), Counting(50000, BLOCK, 0)});
    auto const blocks = ReadAll(*chain.sound);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, 2400)));
    EXPECT_EQ(2400, *SamplesOf<int16_t>(*blocks[1]));
    EXPECT_EQ(50000, chain.sound->GetCut());
}

TEST(ContinuousAudio, ABlockThatLiesWhollyBehindIsDropped) {
    Chain chain({MakeAudio(0, BLOCK), MakeAudio(0, BLOCK), MakeAudio(100000, BLOCK)});
    EXPECT_THAT(ReadAll(*chain.sound), ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK)));
    EXPECT_EQ(100000, chain.sound->GetCut());
}

TEST(ContinuousAudio, ABlockWithoutATimeFollows) {
    Chain chain({MakeAudio(0, BLOCK), MakeAudio(NO_VALUE, BLOCK)});
    EXPECT_THAT(ReadAll(*chain.sound), ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK)));
}

TEST(ContinuousAudio, AnEmptySourceGivesNull) {
    Chain chain({});
    EXPECT_THAT(ReadAll(*chain.sound), IsEmpty());
    EXPECT_EQ(nullptr, chain.sound->Read());
}

TEST(ContinuousAudio, AnotherRateIsConvertedAndStaysInStep) {
    std::vector<ScriptedAudio::Step> steps;
    for (int second = 0; second < 20; ++second) {
        int const rate = second % 2 == 0 ? 48000 : 44100;
        steps.emplace_back(MakeAudio(second * SECOND, rate, rate));
    }
    Chain chain(steps);
    int64 samples = 0;
    for (auto const& block : ReadAll(*chain.sound)) {
        EXPECT_EQ(48000, block->GetSampleRate());
        EXPECT_EQ(SampleCount2Duration(samples, 48000), block->GetTime());
        samples += block->GetSampleCount();
    }
    // Ten changes back lose nothing; a millisecond is left for the filter's ends.
    EXPECT_NEAR(20.0 * 48000, double(samples), 48);
}

TEST(ContinuousAudio, AnotherLayoutAndFormatAreConverted) {
    Chain chain(
        {MakeAudio(0, BLOCK), MakeAudio(100000, BLOCK, 48000, Conf::SAMPLE_FORMAT_FLTP, Conf::CHANNEL_LAYOUT_MONO)});
    auto const blocks = ReadAll(*chain.sound);
    ASSERT_THAT(blocks, ElementsAre(IsAudio(0, BLOCK), IsAudio(100000, BLOCK)));
    EXPECT_EQ(blocks[0]->GetSampleInfo(), blocks[1]->GetSampleInfo());
}

TEST(ContinuousAudio, ASeekStartsTheCountAnew) {
    Chain chain({MakeAudio(0, BLOCK), MakeAudio(100000, BLOCK), MakeAudio(200000, BLOCK)});
    ReadAll(*chain.sound);
    Seek(*chain.sound, 100000);
    EXPECT_THAT(ReadAll(*chain.sound), ElementsAre(IsAudio(100000, BLOCK), IsAudio(200000, BLOCK)));
    EXPECT_EQ(0, chain.sound->GetFilled());
}

}  // namespace
}  // namespace Tarsel::Host
