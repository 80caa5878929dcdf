#include "Proc/Filters/Filters/FilterDurationTrimmerAux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/Uncuttable.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

/// The verdict on a picture, which is changed as a trimmer would have it.
int Correct(iptr<IDataVideo>& frame, int64 start, int64 duration) {
    return CorrectDataForDT(frame, start, duration);
}
int Correct(iptr<IDataVideo>&& frame, int64 start, int64 duration) {
    return CorrectDataForDT(frame, start, duration);
}

TEST(CorrectDataForDT, ItemWithinTheSpanIsKeptAsItIs) {
    auto frame = MakeVideo(40, 40);
    auto const* const before = frame.get();
    EXPECT_EQ(Correct(frame, 40, 80), DT_KEEP);
    EXPECT_THAT(frame, IsVideo(40, 40));
    EXPECT_EQ(frame.get(), before);
}

TEST(CorrectDataForDT, ItemThatEndsAtOrBeforeTheStartIsDropped) {
    EXPECT_EQ(Correct(MakeVideo(0, 40), 40, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeVideo(0, 40), 50, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeVideo(-80, 40), 0, 100), DT_DROP);
}

TEST(CorrectDataForDT, ItemThatBeginsAtOrBehindTheEndIsBehind) {
    EXPECT_EQ(Correct(MakeVideo(100, 40), 0, 100), DT_BEHIND);
    EXPECT_EQ(Correct(MakeVideo(101, 40), 0, 100), DT_BEHIND);
    EXPECT_EQ(Correct(MakeVideo(99, 40), 0, 100), DT_KEEP);
}

TEST(CorrectDataForDT, ItemOverTheStartIsCutInFront) {
    auto frame = MakeVideo(40, 40);
    EXPECT_EQ(Correct(frame, 50, 200), DT_KEEP);
    EXPECT_THAT(frame, IsVideo(50, 30));
}

TEST(CorrectDataForDT, ItemOverTheEndIsCutBehind) {
    auto frame = MakeVideo(80, 40);
    EXPECT_EQ(Correct(frame, 0, 100), DT_KEEP);
    EXPECT_THAT(frame, IsVideo(80, 20));
}

TEST(CorrectDataForDT, ItemOverBothIsCutOnBothSides) {
    auto frame = MakeVideo(0, 1000);
    EXPECT_EQ(Correct(frame, 300, 400), DT_KEEP);
    EXPECT_THAT(frame, IsVideo(300, 100));
}

TEST(CorrectDataForDT, ItemFromWhichNothingWouldBeLeftIsBehind) {
    // Start behind the end: what both cuts take is more than there is.
    EXPECT_EQ(Correct(MakeVideo(0, 1000), 400, 300), DT_BEHIND);
    EXPECT_EQ(Correct(MakeVideo(0, 1000), 300, 300), DT_BEHIND);
}

TEST(CorrectDataForDT, ItemOfDurationZeroBehindTheStartCountsAsBehindTheEnd) {
    EXPECT_EQ(Correct(MakeVideo(50, 0), 40, 100), DT_BEHIND);
    EXPECT_EQ(Correct(MakeVideo(40, 0), 40, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeVideo(50, -5), 40, 100), DT_BEHIND);
}

TEST(CorrectDataForDT, ItemWithoutATimeOrDurationIsDropped) {
    EXPECT_EQ(Correct(MakeVideo(NO_VALUE, 40), 0, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeVideo(0, NO_VALUE), 0, 100), DT_DROP);
}

TEST(CorrectDataForDT, ReadingBeforeASeekIsRefused) {
    EXPECT_EQ(MessageOf<Exception>([] { Correct(MakeVideo(0, 40), NO_VALUE, 100); }),
              "There was no initial seek before reading! Check application logic!");
    // This is looked at first.
    EXPECT_EQ(MessageOf<Exception>([] { Correct(MakeVideo(0, 40), NO_VALUE, 0); }),
              "There was no initial seek before reading! Check application logic!");
}

