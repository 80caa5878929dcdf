#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/Proc/CachedClip.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// --- Inside and outside of the window --------------------------------------------------------------------------------

TEST(FilterCacheSeek, TheFirstSeekReachesTheSource) {
    CachedClip const clip(100);
    Seek(*clip.cache, 0);
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek"));
}

TEST(FilterCacheSeek, TheSourceIsSoughtFarEnoughBackForTheWindowBehind) {
    CachedClip const clip = MakeSoughtClip(250);
    Seek(*clip.cache, 5 * SECOND);
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(4000000)", "DoSeek"));
    EXPECT_THAT(clip.ReadTimes(3), ElementsAre(5 * SECOND, 5 * SECOND, 5 * SECOND + PICTURE));
    clip.source->log.Take();
    // What lies behind is there.
    Seek(*clip.cache, 4 * SECOND + 1);
    EXPECT_EQ(clip.ReadTime(), 4 * SECOND);
    EXPECT_THAT(clip.source->log.Take(), IsEmpty());
}

TEST(FilterCacheSeek, SeeksInsideTheWindowNeverTouchTheSource) {
    CachedClip const clip = MakeSoughtClip(250, 5 * SECOND);
    clip.ReadTime();
    clip.source->log.Take();
    // From 4 s to the last but one, the 25th picture behind 5 s.
    for (int i = 0; i < 50; ++i) {
        int64 const start = 4 * SECOND + (i * 37 % 50) * PICTURE;
        Seek(*clip.cache, start + 1 + i % 39);
        EXPECT_EQ(clip.ReadTime(), start);
    }
    EXPECT_THAT(clip.source->log.Take(), IsEmpty());
}

TEST(FilterCacheSeek, ReadingGoesOnBehindThePictureThatASeekFound) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(20);
    Seek(*clip.cache, 5 * PICTURE + 1);
    EXPECT_THAT(clip.ReadTimes(3), ElementsAre(5 * PICTURE, 6 * PICTURE, 7 * PICTURE));
    EXPECT_FALSE(clip.AsCache().IsSeekRequested());
    EXPECT_FALSE(clip.AsCache().IsSeekInBuffer());
}

TEST(FilterCacheSeek, TheStartOfAPictureInTheMiddleOfTheWindowFails) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(20);
    clip.source->log.Take();
    clip.cache->RequestSeek(5 * PICTURE, nullptr);
    try {
        clip.cache->DoSeek();
        FAIL() << "the start was found";
    } catch (std::logic_error const& failure) {
        EXPECT_STREQ(failure.what(), "buffer overrun");
        EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "DoSeekInternal");
    }
    EXPECT_THAT(clip.source->log.Take(), IsEmpty());
    EXPECT_TRUE(clip.AsCache().IsSeekRequested());
}

TEST(FilterCacheSeek, SeekCachesHelpsASeekToAStartThatFailed) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(20);
    clip.cache->RequestSeek(5 * PICTURE, nullptr);
    EXPECT_THROW(clip.cache->DoSeek(), std::logic_error);
    clip.controller->SeekCaches(5 * PICTURE);
    EXPECT_FALSE(clip.AsCache().IsSeekRequested());
    EXPECT_THAT(clip.ReadTimes(3), ElementsAre(5 * PICTURE, 5 * PICTURE, 6 * PICTURE));
}

TEST(FilterCacheSeek, AGapInsideTheWindowFailsAsAStartDoes) {
    CachedClip const clip = MakeSought(ScriptedVideo::Create(
        {MakeVideo(0, PICTURE), MakeVideo(PICTURE, PICTURE), MakeVideo(400000, PICTURE), MakeVideo(440000, PICTURE)}));
    clip.ReadTime();
    clip.cache->RequestSeek(200000, nullptr);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { clip.cache->DoSeek(); }), "buffer overrun");
}

TEST(FilterCacheSeek, TheStartOfTheFirstPictureInTheWindowReachesTheSource) {
    CachedClip const clip = MakeSoughtClip(250, 5 * SECOND);
    clip.ReadTime();
    clip.source->log.Take();
    Seek(*clip.cache, 4 * SECOND);
    // A step back out of the window: what is kept behind has grown by a second.
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(2000000)", "DoSeek"));
    EXPECT_EQ(clip.ReadTime(), 4 * SECOND);
}

