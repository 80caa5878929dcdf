#include "Proc/Filters/Filters/FilterVolumeDetect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/FilterRegistry.h"
#include "tests/support/Builders.h"
#include "tests/support/EmptyBlocksStream.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Sound.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr int64 MARK = 600000000;

/// A block of one double sample.
iptr<IDataAudio> Peaking(double peak, int64 time = 0) {
    return MakeMono(time, 1000000, {peak});
}

iptr<IFilterVolumeDetect> Detected(iptr<IStreamAudio> const& source) {
    auto detector = FilterVolumeDetect::Create();
    detector->Detect(source);
    return detector;
}

int64 CountOf(IFilterVolumeDetect& detector) {
    return detector.GetStatistic()["Count"].GetInt64();
}

/// An endless source of blocks that a function makes; reading more of them than expected fails.
iptr<IStreamAudio> Endless(int64 limit, std::function<iptr<IDataAudio>(int64)> make) {
    auto source = MakeShared<ScriptedFilter<IStreamAudio>>(ScriptedAudio::Create({}));
    source->onRead = [limit, make = std::move(make), next = int64{0}]() mutable {
        if (next >= limit) TARSEL_THROW(std::runtime_error, "it doesn't stop");
        return make(next++);
    };
    return source;
}

/// A source that gives these blocks in order, wherever it is sought.
iptr<IStreamAudio> Playing(std::vector<iptr<IDataAudio>> script) {
    auto source = MakeShared<ScriptedFilter<IStreamAudio>>(ScriptedAudio::Create({}));
    source->onRead = [script = std::move(script), next = std::size_t{0}]() mutable {
        return next < script.size() ? script[next++] : nullptr;
    };
    return source;
}

TEST(FilterVolumeDetect, KnowsNothingBeforeItHasDetected) {
    auto const detector = FilterVolumeDetect::Create();
    EXPECT_EQ(detector->GetLevel(), 0.0);
    EXPECT_TRUE(detector->IsQuiet());
    EXPECT_EQ(detector->GetStatistic(), Core::MakeStatistics("Tarsel::Proc::FilterVolumeDetect::GetStatistic", 0, 0));
}

TEST(FilterVolumeDetect, LevelIsTheLargestPeakOfTheBlocks) {
    auto const detector = Detected(ScriptedAudio::Create({Peaking(0.2), Peaking(0.7), Peaking(-0.9), Peaking(0.4)}));
    EXPECT_EQ(detector->GetLevel(), 0.7) << "the positive half-wave counts";
    EXPECT_FALSE(detector->IsQuiet());
    EXPECT_EQ(detector->GetStatistic(), Core::MakeStatistics("Tarsel::Proc::FilterVolumeDetect::GetStatistic", 0, 4));
}

TEST(FilterVolumeDetect, LevelOfExactlyThreeTenthsIsNotQuiet) {
    EXPECT_FALSE(Detected(ScriptedAudio::Create({Peaking(0.3)}))->IsQuiet());
    EXPECT_TRUE(Detected(ScriptedAudio::Create({Peaking(std::nextafter(0.3, 0.0))}))->IsQuiet());
}

TEST(FilterVolumeDetect, StreamWithoutBlocksIsQuiet) {
    auto const detector = Detected(ScriptedAudio::Create({}));
    EXPECT_EQ(detector->GetLevel(), 0.0);
    EXPECT_TRUE(detector->IsQuiet());
}

TEST(FilterVolumeDetect, SeeksTheStreamToItsStartAndReadsItToItsEnd) {
    auto const source = ScriptedAudio::Create({Peaking(0.5, 0), Peaking(0.6, 1000000)});
    Seek(*source, 1500000);
    source->log.Take();
    EXPECT_EQ(Detected(source)->GetLevel(), 0.6);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read", "Read", "Read"));
}