TEST(CorrectDataForDT, DurationsOutOfTheRangeAreRefused) {
    for (int64 const duration : {int64{0}, int64{-1}, NO_VALUE, MAX_DURATION + 1})
        EXPECT_EQ(MessageOf<Exception>([&] { Correct(MakeVideo(0, 40), 0, duration); }),
                  "Duration is out of (0, MAX_DURATION]")
            << duration;
    EXPECT_EQ(Correct(MakeVideo(0, 40), 0, MAX_DURATION), DT_KEEP);
    EXPECT_EQ(Correct(MakeVideo(0, 40), 0, 1), DT_KEEP);
}

TEST(CorrectDataForDT, ItemThatCannotBeCutIsDroppedAndLogged) {
    LogLines const log(21);
    EXPECT_EQ(Correct(MakeUncuttable(0, 40), 10, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeUncuttable(80, 40), 0, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeUncuttable(0, 40), 0, 100), DT_KEEP);
    EXPECT_THAT(log.Get(google::GLOG_INFO),
                ElementsAre("Can't cut due to:this one stays whole", "Can't cut due to:this one stays whole"));
    iptr<IData> packet = MakePacket(0, 0, 40, true);
    EXPECT_EQ(CorrectDataForDT(packet, 10, 100), DT_DROP);
    EXPECT_EQ(log.Count("Can't cut due to:"), 3U);
}

TEST(CorrectDataForDT, NothingIsLoggedBelowItsLevel) {
    LogLines const log(20);
    EXPECT_EQ(Correct(MakeUncuttable(0, 40), 10, 100), DT_DROP);
    EXPECT_FALSE(log.Has("Can't cut"));
}

TEST(CorrectDataForDT, ItemOfAnotherOwnerIsClonedBeforeItIsCut) {
    auto const shared = MakeVideo(0, 100, 7);
    auto frame = shared;
    EXPECT_EQ(Correct(frame, 10, 60), DT_KEEP);
    EXPECT_THAT(frame, IsVideo(10, 50));
    EXPECT_EQ(ShadeOf(*frame), 7);
    EXPECT_THAT(shared, IsVideo(0, 100));
    // One that isn't changed stays the same object, also when it is shared.
    frame = shared;
    EXPECT_EQ(Correct(frame, 0, 100), DT_KEEP);
    EXPECT_EQ(frame, shared);
}

TEST(CorrectDataForDT, TimesAtTheEdgesOfTheNumbersDoNotOverflow) {
    constexpr int64 MAX = std::numeric_limits<int64>::max();
    EXPECT_EQ(Correct(MakeVideo(MAX, MAX), 0, 100), DT_BEHIND);
    EXPECT_EQ(Correct(MakeVideo(NO_VALUE + 1, 40), 0, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeVideo(NO_VALUE + 1, MAX), MAX, 100), DT_DROP);
    EXPECT_EQ(Correct(MakeVideo(0, MAX), NO_VALUE + 1, 100), DT_KEEP);
    EXPECT_EQ(Correct(MakeVideo(0, 40), MAX, 100), DT_DROP);
}

TEST(CorrectDataForDT, WhatIsKeptLiesWithinTheSpanAndWithinTheItem) {
    for (unsigned seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int from, int to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        int64 const time = any(-50, 150), length = any(0, 60), start = any(-20, 120), duration = any(1, 120);
        auto frame = MakeVideo(time, length);
        int const verdict = Correct(frame, start, duration);
        int64 const begin = std::max(time, start), end = std::min(time + length, duration);
        if (begin < end) {
            EXPECT_EQ(verdict, DT_KEEP);
            EXPECT_THAT(frame, IsVideo(begin, end - begin));
        } else {
            EXPECT_EQ(verdict, time + length <= start ? DT_DROP : DT_BEHIND);
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc
