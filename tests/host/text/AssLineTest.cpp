#include "host/text/AssLine.h"

#include <gtest/gtest.h>

namespace Tarsel::Host {
namespace {

AssLine Parsed(std::string const& line) {
    AssLine event;
    EXPECT_EQ(ParseAssLine(line, event), "") << line;
    return event;
}

std::string Refusal(std::string const& line) {
    AssLine event;
    return ParseAssLine(line, event);
}

TEST(AssLine, TenFieldsAreThoseOfAScript) {
    AssLine const event = Parsed("Dialogue: 3,0:01:02.03,1:00:00.50,Top,Ann,10,0020,7,Banner;5,Hello");
    EXPECT_EQ(event.layer, 3);
    EXPECT_EQ(event.start, 62030);
    EXPECT_EQ(event.end, 3600500);
    EXPECT_EQ(event.style, "Top");
    EXPECT_EQ(event.name, "Ann");
    EXPECT_EQ(event.marginLeft, 10);
    EXPECT_EQ(event.marginRight, 20);
    EXPECT_EQ(event.marginVertical, 7);
    EXPECT_EQ(event.effect, "Banner;5");
    EXPECT_EQ(event.text, "Hello");
}

TEST(AssLine, FiveFieldsAreLayerTimesStyleAndText) {
    AssLine const event = Parsed("Dialogue: 0,0:00:01.23,0:00:02.00,Default,Hello");
    EXPECT_EQ(event.layer, 0);
    EXPECT_EQ(event.start, 1230);
    EXPECT_EQ(event.end, 2000);
    EXPECT_EQ(event.style, "Default");
    EXPECT_EQ(event.name, "");
    EXPECT_EQ(event.marginLeft, 0);
    EXPECT_EQ(event.text, "Hello");
}

TEST(AssLine, CommasBehindTheLastFieldBelongToTheText) {
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,a, b, c, d, e, f, g, h").text,
              "a, b, c, d, e, f, g, h");
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,,0,0,0,,a, b, c, 0, 0, 0, d").text,
              "a, b, c, 0, 0, 0, d");
}

TEST(AssLine, MarginsTellTheFormsApart) {
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,x,,,,,text").text, "text");
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,x,0,0,-5,,text").marginVertical, -5);
    // A word in the place of a margin: the list belongs to a text.
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,1,2,3,four,5,6").text, "1,2,3,four,5,6");
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,1,2,3,4,5").text, "1,2,3,4,5");
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,0:00:02.00,Default,x,99999999999,0,0,,y").text, "x,99999999999,0,0,,y");
}

TEST(AssLine, AListOfNumbersWithBlanksIsText) {
    std::string const begin = "Dialogue: 0,0:00:01.00,0:00:02.00,Default,";
    for (char const* text :
         {"Lottery: 1, 2, 3, 4, 5, 6", "1, 2, 3, 4, 5, 6, 7", "x,1 ,2,3,,y", "x,1,2\t,3,,y", "x,1,2, 3,,y", "x, ,,,,y"})
        EXPECT_EQ(Parsed(begin + text).text, text);
    EXPECT_EQ(Parsed(begin + "x, 1,2,3,,y").marginRight, 0);
}

TEST(AssLine, HundredthsAreANumberAndMayBeAHundred) {
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.100,0:00:02.99,Default,a").start, 2000);
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.5,0:00:02.99,Default,a").start, 1050);
    EXPECT_EQ(Parsed("Dialogue: 0, 0:00:01.05 ,0:00:02.99,Default,a").start, 1050);
}

TEST(AssLine, SixDigitsBehindThePointAreMicroseconds) {
    AssLine const event = Parsed("Dialogue: 0,0:00:01.998000,0:01:02.002999,Default,a");
    EXPECT_EQ(event.start, 1998);
    EXPECT_EQ(event.end, 62002);
    // A millisecond is the least that can be seen.
    AssLine const brief = Parsed("Dialogue: 0,0:00:01.998200,0:00:01.998700,Default,a");
    EXPECT_EQ(brief.start, 1998);
    EXPECT_EQ(brief.end, 1999);
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.000100,1000000:59:59.999999,Default,a").end, 3600003599999);
    EXPECT_EQ(Refusal("Dialogue: 0,0:00:01.998000,0:00:01.998000,Default,a"), "it doesn't end behind its start");
    for (char const* time : {"0:00:01.12345", "0:00:01.1234567", "0:00:01.12345x"})
        EXPECT_EQ(Refusal(std::string("Dialogue: 0,") + time + ",0:00:02.00,Default,a"), "its start is no time")
            << time;
}

