#include "Proc/Filters/Filters/DialogueLine.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/Titles.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

/// The line of an event of these times.
std::string LineOf(char const* text, int64 pts, u32 begin, u32 end, int64 time = NO_VALUE) {
    AVSubtitle event = MakeEvent({TextRect(text)});
    event.pts = pts;
    event.start_display_time = begin;
    event.end_display_time = end;
    std::string line = MakeDialogueLine(event, *event.rects[0], time);
    avsubtitle_free(&event);
    return line;
}

std::string TextOf(char const* text) {
    std::string const line = LineOf(text, 0, 0, 0);
    std::string const head = "Dialogue: 0,0:00:00.00,0:00:00.00,Default,";
    EXPECT_EQ(line.substr(0, head.size()), head);
    return line.substr(head.size());
}

/// How a moment is written.
std::string TimeOf(u32 milliseconds) {
    std::string const line = LineOf("", 0, milliseconds, 0);
    std::string const head = "Dialogue: 0,";
    return line.substr(head.size(), line.find(',', head.size()) - head.size());
}

TEST(DialogueLine, HasLayerTimesStyleAndText) {
    EXPECT_EQ(LineOf("Good morning.", 61000000, 0, 2500), "Dialogue: 0,0:01:01.00,0:01:03.50,Default,Good morning.");
    EXPECT_EQ(LineOf("a", 1000000, 200, 300), "Dialogue: 0,0:00:01.20,0:00:01.30,Default,a");
}

TEST(DialogueLine, IsEmptyWithoutAText) {
    EXPECT_EQ(LineOf(nullptr, 0, 0, 1000), "");
}

TEST(DialogueLine, AnEmptyTextStillMakesALine) {
    EXPECT_EQ(LineOf("", 0, 0, 1000), "Dialogue: 0,0:00:00.00,0:00:01.00,Default,");
}

TEST(DialogueLine, HundredthsAreRoundedUpFromSixMillisecondsOn) {
    EXPECT_EQ(TimeOf(1234), "0:00:01.23");
    EXPECT_EQ(TimeOf(1235), "0:00:01.23");
    EXPECT_EQ(TimeOf(1236), "0:00:01.24");
    EXPECT_EQ(TimeOf(1239), "0:00:01.24");
    EXPECT_EQ(TimeOf(1240), "0:00:01.24");
    EXPECT_EQ(TimeOf(6), "0:00:00.01");
    EXPECT_EQ(TimeOf(1005), "0:00:01.00");
}

TEST(DialogueLine, HundredHundredthsAreNotCarried) {
    EXPECT_EQ(TimeOf(995), "0:00:00.99");
    EXPECT_EQ(TimeOf(996), "0:00:00.100");
    EXPECT_EQ(TimeOf(59999), "0:00:59.100");
    EXPECT_EQ(TimeOf(3599999), "0:59:59.100");
}

TEST(DialogueLine, HoursGrowWithoutPadding) {
    EXPECT_EQ(TimeOf(3600000), "1:00:00.00");
    EXPECT_EQ(TimeOf(36000000), "10:00:00.00");
    EXPECT_EQ(TimeOf(363723450), "101:02:03.45");
    EXPECT_EQ(TimeOf(std::numeric_limits<u32>::max()), "1193:02:47.29");
}

TEST(DialogueLine, MicrosecondsOfTheEventAreCutOff) {
    EXPECT_EQ(LineOf("a", 1999, 0, 9), "Dialogue: 0,0:00:00.00,0:00:00.01,Default,a");
    EXPECT_EQ(LineOf("a", 999, 5, 6), "Dialogue: 0,0:00:00.00,0:00:00.01,Default,a");
}

TEST(DialogueLine, AnEventWithoutATimeOfItsOwnIsWhereItsItemIs) {
    EXPECT_EQ(LineOf("a", AV_NOPTS_VALUE, 0, 1000, 7000000), "Dialogue: 0,0:00:07.00,0:00:08.00,Default,a");
    EXPECT_EQ(LineOf("a", 3000000, 0, 1000, 7000000), "Dialogue: 0,0:00:03.00,0:00:04.00,Default,a");
    EXPECT_EQ(LineOf("a", AV_NOPTS_VALUE, 0, 1000, NO_VALUE), "Dialogue: 0,0:00:00.00,0:00:01.00,Default,a");
}

TEST(DialogueLine, NoTimeIsBelowZero) {
    EXPECT_EQ(LineOf("a", -500000, 0, 2000), "Dialogue: 0,0:00:00.00,0:00:01.50,Default,a");
    EXPECT_EQ(LineOf("a", -5000000, 0, 2000), "Dialogue: 0,0:00:00.00,0:00:00.00,Default,a");
    EXPECT_EQ(LineOf("a", NO_VALUE + 1, 0, 2000), "Dialogue: 0,0:00:00.00,0:00:00.00,Default,a");
}

TEST(DialogueLine, TheLargestTimesDoNotOverflow) {
    // 9223372036854775 + 4294967295 milliseconds.
    EXPECT_EQ(LineOf("a", std::numeric_limits<int64>::max(), 0, std::numeric_limits<u32>::max()),
              "Dialogue: 0,2562047788:00:54.77,2562048981:03:42.07,Default,a");
}

TEST(DialogueLine, LineBreakTagLeavesItsTail) {
    EXPECT_EQ(TextOf("a<br/>b"), "a\\Nbr/>b");
    EXPECT_EQ(TextOf("a<br>b"), "a\\Nbr>b");
    EXPECT_EQ(TextOf("a<BR/>b<Br>c"), "a\\NBR/>b\\NBr>c");
    EXPECT_EQ(TextOf("<br>"), "\\Nbr>");
}

TEST(DialogueLine, LineBreakTagKeepsTheStateOfTheWhiteSpace) {
    // The tag's tail ends it.
    EXPECT_EQ(TextOf("  <br> b"), "\\Nbr> b");
    EXPECT_EQ(TextOf("a <br>  b"), "a \\Nbr> b");
}

TEST(DialogueLine, OtherTagsStayAsTheyAre) {
    EXPECT_EQ(TextOf("<b>"), "<b>");
    EXPECT_EQ(TextOf("<b>bold</b> and <i>not</i>"), "<b>bold</b> and <i>not</i>");
    EXPECT_EQ(TextOf("<br"), "<br");
    EXPECT_EQ(TextOf("<br/"), "<br/");
    EXPECT_EQ(TextOf("<br />"), "<br />");
    EXPECT_EQ(TextOf("<b r>"), "<b r>");
    EXPECT_EQ(TextOf("a < b > c <"), "a < b > c <");
}

TEST(DialogueLine, RunsOfWhiteSpaceShrinkToTheirFirstCharacter) {
    EXPECT_EQ(TextOf("  a   b"), "a b");
    EXPECT_EQ(TextOf("a\t  b \n c\r\nd\v\fe"), "a\tb c\rd\ve");
    EXPECT_EQ(TextOf("a  "), "a ");
    EXPECT_EQ(TextOf(" \t\r\n\v\f"), "");
}

TEST(DialogueLine, LettersBeyondAsciiPass) {
    EXPECT_EQ(TextOf("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"), "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80");
    // A no-break space is a letter.
    EXPECT_EQ(TextOf("a\xC2\xA0\xC2\xA0"
                     "b"),
              "a\xC2\xA0\xC2\xA0"
              "b");
}

TEST(DialogueLine, ALongTextOfOpenTagsIsOneScan) {
    std::string const open(2000000, '<');
    EXPECT_EQ(TextOf(open.c_str()), open);
}

}  // namespace
}  // namespace Tarsel::Proc