TEST(FilterVolumeDetect, StreamOfTwentyMinutesIsReadUpToTheTenMinuteMark) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 1200; ++i) script.push_back(Peaking(i <= 600 ? 0.1 : 0.9, int64{1000000} * i));
    auto const source = ScriptedAudio::Create(script);
    auto const detector = Detected(source);
    EXPECT_EQ(detector->GetLevel(), 0.1);
    EXPECT_EQ(source->delivered.size(), 602U) << "the block behind the mark ends it";
    EXPECT_EQ(CountOf(*detector), 601);
}

TEST(FilterVolumeDetect, BlockThatBeginsAtTheMarkStillCounts) {
    auto const detector = Detected(ScriptedAudio::Create({Peaking(0.1, MARK), Peaking(0.2, MARK + 1)}));
    EXPECT_EQ(detector->GetLevel(), 0.1);
    EXPECT_EQ(CountOf(*detector), 1);
}

TEST(FilterVolumeDetect, StreamWithoutTimesEndsBehindTenMinutesOfSamples) {
    // Durations tell nothing: the samples are counted, here two seconds a block.
    auto const detector = Detected(Endless(400, [](int64 index) {
        auto const block = MakeAudio(NO_VALUE, 96000, 48000, Conf::SAMPLE_FORMAT_U8, Conf::CHANNEL_LAYOUT_MONO);
        block->SetDuration(index % 2 ? NO_VALUE : 5);
        if (index == 301) SamplesOf<u8>(*block)[0] = 255;
        return block;
    }));
    EXPECT_EQ(CountOf(*detector), 301) << "the block that begins at the mark counts, the next one doesn't";
    EXPECT_EQ(detector->GetLevel(), 0.0);
}

TEST(FilterVolumeDetect, EmptyBlocksWithoutTimesCountByTheirDurations) {
    auto const detector = Detected(Endless(400, [](int64) { return MakeMono(NO_VALUE, 2000000, {}); }));
    EXPECT_EQ(CountOf(*detector), 301);
}

TEST(FilterVolumeDetect, DurationsWithoutAValueOrBelowZeroCountAsNone) {
    std::vector<iptr<IDataAudio>> script{MakeMono(NO_VALUE, MARK, {}), MakeMono(NO_VALUE, NO_VALUE, {}),
                                         MakeMono(NO_VALUE, -1, {}),   MakeMono(NO_VALUE, 1, {}),
                                         MakeMono(NO_VALUE, 1, {}),    Peaking(1, NO_VALUE)};
    EXPECT_EQ(CountOf(*Detected(Playing(script))), 4);
}

TEST(FilterVolumeDetect, BlockWithATimeIsPlacedByItWhateverWasCounted) {
    auto const detector = Detected(
        Playing({MakeMono(NO_VALUE, MARK, {}), MakeMono(NO_VALUE, 1, {}), Peaking(0.5, 0), Peaking(0.9, NO_VALUE)}));
    EXPECT_EQ(detector->GetLevel(), 0.5);
    EXPECT_EQ(CountOf(*detector), 3);
}

TEST(FilterVolumeDetect, CountedAudioOfAnyLengthDoesNotOverflow) {
    constexpr int64 LARGEST = std::numeric_limits<int64>::max();
    auto const detector = Detected(
        Playing({MakeMono(-5, LARGEST, {}), MakeMono(-4, LARGEST, {}), Peaking(0.5, -3), Peaking(0.9, NO_VALUE)}));
    EXPECT_EQ(detector->GetLevel(), 0.5);
}

TEST(FilterVolumeDetect, SourceThatGivesEmptyBlocksForEverIsAFailureAndTheLevelIsThatOfTheBlocksInFront) {
    auto const source = MakeShared<EmptyBlocksStream>();
    auto const detector = FilterVolumeDetect::Create();
    EXPECT_EQ(MessageOf<FilterException>([&] { detector->Detect(source); }), EMPTY_BLOCKS_TEXT);
    EXPECT_EQ(source->reads, 100000);
    EXPECT_EQ(CountOf(*detector), 100000);
    // 0 and below 0 are no durations either.
    auto const standing = Endless(
        100001, [](int64 index) { return index == 0 ? Peaking(0.5, NO_VALUE) : MakeMono(0, index % 2 ? 0 : -1, {}); });
    EXPECT_EQ(MessageOf<FilterException>([&] { detector->Detect(standing); }), EMPTY_BLOCKS_TEXT);
    EXPECT_EQ(detector->GetLevel(), 0.5);
}

