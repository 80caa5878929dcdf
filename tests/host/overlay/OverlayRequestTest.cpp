// What stands behind `--with`.
#include "host/overlay/OverlayRequest.h"

#include <gtest/gtest.h>

#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using TestSupport::MessageOf;

std::string ErrorOf(std::string const& text) {
    return MessageOf<GraphException>([&] { ParseOverlay(text); });
}

TEST(OverlayRequest, PlaceAloneDrawsAsItIsFromTheStartOn) {
    OverlayRequest const request = ParseOverlay("logo.png@100,20");
    EXPECT_EQ(request.text, "logo.png@100,20");
    EXPECT_EQ(request.file, "logo.png");
    EXPECT_EQ(request.x, 100);
    EXPECT_EQ(request.y, 20);
    EXPECT_EQ(request.start, 0);
    EXPECT_EQ(request.alpha, 255);
    EXPECT_FALSE(request.show);
    EXPECT_FALSE(request.hide);
    EXPECT_FALSE(request.loop);
    EXPECT_FALSE(request.still);
    EXPECT_FALSE(request.width);
    EXPECT_FALSE(request.height);
}

TEST(OverlayRequest, OptionsStandInAnyOrder) {
    OverlayRequest const request =
        ParseOverlay("a.gif@-8,-1000000,loop,blink=2/500ms,size=320x180,start=1:30,alpha=0.5");
    EXPECT_EQ(request.file, "a.gif");
    EXPECT_EQ(request.x, -8);
    EXPECT_EQ(request.y, -1000000);
    EXPECT_EQ(request.start, 90000000);
    EXPECT_EQ(request.alpha, 128);
    EXPECT_EQ(request.show, 2000000);
    EXPECT_EQ(request.hide, 500000);
    EXPECT_EQ(request.width, 320);
    EXPECT_EQ(request.height, 180);
    EXPECT_TRUE(request.loop);
    EXPECT_FALSE(request.still);
    EXPECT_TRUE(ParseOverlay("a.gif@0,0,still").still);
}

TEST(OverlayRequest, LastAtSignEndsTheNameSoThatOthersAndCommasMayStandInIt) {
    EXPECT_EQ(ParseOverlay("me@home.png@1,2").file, "me@home.png");
    EXPECT_EQ(ParseOverlay("logo, small.png@1,2").file, "logo, small.png");
    EXPECT_EQ(ParseOverlay("a@3,4,loop.png@1,2,still").file, "a@3,4,loop.png");
    EXPECT_EQ(ParseOverlay("@@1,2").file, "@");
    EXPECT_EQ(ParseOverlay("a=b.png@1,2").file, "a=b.png");
}

TEST(OverlayRequest, AlphaIsRoundedToTheNearest255th) {
    struct Case {
        char const* text;
        int alpha;
    };
    for (Case const& c : {Case{"0", 0},
                          {"1", 255},
                          {"0.5", 128},
                          {"0.1", 26},
                          {"0.499", 127},
                          {"1e-3", 0},
                          {"0.00196", 0},
                          {"0.00197", 1},
                          {"0.998", 254},
                          {"0.9981", 255}})
        EXPECT_EQ(ParseOverlay(std::string("a@0,0,alpha=") + c.text).alpha, c.alpha) << c.text;
}

TEST(OverlayRequest, BlinkingWithoutAHiddenTimeLeavesItOpen) {
    OverlayRequest const request = ParseOverlay("a@0,0,blink=1.5,alpha=0.2");
    EXPECT_EQ(request.show, 1500000);
    EXPECT_FALSE(request.hide);
    EXPECT_EQ(request.alpha, 51);
}

TEST(OverlayRequest, SideThatIsLeftOutStaysOpen) {
    EXPECT_EQ(ParseOverlay("a@0,0,size=320x").width, 320);
    EXPECT_FALSE(ParseOverlay("a@0,0,size=320x-1").height);
    EXPECT_FALSE(ParseOverlay("a@0,0,size=x180").width);
    EXPECT_EQ(ParseOverlay("a@0,0,size=-1X180").height, 180);
}

