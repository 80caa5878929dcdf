#include <gtest/gtest.h>

#include <limits>

#include "contracts/Core/Time.h"
#include "contracts/Proc/Time.h"

namespace Tarsel {
namespace {

constexpr int64 LARGEST = std::numeric_limits<int64>::max();

TEST(Time, NoValueIsTheSmallestInteger) {
    EXPECT_EQ(static_cast<uint64>(NO_VALUE), 0x8000000000000000U);
    EXPECT_FALSE(HasValue(NO_VALUE));
    EXPECT_TRUE(HasValue(0));
    EXPECT_EQ(MAX_DURATION, 30LL * 24 * 3600 * SECOND);
}

TEST(Time, SumsWithNoValueHaveNone) {
    EXPECT_EQ(AddTime(NO_VALUE, 1), NO_VALUE);
    EXPECT_EQ(AddTime(1, NO_VALUE), NO_VALUE);
    EXPECT_EQ(AddTime(NO_VALUE, NO_VALUE), NO_VALUE);
    EXPECT_EQ(SubTime(NO_VALUE, 1), NO_VALUE);
    EXPECT_EQ(SubTime(1, NO_VALUE), NO_VALUE);
    EXPECT_EQ(AddTime(40000, 2), 40002);
    EXPECT_EQ(SubTime(40000, 2), 39998);
}

TEST(Time, SumsSaturateAndNeverBecomeNoValue) {
    EXPECT_EQ(AddTime(LARGEST, 1), LARGEST);
    EXPECT_EQ(AddTime(NO_VALUE + 1, -1), NO_VALUE + 1);
    EXPECT_EQ(AddTime(NO_VALUE + 1, -LARGEST), NO_VALUE + 1);
    EXPECT_EQ(SubTime(-2, LARGEST), NO_VALUE + 1);
    EXPECT_EQ(SubTime(0, LARGEST), -LARGEST);
    EXPECT_EQ(SubTime(LARGEST, -1), LARGEST);
}

TEST(Time, RescaleRoundsToTheNearestAwayFromZero) {
    EXPECT_EQ(AvRescale(SECOND, 1001, 30000), 33367);
    EXPECT_EQ(AvRescale(1, 1, 2), 1);
    EXPECT_EQ(AvRescale(-1, 1, 2), -1);
    EXPECT_EQ(AvRescale(1, 1, 3), 0);
    EXPECT_EQ(AvRescale(MAX_DURATION, 192000, SECOND), MAX_DURATION / SECOND * 192000);
    EXPECT_EQ(AvRescale(LARGEST, LARGEST, LARGEST), LARGEST);
}

TEST(Time, RescaleOfWhatHasNoResultHasNoValue) {
    EXPECT_EQ(AvRescale(NO_VALUE, 1, 1), NO_VALUE);
    EXPECT_EQ(AvRescale(1, -1, 1), NO_VALUE);
    EXPECT_EQ(AvRescale(1, 1, 0), NO_VALUE);
    EXPECT_EQ(AvRescale(1, 1, -1), NO_VALUE);
    EXPECT_EQ(AvRescale(LARGEST, 2, 1), NO_VALUE);
}

TEST(Time, SampleCountsRoundToTheNearest) {
    EXPECT_EQ(Proc::Duration2SampleCount(SECOND, 44100), 44100);
    EXPECT_EQ(Proc::Duration2SampleCount(11, 44100), 0);
    EXPECT_EQ(Proc::Duration2SampleCount(12, 44100), 1);
    EXPECT_EQ(Proc::Duration2SampleCount(NO_VALUE, 44100), 0);
    EXPECT_EQ(Proc::Duration2SampleCount(SECOND, -1), 0);
    EXPECT_EQ(Proc::SampleCount2Duration(1, 44100), 23);
    EXPECT_EQ(Proc::SampleCount2Duration(1024, 48000), 21333);
    EXPECT_EQ(Proc::SampleCount2Duration(1, 0), NO_VALUE);
}

TEST(Time, TextShowsHoursToMicroseconds) {
    EXPECT_EQ(Proc::T2S(0), "0:00:00.000000");
    EXPECT_EQ(Proc::T2S(3723000004), "1:02:03.000004");
    EXPECT_EQ(Proc::T2S(-1500000), "-0:00:01.500000");
    EXPECT_EQ(Proc::T2S(MAX_DURATION), "720:00:00.000000");
    EXPECT_EQ(Proc::T2S(NO_VALUE), "N/A");
    EXPECT_EQ(Proc::T2S(LARGEST), "2562047788:00:54.775807");
}

TEST(AudioTime, IsUnknownUntilReset) {
    Proc::AudioTime time;
    EXPECT_FALSE(time.isInit());
    EXPECT_EQ(time.GetTime(), NO_VALUE);
    time.AddSamples(48000, 480);
    EXPECT_FALSE(time.isInit());
    EXPECT_EQ(time.GetTime(), NO_VALUE);
    time.Reset(100);
    EXPECT_TRUE(time.isInit());
    EXPECT_EQ(time.GetTime(), 100);
    time.Reset(NO_VALUE);
    EXPECT_FALSE(time.isInit());
}

TEST(AudioTime, DoesNotDriftOverAMillionBlocks) {
    Proc::AudioTime time;
    time.Reset(0);
    for (int i = 0; i < 1000000; ++i) time.AddSamples(44100, 1);
    EXPECT_EQ(time.GetTime(), Proc::SampleCount2Duration(1000000, 44100));
    EXPECT_EQ(time.GetTime(), 22675737);
}

TEST(AudioTime, GoesOnOverAChangeOfRate) {
    Proc::AudioTime time;
    time.Reset(5);
    time.AddSamples(44100, 44100);
    time.AddSamples(48000, 24000);
    EXPECT_EQ(time.GetTime(), 5 + SECOND + SECOND / 2);
}

TEST(AudioTime, HugeCountsDoNotOverflow) {
    Proc::AudioTime time;
    time.Reset(0);
    time.AddSamples(48000, std::numeric_limits<uint64>::max());
    time.AddSamples(48000, std::numeric_limits<uint64>::max());
    EXPECT_EQ(time.GetTime(), Proc::SampleCount2Duration(LARGEST, 48000));
}

}  // namespace
}  // namespace Tarsel