TEST(FilterCacheSeek, TheStartOfTheLastPictureInTheWindowReachesTheSource) {
    CachedClip const clip = MakeSoughtClip(250, 5 * SECOND);
    clip.ReadTime();
    clip.source->log.Take();
    Seek(*clip.cache, 6 * SECOND);
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(5000000)", "DoSeek"));
    EXPECT_EQ(clip.ReadTime(), 6 * SECOND);
}

TEST(FilterCacheSeek, ASeekBehindTheEndGoesToTheEnd) {
    CachedClip const clip = MakeSoughtClip(100);
    Seek(*clip.cache, 9 * SECOND);
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(3000000)", "DoSeek"));
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), 4 * SECOND);
    EXPECT_FALSE(clip.cache->Read());
}

TEST(FilterCacheSeek, AnEndFromTheHostIsTakenBackByASeekInsideTheWindow) {
    CachedClip const clip = MakeSoughtClip(200, 4 * SECOND);
    ASSERT_EQ(clip.ReadTime(), 4 * SECOND);
    clip.cache->SetEndOfStream();
    ASSERT_TRUE(clip.source->IsEndOfStream());
    clip.TakeSeeks();
    Seek(*clip.cache, 4100000);
    EXPECT_FALSE(clip.source->IsEndOfStream());
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(3100000)", "DoSeek"));
    EXPECT_EQ(clip.ReadTime(), 4080000);

    // The mark is gone: the window answers again.
    Seek(*clip.cache, 4500000);
    EXPECT_THAT(clip.TakeSeeks(), IsEmpty());
}

TEST(FilterCacheSeek, TheContextStaysHere) {
    CachedClip const clip(100);
    clip.cache->RequestSeek(0, iptr<IRefCountable>(clip.source));
    clip.cache->DoSeek();
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek"));
}

TEST(FilterCacheSeek, ASecondPhaseWithoutTheFirstDoesNothing) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(3);
    clip.source->log.Take();
    clip.cache->DoSeek();
    EXPECT_THAT(clip.source->log.Take(), IsEmpty());
    EXPECT_EQ(clip.ReadTime(), 2 * PICTURE);
}

TEST(FilterCacheSeek, AFirstPhaseAloneIsSeenByTheController) {
    CachedClip const clip(100);
    clip.cache->RequestSeek(SECOND, nullptr);
    EXPECT_TRUE(clip.AsCache().IsSeekRequested());
    EXPECT_FALSE(clip.AsCache().IsSeekInBuffer());
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), SECOND);
    clip.AsCache().ClearSeekFlags();
    EXPECT_FALSE(clip.AsCache().IsSeekRequested());
}

TEST(FilterCacheSeek, AFirstPhaseAloneDoesNotMoveAReaderWhoHasItemsLeft) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTimes(3);
    clip.cache->RequestSeek(3 * SECOND, nullptr);
    EXPECT_THAT(clip.ReadTimes(2), ElementsAre(2 * PICTURE, 3 * PICTURE));
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), 4 * PICTURE);
}

TEST(FilterCacheSeek, AFirstPhaseAloneMovesAReaderWithoutItemsThroughTheSource) {
    CachedClip const clip = MakeSoughtClip(100);
    clip.cache->RequestSeek(3 * SECOND, nullptr);
    EXPECT_EQ(clip.ReadTime(), 3 * SECOND);
    EXPECT_THAT(clip.TakeSeeks(), IsEmpty());
}

TEST(FilterCacheSeek, LogsThePositionAskedForAndTheOneFound) {
    LogLines const lines(30);
    CachedClip const clip = MakeSoughtClip(100);
    clip.ReadTime();
    Seek(*clip.cache, PICTURE + 1);
    EXPECT_EQ(lines.Count("The new logical position is 0:00:00.040001."), 1U);
    // Once when the picture at 0 was given, once when the seek found the one behind it.
    EXPECT_EQ(lines.Count("The new logical position is 0:00:00.040000."), 2U);
}

