#include "Proc/Filters/Filters/FilterFrameRateAdjust.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/math/policies/error_handling.hpp>
#include <limits>
#include <random>

#include "tests/support/Builders.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();

iptr<FilterFrameRateAdjust> MakeFilter(iptr<IStreamVideo> const& source, Ratio const& rate = {25, 1}) {
    return MakeShared<FilterFrameRateAdjust>(source, SettingsFilterFrameRate(rate));
}

std::vector<iptr<IDataVideo>> Adjusted(std::initializer_list<ScriptedVideo::Step> steps, Ratio const& rate = {25, 1}) {
    return ReadAll(*MakeFilter(ScriptedVideo::Create(steps), rate));
}

TEST(FilterFrameRateAdjust, RegularStreamPassesAsTheSameObjects) {
    auto const source = ScriptedVideo::Create(MakeVideos(4, 40000));
    auto const filter = MakeFilter(source);
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames,
                ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000), IsVideo(120000, 40000)));
    EXPECT_THAT(source->delivered, ElementsAre(frames[0].get(), frames[1].get(), frames[2].get(), frames[3].get()));
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterFrameRateAdjust, TwoFramesInOneSlotAreSeparatedAndTheEarlierOneShrinksOrGrowsToMeetTheLaterOne) {
    // 40 and 45 ms both round to number 1, so the second moves to 0.51 of a slot behind line 1, which rounds to 2.
    EXPECT_THAT(
        Adjusted({MakeVideo(0, 40000), MakeVideo(40000, 5000), MakeVideo(45000, 75000), MakeVideo(120000, 40000)}),
        ElementsAre(IsVideo(0, 40000), IsVideo(40000, 20400), IsVideo(60400, 59600), IsVideo(120000, 40000)));
    EXPECT_THAT(Adjusted({MakeVideo(0, 40000), MakeVideo(40000, 50000), MakeVideo(59999, 60001), MakeVideo(120000, 1)}),
                ElementsAre(IsVideo(0, 40000), IsVideo(40000, 20400), IsVideo(60400, 59600), IsVideo(120000, 1)));
}

TEST(FilterFrameRateAdjust, FramesThatPileUpMoveOnSlotBySlot) {
    // In double arithmetic 2.51 slots are a hair less than 100400 microseconds.
    EXPECT_THAT(Adjusted({MakeVideo(0, 1), MakeVideo(1, 1), MakeVideo(2, 1), MakeVideo(3, 40000)}),
                ElementsAre(IsVideo(0, 20400), IsVideo(20400, 40000), IsVideo(60400, 39999), IsVideo(100399, 40000)));
}

TEST(FilterFrameRateAdjust, MovedTimeIsCutToAnInteger) {
    // 0.51 of a slot at 30000/1001 Hz is 17017 microseconds exactly, at 7 Hz 72857.14.
    EXPECT_THAT(Adjusted({MakeVideo(0, 1), MakeVideo(1, 1)}, {30000, 1001}),
                ElementsAre(IsVideo(0, 17017), IsVideo(17017, 1)));
    EXPECT_THAT(Adjusted({MakeVideo(0, 1), MakeVideo(1, 1)}, {7, 1}),
                ElementsAre(IsVideo(0, 72857), IsVideo(72857, 1)));
}

TEST(FilterFrameRateAdjust, GapsAreClosedByTheDurations) {
    EXPECT_THAT(Adjusted({MakeVideo(0, 1000), MakeVideo(80000, 0), MakeVideo(120000, NO_VALUE), MakeVideo(160000, 7)}),
                ElementsAre(IsVideo(0, 80000), IsVideo(80000, 40000), IsVideo(120000, 40000), IsVideo(160000, 7)));
}

