#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/Proc/SubtitleDrawerSupport.h"
#include "tests/support/Draw.h"
#include "tests/support/Matchers.h"
#include "tests/support/TitleBitmaps.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FilterSubtitleDrawerSeekTest : public SubtitleDrawerTest {
  protected:
    /// Where the subtitles are sought for a seek to `target`.
    std::vector<std::string> SubtitlesSoughtFor(int64 target) {
        subtitles->log.Take();
        Seek(*drawer, target);
        return subtitles->log.Take();
    }
};

TEST_F(FilterSubtitleDrawerSeekTest, SubtitlesAreSoughtFiveSecondsAhead) {
    Make(1, {});
    EXPECT_THAT(SubtitlesSoughtFor(20 * SECOND), ElementsAre("RequestSeek(15000000)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(5 * SECOND + 1), ElementsAre("RequestSeek(1)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(5 * SECOND), ElementsAre("RequestSeek(0)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(0), ElementsAre("RequestSeek(0)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(-1), ElementsAre("RequestSeek(0)", "DoSeek"));
}

TEST_F(FilterSubtitleDrawerSeekTest, DelayMovesWhereSubtitlesAreSought) {
    Make(1, {});
    drawer->SetSubtitleDelay(2 * SECOND);
    EXPECT_THAT(SubtitlesSoughtFor(20 * SECOND), ElementsAre("RequestSeek(13000000)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(7 * SECOND), ElementsAre("RequestSeek(0)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(7 * SECOND + 1), ElementsAre("RequestSeek(1)", "DoSeek"));
    drawer->SetSubtitleDelay(-2 * SECOND);
    EXPECT_THAT(SubtitlesSoughtFor(20 * SECOND), ElementsAre("RequestSeek(17000000)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(3 * SECOND + 1), ElementsAre("RequestSeek(1)", "DoSeek"));
}

TEST_F(FilterSubtitleDrawerSeekTest, TargetsAndDelaysAtTheEndsOfTimeAreHeld) {
    Make(1, {});
    EXPECT_THAT(SubtitlesSoughtFor(NO_VALUE), ElementsAre("RequestSeek(0)", "DoSeek"));
    EXPECT_THAT(SubtitlesSoughtFor(NO_VALUE + 1), ElementsAre("RequestSeek(0)", "DoSeek"));
    drawer->SetSubtitleDelay(INT64_MAX);
    EXPECT_THAT(SubtitlesSoughtFor(NO_VALUE + 1), ElementsAre("RequestSeek(0)", "DoSeek"));
    drawer->SetSubtitleDelay(-INT64_MAX);
    EXPECT_THAT(SubtitlesSoughtFor(10), ElementsAre("RequestSeek(9223372036849775807)", "DoSeek"));
}

TEST_F(FilterSubtitleDrawerSeekTest, PicturesAreSoughtToTheTargetWithTheSameContext) {
    Make(1, {});
    source->duration = 9 * SECOND;
    iptr<IRefCountable> const context = ScriptedVideo::Create({});
    drawer->RequestSeek(8 * SECOND, context);
    drawer->DoSeek();
    EXPECT_TRUE(drawer->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(8000000, context)", "DoSeek"));
    EXPECT_THAT(subtitles->log.Take(), ElementsAre("RequestSeek(3000000, context)", "DoSeek"));
    // Beyond the end is the end, for both.
    Seek(*drawer, 100 * SECOND);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(9000000)", "DoSeek"));
    EXPECT_THAT(subtitles->log.Take(), ElementsAre("RequestSeek(4000000)", "DoSeek"));
}

TEST_F(FilterSubtitleDrawerSeekTest, EachCallGoesToThePicturesFirstAndThenToTheSubtitles) {
    Make(2, TextsAt({0, SECOND}));
    CallLog both;
    source->log.TellAlso(both, "pictures: ");
    subtitles->log.TellAlso(both, "subtitles: ");
    Seek(*drawer, 10 * SECOND);
    EXPECT_THAT(both.Take(), ElementsAre("pictures: RequestSeek(10000000)", "subtitles: RequestSeek(5000000)",
                                         "pictures: DoSeek", "subtitles: DoSeek"));
    drawer->ReleaseInternalData();
    EXPECT_THAT(both.Take(), ElementsAre("pictures: ReleaseInternalData", "subtitles: ReleaseInternalData"));
    drawer->SetEndOfStream();
    EXPECT_THAT(both.Take(), ElementsAre("pictures: SetEndOfStream", "subtitles: SetEndOfStream"));
}

TEST_F(FilterSubtitleDrawerSeekTest, SubtitlesAreFetchedUpToTheTargetAgain) {
    Make(500, TextsAt({0, SECOND, 2 * SECOND, 6 * SECOND, 9 * SECOND, 10 * SECOND, 11 * SECOND}));
    Read(1);
    EXPECT_THAT(fetched, ElementsAre(2));
    Seek(*drawer, 10 * SECOND);
    subtitles->given = 0;
    fetched.clear();
    Read(2);
    // 6, 9, 10 and 11 seconds; then there is none.
    EXPECT_THAT(fetched, ElementsAre(4, 4));
    Seek(*drawer, 0);
    subtitles->given = 0;
    fetched.clear();
    Read(3);
    EXPECT_THAT(fetched, ElementsAre(2, 3, 4));
}

TEST_F(FilterSubtitleDrawerSeekTest, SubtitlesThatEndedAreReadAgainAfterASeek) {
    Make(500, TextsAt({0, SECOND}));
    Read(3);
    subtitles->given = 0;
    Seek(*drawer, 6 * SECOND);
    Read(1);
    EXPECT_EQ(subtitles->given, 1);
    EXPECT_EQ(Engine().lines.size(), 1U);
}

TEST_F(FilterSubtitleDrawerSeekTest, ASeekForgetsTheTitlesAndKeepsTheirProvider) {
    Make(500, TextsAt({0, SECOND}));
    Read(1);
    auto const provider = overlay->provider;
    EXPECT_EQ(Engine().lines.size(), 2U);
    drawer->RequestSeek(10 * SECOND, nullptr);
    EXPECT_EQ(Engine().clears, 1);
    EXPECT_THAT(Engine().lines, IsEmpty());
    drawer->DoSeek();
    Read(1);
    EXPECT_EQ(overlay->provider, provider);
    EXPECT_EQ(engines->made.size(), 1U);
}

TEST_F(FilterSubtitleDrawerSeekTest, ReleaseGoesToBothStreamsAndForgetsTheTitles) {
    Make(2, TextsAt({0, SECOND}));
    Read(1);
    source->log.Take();
    subtitles->log.Take();
    drawer->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(subtitles->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_EQ(Engine().clears, 1);
    Seek(*drawer, 0);
    Read(2);
    EXPECT_EQ(Engine().lines.size(), 2U);
}

TEST_F(FilterSubtitleDrawerSeekTest, ReleaseAndSeekAheadOfTheFirstReadNeedNoProvider) {
    Make(1, TextsAt({0}));
    drawer->ReleaseInternalData();
    Seek(*drawer, 0);
    Read(1);
    EXPECT_EQ(Engine().clears, 0);
}

TEST_F(FilterSubtitleDrawerSeekTest, ATitleIsFoundAgainThreeSecondsIntoItAndNotSixSecondsIntoALongOne) {
    Make(1000, {MakeTitle(10 * SECOND, 20 * SECOND, {Block(0, 0, 2, 2, WHITE)})});
    Seek(*drawer, 13 * SECOND);
    Read(1);
    EXPECT_NE(overlay->drawn.back().image, nullptr);
    Seek(*drawer, 15 * SECOND);
    Read(1);
    EXPECT_NE(overlay->drawn.back().image, nullptr) << "exactly five seconds";
    Seek(*drawer, 16 * SECOND);
    Read(1);
    EXPECT_EQ(overlay->drawn.back().image, nullptr);
}

TEST_F(FilterSubtitleDrawerSeekTest, ALineOfTextIsFoundAgainThreeSecondsIntoItAndNotSixSecondsIntoALongOne) {
    Make(1000, {MakeText(10 * SECOND, 20 * SECOND), MakeText(500 * SECOND, SECOND, "last")});
    Seek(*drawer, 13 * SECOND);
    Read(1);
    EXPECT_THAT(Engine().lines, ElementsAre("Dialogue: 0,0:00:10.00,0:00:30.00,Default,a",
                                            "Dialogue: 0,0:08:20.00,0:08:21.00,Default,last"));
    Seek(*drawer, 16 * SECOND);
    Read(1);
    EXPECT_THAT(Engine().lines, ElementsAre("Dialogue: 0,0:08:20.00,0:08:21.00,Default,last"));
}

/// What lies over each frame: its place and bytes, empty for nothing.
using Seen = std::map<int64, std::pair<std::string, std::vector<int>>>;

Seen WhatIsSeen(std::vector<ScriptedOverlay::Drawn> const& drawn) {
    Seen seen;
    for (auto const& one : drawn) {
        if (!one.image) {
            seen[one.time] = {};
            continue;
        }
        std::ostringstream place;
        place << one.crop;
        seen[one.time] = {place.str(), BytesOf(*one.image)};
    }
    return seen;
}

TEST_F(FilterSubtitleDrawerSeekTest, ReadingAfterAnySeekIsReadingStraightThroughForTitlesOfUpToFiveSeconds) {
    TestSupport::Draw draw(815);
    constexpr int FRAMES = 1000;  // 40 s
    int titlesSeen = 0;
    for (int round = 0; round < 6; ++round) {
        std::vector<int64> times;
        for (int i = 0; i < 30; ++i) times.push_back(draw.Below(40 * SECOND));
        std::sort(times.begin(), times.end());
        std::vector<iptr<IDataSubtitle>> titles;
        for (int64 const time : times) {
            std::vector<u8> const color{static_cast<u8>(draw.Below(256)), static_cast<u8>(draw.Below(256)), 0,
                                        static_cast<u8>(draw.Below(256))};
            int64 const duration = draw.Below(4) == 0 ? 5 * SECOND : draw.Below(5 * SECOND);
            titles.push_back(
                MakeTitle(time, duration,
                          {Block(static_cast<int>(draw.Below(9)), static_cast<int>(draw.Below(9)),
                                 static_cast<int>(1 + draw.Below(5)), static_cast<int>(1 + draw.Below(5)), color)}));
        }
        Make(FRAMES, titles);
        Seek(*drawer, 0);
        Read(FRAMES);
        Seen const straight = WhatIsSeen(overlay->drawn);
        ASSERT_EQ(straight.size(), std::size_t{FRAMES});
        for (int jump = 0; jump < 60; ++jump) {
            overlay->drawn.clear();
            int const first = static_cast<int>(draw.Below(FRAMES));
            Seek(*drawer, first * FRAME);
            Read(std::min(FRAMES - first, static_cast<int>(1 + draw.Below(40))));
            for (auto const& [time, seen] : WhatIsSeen(overlay->drawn)) {
                ASSERT_EQ(seen, straight.at(time)) << "at " << time << " after a seek to " << first * FRAME;
                titlesSeen += !seen.second.empty();
            }
        }
    }
    EXPECT_GT(titlesSeen, 1000);
}

}  // namespace
}  // namespace Tarsel::Proc
