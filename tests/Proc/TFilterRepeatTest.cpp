#include "Proc/Filters/Filters/TFilterRepeat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <typeinfo>

#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

iptr<ScriptedVideo> MakeClip() {
    auto source = ScriptedVideo::Create({MakeVideo(100, 40, 1), MakeVideo(140, 40, 2)});
    source->duration = 180;
    return source;
}

/// At most `limit` items: some of these streams never end.
template <class Filter>
auto ReadSome(Filter& filter, int limit) {
    std::vector<decltype(filter.Read())> items;
    for (int i = 0; i < limit; ++i) {
        auto item = filter.Read();
        if (!item) break;
        items.push_back(std::move(item));
    }
    return items;
}

TEST(TFilterRepeat, CountOfOneGivesOneItemAndThenNull) {
    auto const source = MakeClip();
    auto const filter = MakeShared<FilterRepeatVideo>(source);
    filter->SetRepeatCount(1);
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(100, 40));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read"));
}

TEST(TFilterRepeat, CountGivesAsManyItemsAllOfThemTheSameObjectWithItsTimesUntouched) {
    auto const source = MakeClip();
    auto const filter = MakeShared<FilterRepeatVideo>(source);
    filter->SetRepeatCount(3);
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsVideo(100, 40), IsVideo(100, 40), IsVideo(100, 40)));
    EXPECT_THAT(items, Each(items[0]));
    EXPECT_EQ(items[0].get(), source->delivered[0]);
    EXPECT_THAT(source->delivered, SizeIs(1));
}

TEST(TFilterRepeat, WithoutACountItRepeatsWithoutEnd) {
    auto const filter = MakeShared<FilterRepeatAudio>(ScriptedAudio::Create({MakeAudio(0, 100), MakeAudio(2083, 50)}));
    auto const items = ReadSome(*filter, 1000);
    EXPECT_THAT(items, SizeIs(1000));
    EXPECT_THAT(items, Each(items[0]));
    EXPECT_THAT(items[0], IsAudio(0, 100));
}

TEST(TFilterRepeat, CountOfZeroAndBelowRepeatsWithoutEndBecauseOnlyExactlyZeroEnds) {
    for (int64 const count : {int64(0), int64(-1), int64(-5), std::numeric_limits<int64>::min()}) {
        auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
        filter->SetRepeatCount(count);
        EXPECT_THAT(ReadSome(*filter, 1000), SizeIs(1000)) << count;
    }
}

TEST(TFilterRepeat, EmptySourceGivesNullAndALaterReadAsksItAgain) {
    auto const source = ScriptedVideo::Create({nullptr, nullptr, MakeVideo(0, 40)});
    auto const filter = MakeShared<FilterRepeatVideo>(source);
    filter->SetRepeatCount(2);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40), IsVideo(0, 40)));
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "Read", "Read"));
}

TEST(TFilterRepeat, SeekReachesTheSourceAloneAndTheCountGoesOn) {
    auto const source = MakeClip();
    auto const filter = MakeShared<FilterRepeatVideo>(source);
    filter->SetRepeatCount(3);
    auto const first = filter->Read();
    filter->RequestSeek(140, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_THAT(ReadAll(*filter), ElementsAre(first, first));
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "RequestSeek(140, context)", "DoSeek"));
}

TEST(TFilterRepeat, FinishedRepeatStaysNullAfterASeekUntilItIsReset) {
    auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
    filter->SetRepeatCount(1);
    ReadAll(*filter);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
    filter->SetRepeatCount(5);
    EXPECT_EQ(filter->Read(), nullptr);
    filter->ResetRepeat();
    filter->SetRepeatCount(2);
    Seek(*filter, 150);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(140, 40), IsVideo(140, 40)));
}

TEST(TFilterRepeat, ResetForgetsItemAndCount) {
    auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
    filter->SetRepeatCount(2);
    EXPECT_THAT(filter->Read(), IsVideo(100, 40));
    filter->ResetRepeat();
    auto const items = ReadSome(*filter, 100);
    EXPECT_THAT(items, SizeIs(100));
    EXPECT_THAT(items, Each(IsVideo(140, 40)));
}

TEST(TFilterRepeat, ItemIsGivenUpWithItsLastRead) {
    auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
    filter->SetRepeatCount(2);
    auto const first = filter->Read();
    EXPECT_EQ(first->GetRefCountImpl(), 2U);
    auto second = filter->Read();
    EXPECT_EQ(first->GetRefCountImpl(), 2U);
    second = nullptr;
    EXPECT_EQ(first->GetRefCountImpl(), 1U);
}