TEST(FilterFrameRateAdjust, TimesThatJumpBackMoveBehindTheFrameAheadOfThem) {
    LogLines const lines(0);
    EXPECT_THAT(Adjusted({MakeVideo(400000, 40000), MakeVideo(0, 40000), MakeVideo(480000, 40000)}),
                ElementsAre(IsVideo(400000, 20400), IsVideo(420400, 59600), IsVideo(480000, 40000)));
    EXPECT_THAT(lines.Get(google::WARNING), ElementsAre("Previous frame number > next frame number"));
}

TEST(FilterFrameRateAdjust, LogTellsWhatWasAdjusted) {
    LogLines const lines(31);
    Adjusted({MakeVideo(40000, 5000), MakeVideo(45000, 75000)});
    EXPECT_THAT(lines.Get(google::INFO), ElementsAre("Adjusted timestamp from 45000 to 60400 offset 15400",
                                                     "Adjusted duration from 5000 to 20400 offset 15400"));
    EXPECT_THAT(lines.Get(google::WARNING), IsEmpty()) << "an equal number is no step back";
    LogLines const quiet(30);
    Adjusted({MakeVideo(40000, 5000), MakeVideo(45000, 75000)});
    EXPECT_THAT(quiet.Get(google::INFO), IsEmpty());
}

TEST(FilterFrameRateAdjust, FramesWithoutATimePassAsTheyAre) {
    EXPECT_THAT(
        Adjusted(
            {MakeVideo(0, 40000), MakeVideo(NO_VALUE, 5), MakeVideo(NO_VALUE, NO_VALUE), MakeVideo(120000, 40000)}),
        ElementsAre(IsVideo(0, 40000), IsVideo(NO_VALUE, 5), IsVideo(NO_VALUE, NO_VALUE), IsVideo(120000, 40000)));
}

TEST(FilterFrameRateAdjust, SingleFrameAndEmptySourceComeThrough) {
    EXPECT_THAT(Adjusted({MakeVideo(7, 8)}), ElementsAre(IsVideo(7, 8)));
    auto const filter = MakeFilter(ScriptedVideo::Create({}));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterFrameRateAdjust, TimesThatHaveNoFrameNumberRaiseTheRoundingError) {
    auto const filter = MakeFilter(ScriptedVideo::Create({MakeVideo(0, 1), MakeVideo(LARGEST, 1)}), Ratio(2000000, 1));
    EXPECT_THROW(filter->Read(), boost::math::rounding_error);
}

TEST(FilterFrameRateAdjust, FramesThatOthersHoldAreNotChanged) {
    std::vector<iptr<IDataVideo>> const held{MakeVideo(0, 1), MakeVideo(1, 1)};
    auto const source = MakeShared<ScriptedFilter<IStreamVideo>>(ScriptedVideo::Create({}));
    std::size_t next = 0;
    source->onRead = [&] { return next < held.size() ? held[next++] : nullptr; };
    EXPECT_THAT(ReadAll(*MakeFilter(source)), ElementsAre(IsVideo(0, 20400), IsVideo(20400, 1)));
    EXPECT_THAT(held, ElementsAre(IsVideo(0, 1), IsVideo(1, 1)));
}

TEST(FilterFrameRateAdjust, SeekDropsTheFrameThatWaitsAndGoesToTheBeginOfTheSlot) {
    auto const source = ScriptedVideo::Create(MakeVideos(4, 40000));
    source->duration = 160000;
    auto const filter = MakeFilter(source);
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
    source->log.Take();
    filter->RequestSeek(130000, source);
    filter->DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(120000, context)", "DoSeek"));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(120000, 40000)));
}

TEST(FilterFrameRateAdjust, ReleaseDropsTheFrameThatWaits) {
    auto const source = ScriptedVideo::Create(MakeVideos(3, 40000));
    auto const filter = MakeFilter(source);
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
    source->log.Take();
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(filter->Read(), IsVideo(80000, 40000));
}

TEST(FilterFrameRateAdjust, ReadingAfterAnySeekIsWhatReadingStraightThroughGivesWhereNoFrameMoves) {
    // Off the grid by less than a third of a slot: every frame has a number of its own.
    std::vector<iptr<IDataVideo>> script;
    std::mt19937 random(3);
    for (int64 i = 0; i < 100; ++i)
        script.push_back(
            MakeVideo(i * 40000 + static_cast<int64>(random() % 12000), static_cast<int64>(random() % 90000)));
    script[0]->SetTime(0);
    for (std::size_t i = 0; i + 1 < script.size(); ++i)
        script[i]->SetDuration(script[i + 1]->GetTime() - script[i]->GetTime());
    auto const source = ScriptedVideo::Create(script);
    source->duration = 4000000;
    auto const filter = MakeFilter(source);
    Seek(*filter, 0);
    auto const straight = ReadAll(*filter);
    ASSERT_EQ(straight.size(), 100U);
    for (unsigned seed = 1; seed <= 100; ++seed) {
        std::mt19937 draw(seed);
        auto const position = static_cast<int64>(draw() % 4000001);
        SCOPED_TRACE("seed " + std::to_string(seed) + ", position " + std::to_string(position));
        Seek(*filter, position);
        auto const frames = ReadAll(*filter);
        ASSERT_LE(frames.size(), straight.size());
        auto expected = straight.end() - static_cast<std::ptrdiff_t>(frames.size());
        if (!frames.empty()) {
            EXPECT_LE(frames[0]->GetTime(), position);
        }
        for (auto const& frame : frames) {
            ASSERT_THAT(frame, IsVideo((*expected)->GetTime(), (*expected)->GetDuration()));
            ++expected;
        }
    }
}

TEST(FilterFrameRateAdjust, FrameThatIsReadFirstBehindASeekKeepsItsOwnTime) {
    auto const source = ScriptedVideo::Create(
        {MakeVideo(0, 40000), MakeVideo(40000, 5000), MakeVideo(45000, 75000), MakeVideo(120000, 40000)});
    source->duration = 160000;
    auto const filter = MakeFilter(source);
    Seek(*filter, 90000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(45000, 75000), IsVideo(120000, 40000)));
}

TEST(FilterFrameRateAdjust, RandomTimesComeOutInOrderWithoutGapsAndNoneIsLost) {
    for (unsigned seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::vector<iptr<IDataVideo>> script;
        for (int i = 0; i < 100; ++i)
            script.push_back(MakeVideo(static_cast<int64>(random() % 4000000), static_cast<int64>(random() % 90000),
                                       static_cast<u8>(i)));
        auto const frames = ReadAll(*MakeFilter(ScriptedVideo::Create(script)));
        ASSERT_EQ(frames.size(), script.size());
        for (std::size_t i = 0; i + 1 < frames.size(); ++i) {
            ASSERT_GT(frames[i + 1]->GetTime(), frames[i]->GetTime());
            ASSERT_EQ(frames[i]->GetTime() + frames[i]->GetDuration(), frames[i + 1]->GetTime());
            ASSERT_EQ(*frames[i]->GetPlaneConst(0).GetOffsetPtr(0, 0), static_cast<u8>(i));
        }
    }
}

TEST(FilterFrameRateAdjust, IsAFrameRateFilterToTheOutside) {
    auto const source = ScriptedVideo::Create(MakeVideos(3, 40000));
    source->duration = 120000;
    source->format->SetFrameRate(Ratio(25, 1));
    auto const filter = MakeShared<FilterFrameRateAdjust>(source);
    EXPECT_EQ(filter->GetFrameRate(), Ratio(25, 1));
    filter->Initialize(SettingsFilterFrameRate({50, 1}));
    EXPECT_EQ(filter->GetFormatCodec()->GetFrameRate(), Ratio(50, 1));
    EXPECT_EQ(filter->GetDuration(), 120000);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(SettingsFilterFrameRate({-1, 1})); }), "Wrong fps!");
    ReadAll(*filter);
    filter->Read();
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterFrameRate::GetStatistic", 0, 3));
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterFrameRate", "ScriptedStream"));
}

}  // namespace
}  // namespace Tarsel::Proc
