#include "Proc/Filters/Filters/FilterCache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <set>

#include "tests/Proc/CachedClip.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;

// --- What comes out --------------------------------------------------------------------------------------------------

TEST(FilterCache, GivesThePictureThatAFillingFoundTwiceAndKeepsTheLastOfTheSource) {
    CachedClip const clip = MakeSoughtClip(250);
    std::vector<int64> expected;
    for (int i = 0; i < 249; ++i) {
        expected.push_back(i * PICTURE);
        // A second is 25 pictures: every 25th was the last one of a full window.
        if (i % 25 == 0) expected.push_back(i * PICTURE);
    }
    auto const items = ReadAll(*clip.cache);
    std::vector<int64> times;
    for (auto const& item : items) times.push_back(item->GetTime());
    EXPECT_EQ(times, expected);
    EXPECT_EQ(clip.source->delivered.size(), 250U);
}

TEST(FilterCache, ARepeatedPictureIsTheSameObject) {
    CachedClip const clip = MakeSoughtClip(60);
    auto const items = ReadAll(*clip.cache);
    std::set<IDataVideo const*> distinct;
    std::vector<int64> repeated;
    for (auto const& item : items)
        if (!distinct.insert(item.get()).second) repeated.push_back(item->GetTime());
    EXPECT_EQ(distinct.size(), 59U);
    EXPECT_THAT(repeated, ElementsAre(0, SECOND, 2 * SECOND));
}

TEST(FilterCache, AStreamShorterThanTheWindowGivesAllButItsLastPicture) {
    CachedClip const clip = MakeSoughtClip(3);
    EXPECT_THAT(clip.ReadTimes(5), ElementsAre(0, 0, PICTURE, NO_VALUE, NO_VALUE));
}

TEST(FilterCache, TheLastPictureComesBehindASeekToIt) {
    CachedClip const clip = MakeSoughtClip(60);
    ReadAll(*clip.cache);
    Seek(*clip.cache, 59 * PICTURE);
    EXPECT_THAT(clip.ReadTimes(2), ElementsAre(59 * PICTURE, NO_VALUE));
}

TEST(FilterCache, AnEmptySourceEndsAtOnceAndAgain) {
    CachedClip const clip = MakeSoughtClip(0);
    EXPECT_FALSE(clip.cache->Read());
    EXPECT_FALSE(clip.cache->Read());
}

TEST(FilterCache, AReadWithoutASeekBeginsAtTheFirstPicture) {
    std::vector<iptr<IDataVideo>> pictures;
    for (int i = 0; i < 10; ++i) pictures.push_back(MakeVideo(5 * SECOND + i * PICTURE, PICTURE));
    CachedClip const clip(ScriptedVideo::Create(pictures));
    EXPECT_EQ(clip.ReadTime(), 5 * SECOND);
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), 5 * SECOND + PICTURE);
}

TEST(FilterCache, APictureThatEndsWhereTheWindowBeginsIsKept) {
    CachedClip const clip = MakeSoughtClip(100);
    // Asked, but not sought: the source stands at its start.
    clip.cache->RequestSeek(2 * SECOND, nullptr);
    EXPECT_EQ(clip.ReadTime(), 2 * SECOND);
    clip.source->log.Take();
    // The picture at 0.96 s ends at 1 s, where the window begins.
    clip.cache->RequestSeek(980000, nullptr);
    clip.cache->DoSeek();
    EXPECT_EQ(clip.ReadTime(), 960000);
    EXPECT_THAT(clip.source->log.Take(), IsEmpty());
}

TEST(FilterCache, APictureThatBeginsWhereTheWindowEndsIsKeptAndEndsTheFilling) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTime();
    // The one at 1 s is the 26th.
    EXPECT_EQ(clip.source->delivered.size(), 26U);
    EXPECT_THAT(clip.ReadTimes(26), Contains(SECOND));
}