TEST(TFilterRepeat, FailureOfTheSourceLeavesTheFirstReadToDo) {
    auto const filter =
        MakeShared<FilterRepeatVideo>(ScriptedVideo::Create({Failure<ProcException>("broken"), MakeVideo(0, 40)}));
    filter->SetRepeatCount(1);
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }), "broken");
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40)));
}

TEST(TFilterRepeat, PropertyOfItsOwnNameAloneIsAccepted) {
    auto const video = MakeShared<FilterRepeatVideo>(MakeClip());
    auto const audio = MakeShared<FilterRepeatAudio>(ScriptedAudio::Create({}));
    EXPECT_EQ(MessageOf<FilterException>([&] { video->Initialize(Core::Property("x")); }),
              "Filter was initialized with incorrect class (x)!");
    EXPECT_EQ(MessageOf<FilterException>([&] { audio->Initialize(Core::Property(FilterRepeatVideo::CLASS_ID)); }),
              "Filter was initialized with incorrect class (FilterRepeatVideo)!");
    video->Initialize(Core::Property(FilterRepeatVideo::CLASS_ID));
    audio->Initialize(audio->GetSettings());
    EXPECT_EQ(video->GetSettings(), Core::Property(FilterRepeatVideo::CLASS_ID));
}

TEST(TFilterRepeat, SettingsAreLookedAtForTheirClassAloneAndSetNoCount) {
    auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
    filter->Initialize(SettingsFilterRepeat(2));
    EXPECT_THAT(ReadSome(*filter, 100), SizeIs(100));
    EXPECT_THROW(filter->Initialize(SettingsFilterLoop()), std::bad_cast);
}

TEST(TFilterRepeat, FactoriesMakeItWithAndWithoutSettings) {
    iptr<IStreamVideo> const source = MakeClip();
    auto const plain = FilterRepeatVideo::Create(source);
    plain->SetRepeatCount(1);
    EXPECT_THAT(ReadAll(*plain), ElementsAre(IsVideo(100, 40)));
    auto const initialized = FilterRepeatVideo::CreateInitialized(source, SettingsFilterRepeat());
    EXPECT_THAT(initialized->Read(), IsVideo(140, 40));
    EXPECT_EQ(source->GetRefCountImpl(), 3U);
    EXPECT_THROW(FilterRepeatVideo::CreateInitialized(source, SettingsFilterLoop()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 3U);
}

TEST(TFilterRepeat, NullSourceIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterRepeatVideo::Create(nullptr); }), "parentStream is NULL.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterRepeatAudio::Create(nullptr); }), "parentStream is NULL.");
}

TEST(TFilterRepeat, DurationAndFormatAreTheSourcesAndReleaseKeepsTheItem) {
    auto const source = MakeClip();
    auto const filter = MakeShared<FilterRepeatVideo>(source);
    EXPECT_EQ(filter->GetDuration(), 180);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    auto const first = filter->Read();
    filter->ReleaseInternalData();
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), first);
}

TEST(TFilterRepeat, StatisticsCountNullReadsBehindTheLastItemToo) {
    auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
    filter->SetRepeatCount(2);
    for (int i = 0; i < 5; ++i) filter->Read();
    auto const nodes = filter->GetStatistic().Children();
    ASSERT_THAT(nodes, SizeIs(2));
    EXPECT_EQ(nodes[0].Name(), "ScriptedStream");
    EXPECT_EQ(nodes[1],
              Core::MakeStatistics(
                  "Tarsel::Proc::TFilterRepeat<class Tarsel::Proc::TIFilterRepeat<class Tarsel::Proc::IStreamVideoEx,"
                  "class Tarsel::Proc::IStreamVideo> >::GetStatistic",
                  0, 5));
}

TEST(TFilterRepeat, StatisticsOfAudioHaveTheirNameAndAnEmptySourceCountsNothing) {
    auto const filter = MakeShared<FilterRepeatAudio>(ScriptedAudio::Create({}));
    filter->Read();
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics(
                  "Tarsel::Proc::TFilterRepeat<class Tarsel::Proc::TIFilterRepeat<class Tarsel::Proc::IStreamAudioEx,"
                  "class Tarsel::Proc::IStreamAudio> >::GetStatistic",
                  0, 0));
}

TEST(TFilterRepeat, VisitorMeetsAPlainFilter) {
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    auto const filter = MakeShared<FilterRepeatVideo>(MakeClip());
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("TFilterRepeat", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