TEST(OverlayRequest, MistakesQuoteTheTextAndTellWhatIsWrong) {
    struct Case {
        char const* text;
        char const* what;
    };
    for (Case const& c : {
             Case{"logo.png", "there is no \"@X,Y\" behind the file"},
             {"", "there is no \"@X,Y\" behind the file"},
             {"@1,2", "the file is missing in front of \"@\""},
             {"a@", "behind \"@\" must stand X,Y, not \"\""},
             {"a@1", "behind \"@\" must stand X,Y, not \"1\""},
             {"a@b.png", "behind \"@\" must stand X,Y, not \"b.png\""},
             {"a@,2", "X must be a whole number from -1000000 to 1000000, not \"\""},
             {"a@1.5,2", "X must be a whole number from -1000000 to 1000000, not \"1.5\""},
             {"a@+1,2", "X must be a whole number from -1000000 to 1000000, not \"+1\""},
             {"a@1, 2", "Y must be a whole number from -1000000 to 1000000, not \" 2\""},
             {"a@1,loop", "Y must be a whole number from -1000000 to 1000000, not \"loop\""},
             {"a@1,1000001", "Y must be a whole number from -1000000 to 1000000, not \"1000001\""},
             {"a@99999999999,2", "X must be a whole number from -1000000 to 1000000, not \"99999999999\""},
             {"a@1,2,", "an option is missing behind a comma"},
             {"a@1,2,,loop", "an option is missing behind a comma"},
             {"a@1,2,=3", "an option is missing behind a comma"},
             {"a@1,2,lop", "there is no option \"lop\"; did you mean \"loop\"?"},
             {"a@1,2,loop,loop", "\"loop\" stands twice"},
             {"a@1,2,alpha=1,alpha=1", "\"alpha\" stands twice"},
             {"a@1,2,loop=1", "\"loop\" takes no value"},
             {"a@1,2,still=", "\"still\" takes no value"},
             {"a@1,2,start", "\"start\" needs a value: start=..."},
             {"a@1,2,start=", "start: \"\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,start=-1", "start: \"-1\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,start=31d", "start: \"31d\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,start=2592001", "start: \"2592001\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,alpha=", "alpha: \"\" is not a number from 0 to 1"},
             {"a@1,2,alpha=1.01", "alpha: \"1.01\" is not a number from 0 to 1"},
             {"a@1,2,alpha=-0.1", "alpha: \"-0.1\" is not a number from 0 to 1"},
             {"a@1,2,alpha=nan", "alpha: \"nan\" is not a number from 0 to 1"},
             {"a@1,2,alpha=50%", "alpha: \"50%\" is not a number from 0 to 1"},
             {"a@1,2,blink=", "blink: \"\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,blink=0", "blink: \"0\" is not above 0"},
             {"a@1,2,blink=1/0", "blink: \"0\" is not above 0"},
             {"a@1,2,blink=1/", "blink: \"\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,blink=1/2/3", "blink: \"2/3\" is not a time (1:30, 2.5, 40ms)"},
             {"a@1,2,size=5", "size: \"5\" is not WxH (320x180, 320x, x180)"},
             {"a@1,2,size=x", "size: \"x\" tells neither of the two sides"},
             {"a@1,2,size=0x5", "size: \"0x5\" is not WxH, both from 1 to 16384, one of them -1 or left out"},
             {"a@1,2,size=5x16385", "size: \"5x16385\" is not WxH, both from 1 to 16384, one of them -1 or left out"},
             {"a@1,2,size=5x5x5", "size: \"5x5x5\" is not WxH, both from 1 to 16384, one of them -1 or left out"},
         })
        EXPECT_EQ(ErrorOf(c.text), '"' + std::string(c.text) + "\": " + c.what);
}

}  // namespace
}  // namespace Tarsel::Host
