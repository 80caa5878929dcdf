#include "host/cut/RangeText.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Tarsel::Host {
namespace {

struct TimeCase {
    char const* text;
    int64 time;
};

TEST(RangeText, ReadsEveryFormOfATime) {
    for (TimeCase const& item : {TimeCase{"0", 0},
                                 {"5", 5 * SECOND},
                                 {"90", 90 * SECOND},
                                 {"5.25", 5250000},
                                 {"1:02", 62 * SECOND},
                                 {"01:02:03.5", 3723500000},
                                 {"100:00:00", 360000 * SECOND},
                                 {"75:10", 4510 * SECOND},
                                 {"2.5s", 2500000},
                                 {"1500ms", 1500000},
                                 {"1.5ms", 1500},
                                 {"7us", 7},
                                 {"0.0000014", 1},
                                 {"0.0000015", 2},
                                 {"0.9999999", SECOND},
                                 {"2592000", MAX_DURATION}}) {
        SCOPED_TRACE(item.text);
        EXPECT_EQ(ParseTime(item.text), item.time);
    }
}

TEST(RangeText, RefusesWhatIsNoTime) {
    for (char const* text :
         {"",     " ",    "x",  "-5", "+5",  "5 ",   "1:60", "1:2:60", "1:60:00", "1:2:3:4", ":5",
          "5:",   "1..2", ".5", "5.", "1e3", "5sec", "s",    "ms",     "1,5",     "2592001", "99999999999999999999",
          "0x10", "1:5s"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(ParseTime(text), std::nullopt);
    }
}

TEST(RangeText, SidesOfARangeMayBeOpen) {
    EXPECT_EQ(ParseRange("1-2.5").begin, SECOND);
    EXPECT_EQ(ParseRange("1-2.5").end, 2500000);
    for (char const* text : {"-5", "start-5"}) {
        EXPECT_EQ(ParseRange(text).begin, std::nullopt) << text;
        EXPECT_EQ(ParseRange(text).end, 5 * SECOND) << text;
    }
    for (char const* text : {"5-", "5-end"}) {
        EXPECT_EQ(ParseRange(text).begin, 5 * SECOND) << text;
        EXPECT_EQ(ParseRange(text).end, std::nullopt) << text;
    }
    EXPECT_EQ(ParseRange("-").begin, std::nullopt);
    EXPECT_EQ(ParseRange("start-end").end, std::nullopt);
}

std::string Refusal(std::string const& text) {
    try {
        ParseRange(text);
    } catch (std::invalid_argument const& refusal) {
        return refusal.what();
    }
    return "accepted";
}

TEST(RangeText, RefusalsQuoteTheTextAndSayWhatIsWrong) {
    EXPECT_EQ(Refusal("5"), "\"5\" is not a range A-B");
    EXPECT_EQ(Refusal("x-5"), "\"x-5\": \"x\" is not a time (start of the range)");
    EXPECT_EQ(Refusal("1-end2"), "\"1-end2\": \"end2\" is not a time (end of the range)");
    EXPECT_EQ(Refusal("end-5"), "\"end-5\": \"end\" is not a time (start of the range)");
    EXPECT_EQ(Refusal("5-5"), "\"5-5\": the end of the range is not after its start");
    EXPECT_EQ(Refusal("6-5"), "\"6-5\": the end of the range is not after its start");
    EXPECT_EQ(Refusal("-0"), "\"-0\": the end of the range is not after its start");
    EXPECT_EQ(Refusal("1-2-3"), "\"1-2-3\": \"2-3\" is not a time (end of the range)");
}

TEST(RangeText, ShortTimesAreRoundedToMilliseconds) {
    EXPECT_EQ(ShortTime(0), "00:00.000");
    EXPECT_EQ(ShortTime(1500), "00:00.002");
    EXPECT_EQ(ShortTime(3723456789), "1:02:03.457");
    EXPECT_EQ(ShortTime(-21333), "-00:00.021");
    EXPECT_EQ(ShortTime(NO_VALUE), "?");
}

}  // namespace
}  // namespace Tarsel::Host