TEST(FilterCache, APictureWithoutALengthAtThePositionIsPassedOver) {
    CachedClip const clip =
        MakeSought(ScriptedVideo::Create({MakeVideo(0, 0), MakeVideo(0, PICTURE), MakeVideo(PICTURE, PICTURE)}));
    EXPECT_THAT(clip.cache->Read(), IsVideo(0, PICTURE));
}

TEST(FilterCache, APictureOfUnknownDurationComesInTheStreamButEndsNoFilling) {
    auto pictures = MakeVideos(80, PICTURE);
    pictures[10]->SetDuration(NO_VALUE);
    CachedClip const clip = MakeSought(ScriptedVideo::Create(pictures));
    std::set<int64> times;
    for (auto const& item : ReadAll(*clip.cache)) times.insert(item->GetTime());
    EXPECT_EQ(times.size(), 79U);
}

TEST(FilterCache, APictureOfUnknownTimeComesInTheStream) {
    auto pictures = MakeVideos(80, PICTURE);
    pictures[10]->SetTime(NO_VALUE);
    CachedClip const clip = MakeSought(ScriptedVideo::Create(pictures));
    auto const items = ReadAll(*clip.cache);
    EXPECT_EQ(std::count_if(items.begin(), items.end(), [](auto const& item) { return !HasValue(item->GetTime()); }),
              1);
    EXPECT_EQ(items.back()->GetTime(), 78 * PICTURE);
}

TEST(FilterCache, AStreamWithoutTimesIsReadToItsEndAndGivesNothing) {
    std::vector<iptr<IDataVideo>> pictures;
    for (int i = 0; i < 50; ++i) pictures.push_back(MakeVideo(NO_VALUE, NO_VALUE));
    CachedClip const clip(ScriptedVideo::Create(pictures));
    EXPECT_FALSE(clip.cache->Read());
    EXPECT_EQ(clip.source->delivered.size(), 50U);
    EXPECT_FALSE(clip.cache->Read());
}

TEST(FilterCache, APositionBeforeTheFirstPictureEndsTheStream) {
    CachedClip const clip = MakeSought(ScriptedVideo::Create({MakeVideo(500000, PICTURE), MakeVideo(540000, PICTURE)}));
    EXPECT_FALSE(clip.cache->Read());
}

TEST(FilterCache, HoldsNoMoreThanItsWindowInALongRun) {
    auto const originals = MakeVideos(1000, PICTURE);
    CachedClip const clip = MakeSought(ScriptedVideo::Create(originals));
    // Whoever holds a copy of a picture shares the original's bytes.
    auto const countAlive = [&] {
        return std::count_if(originals.begin(), originals.end(), [](auto const& original) {
            return av_buffer_get_ref_count(dynamic_cast<DataVideoFF const&>(*original).GetAVFrame()->buf[0]) > 1;
        });
    };
    std::vector<long> alive;
    while (clip.cache->Read()) alive.push_back(countAlive());
    EXPECT_GT(alive.size(), 990U);
    // A second behind, up to a second more until the next filling, a second ahead, and the edges.
    EXPECT_THAT(alive, Each(Le(25 * 3 + 3)));
    EXPECT_THAT(alive, Contains(Ge(50)));
}

TEST(FilterCache, TheWindowBehindTheReaderIsTrimmedByTheReaderToo) {
    CachedClip const clip = MakeSoughtClip(250);
    while (clip.ReadTime() < 8 * SECOND) {
    }
    clip.source->log.Take();
    Seek(*clip.cache, 3 * SECOND);
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(1000000)", "DoSeek"));
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST(FilterCache, AGapWiderThanTheWindowFailsInTheRead) {
    CachedClip const clip = MakeSought(ScriptedVideo::Create({MakeVideo(0, PICTURE), MakeVideo(2 * SECOND, PICTURE)}));
    LogLines const lines(0);
    try {
        clip.cache->Read();
        FAIL() << "the gap went unnoticed";
    } catch (std::logic_error const& failure) {
        EXPECT_STREQ(failure.what(), "buffer overrun");
        EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "ReadInternal");
    }
    EXPECT_THAT(lines.Get(google::ERROR), ElementsAre("Bad seek, buffer overrun!"));
}