TEST(FilterCacheSeek, AWindowWithoutTimesIsLeft) {
    auto pictures = MakeVideos(50, PICTURE);
    pictures[0]->SetTime(NO_VALUE);
    CachedClip const clip(ScriptedVideo::Create(pictures));
    clip.cache->Read();
    clip.source->log.Take();
    Seek(*clip.cache, 10 * PICTURE + 1);
    EXPECT_THAT(clip.TakeSeeks(), ElementsAre("RequestSeek(0)", "DoSeek"));
}

// --- What is kept behind the reader ----------------------------------------------------------------------------------

TEST(FilterCacheSpan, GrowsOnceAndIsGivenBackOnce) {
    CachedClip const clip(3);
    IFilterCache& cache = clip.AsCache();
    EXPECT_EQ(cache.GetCacheSpan(), SECOND);
    cache.DecreaseCacheSpan();
    EXPECT_EQ(cache.GetCacheSpan(), SECOND);
    cache.IncreaseCacheSpan();
    cache.IncreaseCacheSpan();
    EXPECT_EQ(cache.GetCacheSpan(), 2 * SECOND);
    cache.DecreaseCacheSpan();
    cache.DecreaseCacheSpan();
    EXPECT_EQ(cache.GetCacheSpan(), SECOND);
}

TEST(FilterCacheSpan, TheStepOfTheMomentCountsForIncreaseAndDecrease) {
    CachedClip const clip(3);
    clip.controller->SetCacheIncreaseSpan(500000);
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 1500000);
    clip.controller->SetCacheIncreaseSpan(200000);
    clip.AsCache().DecreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 1300000);
}

TEST(FilterCacheSpan, TheLargestStepDoesNotOverflow) {
    CachedClip const clip(3);
    clip.controller->SetCacheIncreaseSpan(std::numeric_limits<int64>::max());
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), std::numeric_limits<int64>::max());
    Seek(*clip.cache, PICTURE);
    EXPECT_EQ(clip.ReadTime(), PICTURE);
}

TEST(FilterCacheSpan, NoStepChangesNothingButIsStillTaken) {
    CachedClip const clip(3);
    clip.controller->SetCacheIncreaseSpan(0);
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND);
    clip.controller->SetCacheIncreaseSpan(SECOND);
    // It holds its one step already.
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND);
    clip.controller->SetCacheIncreaseSpan(0);
    clip.AsCache().DecreaseCacheSpan();
    clip.controller->SetCacheIncreaseSpan(SECOND);
    clip.AsCache().IncreaseCacheSpan();
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 2 * SECOND);
}

TEST(FilterCacheSpan, AStreamWithoutAPositionIsAlwaysSoughtForward) {
    CachedClip const clip(100);
    EXPECT_EQ(clip.AsCache().GetLogicalPosition(), NO_VALUE);
    Seek(*clip.cache, 0);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND);
}

TEST(FilterCacheSpan, GrowsWithAStepBackOutOfTheWindowAndShrinksWithOneAhead) {
    CachedClip const clip = MakeSoughtClip(500, 10 * SECOND);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND);
    Seek(*clip.cache, 8 * SECOND);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 2 * SECOND);
    Seek(*clip.cache, 5 * SECOND);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 2 * SECOND);
    EXPECT_THAT(clip.source->log.Take(),
                ElementsAre("RequestSeek(6000000)", "DoSeek", "RequestSeek(3000000)", "DoSeek"));
    Seek(*clip.cache, 12 * SECOND);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND);
    EXPECT_THAT(clip.source->log.Take(), ElementsAre("RequestSeek(11000000)", "DoSeek"));
}

TEST(FilterCacheSpan, ASeekToWhereTheReaderStandsCountsAsOneBack) {
    CachedClip const clip = MakeSoughtClip(500, 10 * SECOND);
    Seek(*clip.cache, 10 * SECOND);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), 2 * SECOND);
}

TEST(FilterCacheSpan, StaysAsItIsWithSeeksInsideTheWindow) {
    CachedClip const clip = MakeSoughtClip(500, 10 * SECOND);
    clip.ReadTimes(5);
    Seek(*clip.cache, 9500000 + 1);
    EXPECT_EQ(clip.AsCache().GetCacheSpan(), SECOND);
}

}  // namespace
}  // namespace Tarsel::Proc