TEST(FilterVolumeDetect, EmptyBlocksBetweenOthersAreNotTheirNumberInARow) {
    // 99999 empty ones, then one that brings the count on by a second, or has a sample.
    auto const source = Endless(300001, [](int64 index) {
        if (index == 300000) return iptr<IDataAudio>();
        if (index % 100000 != 99999) return MakeMono(NO_VALUE, 0, {});
        return index == 99999 ? MakeMono(NO_VALUE, SECOND, {}) : Peaking(0.25, NO_VALUE);
    });
    EXPECT_EQ(Detected(source)->GetLevel(), 0.25);
}

TEST(FilterVolumeDetect, EveryDetectionBeginsAnewAndItsBlocksAreAddedToTheCount) {
    auto const detector = Detected(ScriptedAudio::Create({Peaking(0.9), Peaking(0.1)}));
    detector->Detect(ScriptedAudio::Create({Peaking(0.2)}));
    EXPECT_EQ(detector->GetLevel(), 0.2);
    EXPECT_TRUE(detector->IsQuiet());
    EXPECT_EQ(CountOf(*detector), 3);
}

TEST(FilterVolumeDetect, FrontPartOfAnInterleavedBlockAloneIsLookedAt) {
    auto const block = MakeAudio(0, 2, 48000, Conf::SAMPLE_FORMAT_FLT, Conf::CHANNEL_LAYOUT_STEREO);
    SamplesOf<float>(*block)[1] = 0.25F;
    SamplesOf<float>(*block)[2] = 0.75F;
    EXPECT_EQ(Detected(ScriptedAudio::Create({block}))->GetLevel(), 0.25);
}

TEST(FilterVolumeDetect, StreamMustBePresent) {
    auto const detector = Detected(ScriptedAudio::Create({Peaking(0.5)}));
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { detector->Detect(nullptr); }), "stream is NULL");
    EXPECT_EQ(detector->GetLevel(), 0.5);
}

TEST(FilterVolumeDetect, FailuresPassThroughAndTheLevelIsThatOfTheBlocksInFront) {
    auto const detector = FilterVolumeDetect::Create();
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  detector->Detect(ScriptedAudio::Create({Peaking(0.5), Failure<FilterException>("broken")}));
              }),
              "broken");
    EXPECT_EQ(detector->GetLevel(), 0.5);
    EXPECT_EQ(
        MessageOf<ProcException>([&] {
            detector->Detect(ScriptedAudio::Create({Peaking(0.4), MakeAudio(0, 10, 48000, Conf::SAMPLE_FORMAT_S64)}));
        }),
        "EstimateLevel doesn't support this sample format");
    EXPECT_EQ(detector->GetLevel(), 0.4);
}

TEST(FilterVolumeDetect, SamplesThatAreNoNumbersHaveNoPeak) {
    constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Detected(ScriptedAudio::Create({Peaking(NO_NUMBER), Peaking(0.1), Peaking(NO_NUMBER)}))->GetLevel(), 0.1);
}

TEST(FilterVolumeDetect, ItsRowMakesOne) {
    auto const make = Host::MakeFilterRegistry()->Find(FilterSlots::VOLUME_DETECT, ImplNames::TARSEL);
    ASSERT_NE(make, nullptr);
    auto const detector = make();
    detector->Detect(ScriptedAudio::Create({Peaking(0.5)}));
    EXPECT_EQ(detector->GetLevel(), 0.5);
    EXPECT_EQ(detector->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Proc