TEST(FilterCache, AnItemLongerThanTheWindowFailsTheReadBehindItAndEachComesBehindASeekIntoIt) {
    CachedClip const clip = MakeSought(ScriptedVideo::Create(MakeVideos(4, 10 * SECOND)));
    EXPECT_EQ(clip.ReadTime(), 0);
    EXPECT_THROW(clip.cache->Read(), std::logic_error);
    for (int64 const time : {30 * SECOND, 10 * SECOND, 20 * SECOND}) {
        Seek(*clip.cache, time + SECOND / 2);
        EXPECT_EQ(clip.ReadTime(), time);
    }
}

TEST(FilterCache, ItemsThatAllLastNoTimeAreNeverFound) {
    std::vector<iptr<IDataVideo>> pictures;
    for (int i = 0; i < 25; ++i) pictures.push_back(MakeVideo(i * PICTURE, 0));
    EXPECT_FALSE(MakeSought(ScriptedVideo::Create(pictures)).cache->Read());
    // With more of them than the window holds, the one behind it shows that none was found.
    for (int i = 25; i < 50; ++i) pictures.push_back(MakeVideo(i * PICTURE, 0));
    CachedClip const clip = MakeSought(ScriptedVideo::Create(pictures));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { clip.cache->Read(); }), "buffer overrun");
}

TEST(FilterCache, WhatLiesBeforeZeroComesInTheStreamButCannotBeSought) {
    std::vector<iptr<IDataVideo>> pictures;
    for (int i = -50; i < 50; ++i) pictures.push_back(MakeVideo(i * PICTURE, PICTURE));
    EXPECT_EQ(CachedClip(ScriptedVideo::Create(pictures)).ReadTime(), -2 * SECOND);
    CachedClip const clip = MakeSought(ScriptedVideo::Create(pictures), -SECOND / 2);
    EXPECT_FALSE(clip.cache->Read());
    Seek(*clip.cache, -3 * SECOND / 2);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { clip.cache->Read(); }), "buffer overrun");
    Seek(*clip.cache, 0);
    EXPECT_EQ(clip.ReadTime(), 0);
}

TEST(FilterCache, ASeekBehindTheGapGoesOn) {
    CachedClip const clip = MakeSought(ScriptedVideo::Create({MakeVideo(0, PICTURE), MakeVideo(2 * SECOND, PICTURE)}));
    EXPECT_THROW(clip.cache->Read(), std::logic_error);
    Seek(*clip.cache, 2 * SECOND);
    EXPECT_EQ(clip.ReadTime(), 2 * SECOND);
}

TEST(FilterCache, AFailureOfTheSourceKeepsItsClassAndWhatWasReadBeforeIt) {
    std::vector<ScriptedVideo::Step> steps;
    for (auto const& picture : MakeVideos(10, PICTURE)) steps.emplace_back(picture);
    steps.insert(steps.begin() + 4, Failure<EffectException>("broken"));
    CachedClip const clip = MakeSought(ScriptedVideo::Create(steps));
    EXPECT_EQ(MessageOf<EffectException>([&] { clip.cache->Read(); }), "broken");
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), 0);
    // Nothing is missing: the four in front of the failure are there.
    EXPECT_THAT(clip.ReadTimes(7), ElementsAre(0, 0, PICTURE, 2 * PICTURE, 3 * PICTURE, 4 * PICTURE, 5 * PICTURE));
}

TEST(FilterCache, AFailureOfTheSourceOnTheThreadIsLoggedAndTheReaderGoesOn) {
    std::vector<ScriptedVideo::Step> steps;
    for (auto const& picture : MakeVideos(60, PICTURE)) steps.emplace_back(picture);
    steps.insert(steps.begin() + 26, Failure<FilterException>("torn"));
    LogLines const lines(0);
    {
        CachedClip const clip(ScriptedVideo::Create(steps));
        clip.source->gate = std::make_shared<Gate>();
        // The reader takes 26 pictures itself, the thread meets the failure.
        EXPECT_THAT(clip.ReadTimes(2), ElementsAre(0, 0));
        clip.source->gate->AwaitArrivals(27);
        EXPECT_EQ(clip.ReadTime(), PICTURE);
    }
    EXPECT_THAT(lines.Get(google::ERROR), ElementsAre(HasSubstr("torn")));
}

TEST(FilterCache, TakesAPropertyOfItsOwnNameOnly) {
    CachedClip const clip(3);
    EXPECT_NO_THROW(clip.cache->Initialize(Core::Property(IFilterCacheController::STREAM_ID)));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { clip.cache->Initialize(Core::Property("FilterCache")); }),
              "incorrect cache stream name");
    EXPECT_THAT(clip.source->log.Take(), IsEmpty());
    EXPECT_EQ(clip.cache->GetSettings(), Core::Property(IFilterCacheController::STREAM_ID));
}

// --- The stream around it --------------------------------------------------------------------------------------------

TEST(FilterCache, PositionReadsAheadAndTheNextReadGivesThatPicture) {
    CachedClip const clip = MakeSoughtClip(100);
    EXPECT_EQ(clip.cache->GetPosition(), 0);
    // The first look found the picture at 0; the second is the repeat.
    EXPECT_THAT(clip.ReadTimes(3), ElementsAre(0, 0, PICTURE));
    EXPECT_EQ(clip.cache->GetPosition(), 2 * PICTURE);
}

TEST(FilterCache, PositionBehindASeekInsideTheWindowIsThatOfThePictureAroundIt) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(20);
    Seek(*clip.cache, 10 * PICTURE + 1);
    EXPECT_EQ(clip.cache->GetPosition(), 10 * PICTURE);
    EXPECT_THAT(clip.ReadTimes(2), ElementsAre(10 * PICTURE, 11 * PICTURE));
}

TEST(FilterCache, ReleaseEmptiesTheBufferSoThatTheNextSeekReachesTheSource) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(20);
    clip.cache->RequestSeek(10 * PICTURE + 1, nullptr);
    clip.cache->DoSeek();
    clip.cache->GetPosition();
    clip.source->log.Take();
    clip.cache->ReleaseInternalData();
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("ReleaseInternalData"));
    Seek(*clip.cache, 12 * PICTURE + 1);
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(0)", "DoSeek"));
    EXPECT_EQ(clip.ReadTime(), 12 * PICTURE);
}

TEST(FilterCache, StatisticsNameTheKindAndCountWhatWasGiven) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(5);
    auto const controller = FilterCacheController::Create();
    auto const sound = controller->AddStream(iptr<IStreamAudio>(ScriptedAudio::Create({})));
    auto const subtitles = controller->AddStream(iptr<IStreamSubtitle>(ScriptedSubtitle::Create({})));
    EXPECT_EQ(clip.cache->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterCache<class Tarsel::Proc::IStreamVideo>::GetStatistic", 0, 5));
    EXPECT_EQ(sound->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterCache<class Tarsel::Proc::IStreamAudio>::GetStatistic", 0, 0));
    EXPECT_EQ(
        subtitles->GetStatistic().Children().back(),
        Core::MakeStatistics("Tarsel::Proc::FilterCache<class Tarsel::Proc::IStreamSubtitle>::GetStatistic", 0, 0));
}

TEST(FilterCache, VisitorsMeetAFilterOfItsNameAheadOfTheSource) {
    CachedClip const clip(3);
    Visitors::FrameTypeCollector types;
    Visitors::InfoCollector names;
    clip.cache->Accept(types);
    clip.cache->Accept(names);
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
    EXPECT_THAT(names.names, ElementsAre("FilterCache", "ScriptedStream"));
}

TEST(FilterCache, FormatAndDurationAreTheSources) {
    CachedClip const clip(3);
    EXPECT_EQ(clip.cache->GetFormatCodec(), clip.source->format);
    EXPECT_EQ(clip.cache->GetDuration(), 3 * PICTURE);
}

// --- Log lines -------------------------------------------------------------------------------------------------------

/// The reader's lines behind the first `from`: when the thread comes to log that it sleeps is anybody's guess.
std::vector<std::string> LinesOf(LogLines const& lines, std::size_t from = 0) {
    std::vector<std::string> texts = lines.Get(google::INFO);
    texts.erase(std::remove_if(texts.begin(), texts.end(), [](auto const& text) { return text.rfind("BT ", 0) == 0; }),
                texts.end());
    texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(from));
    return texts;
}

TEST(FilterCache, LogsAFillingAndWhatItFound) {
    LogLines const lines(30);
    CachedClip const clip = MakeSoughtClip(100);
    std::vector<std::string> const expected{
        "Locking the data buffer...",
        "Proceeding.",
        "The buffer is empty or has just exhausted.",
        "The new buffer bounds are [-0:00:01.000000, 0:00:01.000000].",
        "Reading the data...",
        "OK the buffer is filled.",
        "26 item(s) were pushed into the buffer.",
        "Looking for the data in the buffer.",
        "The new logical position is 0:00:00.040000.",
        "Locking the data buffer...",
        "Proceeding.",
        "There is next data item.",
        "The new logical position is 0:00:00.040000.",
        "Asking the BT for more data.",
    };
    std::size_t const before = LinesOf(lines).size();
    clip.ReadTimes(2);
    EXPECT_EQ(LinesOf(lines, before), expected);
}

TEST(FilterCache, LogsTheFirstPictureOfAReadWithoutASeek) {
    LogLines const lines(30);
    CachedClip const clip = MakeSoughtClip(2);
    // To no place, which counts as back: the window behind grows.
    Seek(*clip.cache, NO_VALUE);
    std::size_t const before = LinesOf(lines).size();
    EXPECT_EQ(clip.ReadTime(), 0);
    std::vector<std::string> const expected{
        "Locking the data buffer...",
        "Proceeding.",
        "The buffer is empty or has just exhausted.",
        "Reading the data...",
        "We have just read the very first data item so the logical position should be set now to that item.",
        "The new logical position is 0:00:00.000000.",
        "The new buffer bounds are [-0:00:02.000000, 0:00:01.000000].",
        "End of stream!",
        "2 item(s) were pushed into the buffer.",
        "Looking for the data in the buffer.",
        "The new logical position is 0:00:00.040000.",
    };
    EXPECT_EQ(LinesOf(lines, before), expected);
}

TEST(FilterCache, LogsWhatItThrowsOffAndCountsItAsPushed) {
    LogLines const lines(30);
    CachedClip const clip = MakeSoughtClip(30);
    clip.cache->RequestSeek(1100000, nullptr);
    EXPECT_EQ(clip.ReadTime(), 1080000);
    EXPECT_TRUE(
        lines.Has("This data item begins at 0:00:00.000000 and is 0:00:00.040000 long so it is before the "
                  "buffer; throwing it off!"));
    EXPECT_EQ(lines.Count("This data item begins at"), 2U);
    EXPECT_TRUE(lines.Has("30 item(s) were pushed into the buffer."));
}

TEST(FilterCache, IsSilentAtALowerVerbosity) {
    CachedClip const clip = MakeSoughtClip(30);
    LogLines const lines(29);
    ReadAll(*clip.cache);
    EXPECT_THAT(LinesOf(lines), IsEmpty());
}

}  // namespace
}  // namespace Tarsel::Proc