TEST(AssLine, LineEndsInTheTextAreBreaks) {
    std::string const begin = "Dialogue: 0,0:00:01.00,0:00:02.00,Default,";
    for (char const* text : {"a\rb", "a\nb", "a\r\nb", "a\vb", "a\fb", "a\\Nb"})
        EXPECT_EQ(Parsed(begin + text).text, "a\\Nb");
    EXPECT_EQ(Parsed(begin + "a\n\rb").text, "a\\N\\Nb");
    EXPECT_EQ(Parsed(begin + "\na\tb").text, "\\Na\tb");
    EXPECT_EQ(Parsed(begin + "a\r\n\r\n").text, "a");
    EXPECT_EQ(Parsed(begin).text, "");
}

TEST(AssLine, OldScriptsNameAMarkInThePlaceOfALayer) {
    EXPECT_EQ(Parsed("Dialogue: Marked=0,0:00:01.00,0:00:02.00,Default,x,0,0,0,,text").layer, 0);
    EXPECT_EQ(Parsed("Dialogue:-2,0:00:01.00,0:00:02.00,Default,text").layer, -2);
    EXPECT_EQ(Parsed("Dialogue: 99999999999,0:00:01.00,0:00:02.00,Default,text").layer, 0);
}

TEST(AssLine, SaysWhatIsWrong) {
    std::string const prefix = "it doesn't begin with \"Dialogue:\"";
    EXPECT_EQ(Refusal(""), prefix);
    EXPECT_EQ(Refusal("Comment: 0,0:00:01.00,0:00:02.00,Default,a"), prefix);
    EXPECT_EQ(Refusal("dialogue: 0,0:00:01.00,0:00:02.00,Default,a"), prefix);
    EXPECT_EQ(Refusal("Dialogue:"), "there are 1 fields in it, not 5 or 10");
    EXPECT_EQ(Refusal("Dialogue: 0,0:00:01.00,0:00:02.00,text"), "there are 4 fields in it, not 5 or 10");
    for (char const* time : {"", "1", "0:00", "0:00:01", "0:00:01.", "0:00:01.1000", "0:0x:01.00", "0:100:01.00",
                             "-0:00:01.00", "0:-1:01.00", ":00:01.00", "00000000:00:01.00", "1000001:00:00.00"}) {
        EXPECT_EQ(Refusal(std::string("Dialogue: 0,") + time + ",0:00:02.00,Default,a"), "its start is no time")
            << time;
        EXPECT_EQ(Refusal(std::string("Dialogue: 0,0:00:01.00,") + time + ",Default,a"), "its end is no time") << time;
    }
    std::string const order = "it doesn't end behind its start";
    EXPECT_EQ(Refusal("Dialogue: 0,0:00:02.00,0:00:01.00,Default,a"), order);
    EXPECT_EQ(Refusal("Dialogue: 0,0:00:02.00,0:00:02.00,Default,a"), order);
    EXPECT_EQ(Refusal(std::string("Dialogue: 0,0:00:01.00,0:00:02.00,Default,a\0b", 44)), "there is a byte 0 in it");
    EXPECT_EQ(Parsed("Dialogue: 0,0:00:01.00,1000000:59:59.99,Default,a").end, 3600003599990);
}

TEST(AssLine, TextThatIsNoUtf8IsRefused) {
    std::string const begin = "Dialogue: 0,0:00:01.00,0:00:02.00,Default,";
    for (char const* text : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\x7F"})
        EXPECT_EQ(Parsed(begin + text).text, text);
    for (char const* text : {"\xE4", "\xC3", "\xC0\x80", "\xE2\x82", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80",
                             "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\x80", "\xC3z", "\xFF"})
        EXPECT_EQ(Refusal(begin + text), "it isn't UTF-8") << text;
}

}  // namespace
}  // namespace Tarsel::Host
