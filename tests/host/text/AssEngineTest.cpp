// What the text engine draws and when. Shapes that the script itself draws need no font and are exact; letters are
// measured by the box that they fill.
#include "host/text/AssEngine.h"

#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "tests/host/text/TextSupport.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

TEST(AssEngine, DrawsAShapeExactlyWhereItStands) {
    Drawing const drawing = DrawLine(Rectangle(10, 20, 40, 30, "\\1c&H102030&"));
    ASSERT_TRUE(drawing.picture);
    EXPECT_EQ(SolidBox(drawing), CropInfo(10, 50, 20, 50));
    EXPECT_EQ(drawing.crop.top, 20U);
    EXPECT_EQ(drawing.crop.bottom, 50U);
    EXPECT_LE(drawing.crop.GetWidth(), 42U);
    for (u32 y = 20; y < 50; ++y)
        for (u32 x = 11; x < 49; ++x) ASSERT_EQ(PixelOfFrame(drawing, x, y), 0x302010FFU) << x << " " << y;
    EXPECT_EQ(drawing.picture->GetPixelFormat(), PIX_FMT_RGBA);
}

TEST(AssEngine, CutsOffWhatStandsBesideTheFrame) {
    Drawing const corner = DrawLine(Rectangle(-7, -9, 40, 30));
    EXPECT_EQ(SolidBox(corner), CropInfo(0, 33, 0, 21));
    EXPECT_EQ(corner.crop.left, 0U);
    EXPECT_EQ(PixelOfFrame(corner, 0, 0), 0xFFFFFFFFU);
    Drawing const other = DrawLine(Rectangle(301, 211, 40, 30));
    EXPECT_EQ(SolidBox(other), CropInfo(301, 320, 211, 240));
    EXPECT_EQ(other.crop.right, 320U);
    EXPECT_EQ(other.crop.bottom, 240U);
    EXPECT_EQ(DrawLine(Rectangle(400, 20, 40, 30)).picture, nullptr);
}

TEST(AssEngine, OddPlacesAndSizesStayExact) {
    Drawing const drawing = DrawLine(Rectangle(11, 21, 3, 1));
    EXPECT_EQ(SolidBox(drawing), CropInfo(11, 14, 21, 22));
}

TEST(AssEngine, ColoursThatLieOverEachOtherMix) {
    // Red at half over blue: 127 / 255 of red, and the alpha of one that hides what is below it.
    auto const engine = MakeEngine(PlainHeader(), {Line(Rectangle(0, 0, 20, 1, "\\1c&HFF0000&")),
                                                   Line(Rectangle(10, 0, 20, 1, "\\1c&H0000FF&\\1a&H80&"))});
    Drawing const drawing = DrawText(*engine, 2000);
    EXPECT_EQ(PixelOfFrame(drawing, 5, 0), 0x0000FFFFU);
    EXPECT_EQ(PixelOfFrame(drawing, 15, 0), 0x7F0080FFU);
    EXPECT_EQ(PixelOfFrame(drawing, 25, 0), 0xFF00007FU);
}

TEST(AssEngine, DrawsFromTheStartOfALineUntoItsEnd) {
    auto const engine = MakeEngine(PlainHeader(), {Line("0:00:01.00", "0:00:02.50", Rectangle(0, 0, 2, 2))});
    CropInfo crop;
    EXPECT_EQ(engine->RenderImage(0, SMALL, crop), nullptr);
    EXPECT_EQ(engine->RenderImage(999999, SMALL, crop), nullptr);
    EXPECT_NE(engine->RenderImage(1000000, SMALL, crop), nullptr);
    EXPECT_NE(engine->RenderImage(2499999, SMALL, crop), nullptr);
    EXPECT_EQ(engine->RenderImage(2500000, SMALL, crop), nullptr);
    EXPECT_EQ(engine->RenderImage(-1, SMALL, crop), nullptr);
    EXPECT_EQ(engine->RenderImage(NO_VALUE, SMALL, crop), nullptr);
    EXPECT_EQ(engine->RenderImage(std::numeric_limits<int64>::max(), SMALL, crop), nullptr);
    EXPECT_EQ(engine->RenderImage(NO_VALUE + 1, SMALL, crop), nullptr);
}

TEST(AssEngine, BothFormsOfALineDrawTheSame) {
    auto const full = MakeEngine(PlainHeader(), {Line("one, two, 3, 4, 5, 6, 7")});
    auto const brief = MakeEngine(PlainHeader(), {"Dialogue: 0,0:00:01.00,0:00:03.00,Default,one, two, 3, 4, 5, 6, 7"});
    Drawing const drawing = DrawText(*full, 2000);
    EXPECT_TRUE(AreSame(drawing, DrawText(*brief, 2000)));
    EXPECT_GT(drawing.crop.GetWidth(), 100U);
    // Times may print a hundred hundredths.
    auto const late = MakeEngine(PlainHeader(), {"Dialogue: 0,0:00:01.100,0:00:03.00,Default,one"});
    EXPECT_EQ(DrawText(*late, 1999).picture, nullptr);
    EXPECT_NE(DrawText(*late, 2000).picture, nullptr);
}

TEST(AssEngine, LineEndsInATextAreBreaks) {
    Drawing const two = DrawLine("up\\Ndown");
    EXPECT_GT(two.crop.GetHeight(), DrawLine("up").crop.GetHeight() + 15);
    for (char const* text : {"up\rdown", "up\ndown", "up\r\ndown", "up\vdown", "up\fdown"})
        EXPECT_TRUE(AreSame(DrawLine(text), two));
}

TEST(AssEngine, ALineThatIsThereAlreadyIsDrawnAgain) {
    std::string const line = Line("twice"), half = Line(Rectangle(0, 0, 20, 20, "\\1a&H80&"));
    auto const engine = MakeEngine(PlainHeader(), {line, line});
    Drawing const once = DrawLine("twice"), both = DrawText(*engine, 2000);
    EXPECT_EQ(both.crop.bottom, once.crop.bottom);
    EXPECT_GT(both.crop.GetHeight(), once.crop.GetHeight() + 15) << "one above the other";
    EXPECT_EQ(Counted(*engine, "Lines"), 2);
    // Scripts lay the same line over itself to make it stronger.
    unsigned const weak = PixelOfFrame(DrawText(*MakeEngine(PlainHeader(), {half}), 2000), 5, 5) & 255;
    unsigned const strong = PixelOfFrame(DrawText(*MakeEngine(PlainHeader(), {half, half}), 2000), 5, 5) & 255;
    EXPECT_NEAR(static_cast<int>(weak), 127, 2);
    EXPECT_NEAR(static_cast<int>(strong), 191, 2);
    engine->ClearLines();
    EXPECT_EQ(DrawText(*engine, 2000).picture, nullptr);
    engine->AddTextLine(line);
    EXPECT_TRUE(AreSame(DrawText(*engine, 2000), once));
}

TEST(AssEngine, MalformedLinesAreLeftOutWithAWarningEachUpToTen) {
    LogLines const log(0);
    auto const engine = MakeEngine(PlainHeader());
    engine->AddTextLine("Dialogue: 0,0:00:01.00,0:00:02.00,text");
    EXPECT_EQ(log.Get(google::GLOG_WARNING).back(),
              "Subtitle line is left out, there are 4 fields in it, not 5 or 10: "
              "\"Dialogue: 0,0:00:01.00,0:00:02.00,text\"");
    engine->AddTextLine("\xFFhello\n");
    EXPECT_EQ(log.Get(google::GLOG_WARNING).back(),
              "Subtitle line is left out, it doesn't begin with \"Dialogue:\": \"?hello?\"");
    for (int i = 0; i < 20; ++i) engine->AddTextLine(std::string(1000, 'x'));
    EXPECT_EQ(log.Count("Subtitle line is left out"), 10U);
    EXPECT_EQ(log.Get(google::GLOG_WARNING).back(),
              "Subtitle line is left out, it doesn't begin with \"Dialogue:\": \"" + std::string(120, 'x') +
                  "...\"; further ones are only counted");
    EXPECT_EQ(Counted(*engine, "Malformed"), 22);
    EXPECT_EQ(Counted(*engine, "Lines"), 0);
    EXPECT_EQ(DrawText(*engine, 1500).picture, nullptr);
}

TEST(AssEngine, WhileNothingChangesThePictureIsTheSameObject) {
    auto const engine = MakeEngine(PlainHeader(), {Line("0:00:01.00", "0:00:03.00", Rectangle(0, 0, 2, 2)),
                                                   Line("0:00:02.00", "0:00:03.00", Rectangle(9, 9, 2, 2))});
    Drawing const one = DrawText(*engine, 1000);
    EXPECT_EQ(DrawText(*engine, 1999).picture, one.picture);
    EXPECT_EQ(DrawText(*engine, 1200).picture, one.picture);
    EXPECT_EQ(Counted(*engine, "Lines"), 2);
    EXPECT_EQ(engine->GetStatistic().Children().at(1).GetInt64(), 1) << "one rendering";
    auto const pixels = PixelsOf(*one.picture);
    Drawing const both = DrawText(*engine, 2000);
    EXPECT_NE(both.picture, one.picture);
    EXPECT_EQ(SolidBox(both), CropInfo(0, 11, 0, 11));
    EXPECT_EQ(SolidBox(one), CropInfo(0, 2, 0, 2));
    // What was given stays as it was.
    EXPECT_EQ(PixelsOf(*one.picture), pixels);
    EXPECT_EQ(DrawText(*engine, 2999).picture, both.picture);
    EXPECT_EQ(SolidBox(DrawText(*engine, 2999, {320, 240, 16, 15})), CropInfo(0, 11, 0, 11));
    EXPECT_NE(DrawText(*engine, 2999, {640, 480, 1, 1}).picture, both.picture);
}

TEST(AssEngine, ALineThatComesWhileItsTimeIsShownIsDrawnAtOnce) {
    auto const engine = MakeEngine(PlainHeader(), {Line(Rectangle(0, 0, 2, 2))});
    EXPECT_EQ(SolidBox(DrawText(*engine, 2000)), CropInfo(0, 2, 0, 2));
    engine->AddTextLine(Line("0:00:01.50", "0:00:03.00", Rectangle(9, 9, 2, 2)));
    EXPECT_EQ(SolidBox(DrawText(*engine, 2000)), CropInfo(0, 11, 0, 11));
    // A later one leaves it alone.
    auto const before = DrawText(*engine, 2000).picture;
    engine->AddTextLine(Line("0:00:02.50", "0:00:03.00", Rectangle(19, 19, 2, 2)));
    EXPECT_EQ(DrawText(*engine, 2100).picture, before);
    EXPECT_EQ(SolidBox(DrawText(*engine, 2500)), CropInfo(0, 21, 0, 21));
}

TEST(AssEngine, WhatMovesIsDrawnAnew) {
    auto const fading = MakeEngine(PlainHeader(), {Line(Rectangle(0, 0, 20, 2, "\\fad(1000,0)"))});
    Drawing const early = DrawText(*fading, 1250), later = DrawText(*fading, 1500), whole = DrawText(*fading, 2500);
    EXPECT_NEAR(static_cast<int>(PixelOfFrame(early, 5, 0) & 255), 64, 2);
    EXPECT_NEAR(static_cast<int>(PixelOfFrame(later, 5, 0) & 255), 128, 2);
    EXPECT_EQ(PixelOfFrame(whole, 5, 0) & 255, 255U);
    EXPECT_EQ(DrawText(*fading, 2600).picture, whole.picture) << "it has come to rest";
    std::string moving = Rectangle(0, 0, 2, 2);
    moving.replace(moving.find("\\pos(0,0)"), 9, "\\move(0,0,200,0)");
    auto const walking = MakeEngine(PlainHeader(), {Line(moving)});
    EXPECT_EQ(SolidBox(DrawText(*walking, 1500)), CropInfo(50, 52, 0, 2));
    EXPECT_EQ(SolidBox(DrawText(*walking, 2000)), CropInfo(100, 102, 0, 2));
}

/// Boxes of three lines of which each meets the next, as they come on screen.
std::vector<std::string> Chain() {
    return {Line("0:00:00.00", "0:00:04.00", "first"), Line("0:00:02.00", "0:00:08.00", "second"),
            Line("0:00:06.00", "0:00:10.00", "third")};
}

TEST(AssEngine, LinesStayWhereTheyStandWhileOthersComeAndGo) {
    auto const engine = MakeEngine(PlainHeader(), Chain());
    Drawing const both = DrawText(*engine, 3000), alone = DrawText(*engine, 5000), next = DrawText(*engine, 7000);
    EXPECT_EQ(alone.crop.top, both.crop.top);
    EXPECT_LT(alone.crop.bottom, both.crop.bottom);
    EXPECT_EQ(next.crop.top, both.crop.top);
    EXPECT_NEAR(next.crop.bottom, both.crop.bottom, 1);
    ContactSheet sheet("text-lines", 3);
    sheet.Add(both.picture, "3 s: the second above the first");
    sheet.Add(alone.picture, "5 s: the second alone");
    sheet.Add(next.picture, "7 s: the third below the second");
}

TEST(AssEngine, PicturesAreTheSameHoweverTheTimeCameThere) {
    auto const straight = MakeEngine(PlainHeader(), Chain());
    std::vector<Drawing> drawings;
    for (int i = 0; i < 260; ++i) drawings.push_back(DrawText(*straight, i * 40));
    auto const jumping = MakeEngine(PlainHeader(), Chain());
    for (int i = 0; i < 260; ++i) {
        int const frame = i * 101 % 260;
        EXPECT_TRUE(AreSame(DrawText(*jumping, frame * 40), drawings[static_cast<std::size_t>(frame)])) << frame;
    }
    for (int const frame : {175, 20, 120}) {
        jumping->ClearLines();
        for (std::string const& line : Chain()) jumping->AddTextLine(line);
        EXPECT_TRUE(AreSame(DrawText(*jumping, frame * 40), drawings[static_cast<std::size_t>(frame)])) << frame;
    }
    // Lines that come late, and in another order.
    auto const late = MakeEngine(PlainHeader(), {Chain()[2], Chain()[1]});
    DrawText(*late, 7000);
    late->AddTextLine(Chain()[0]);
    EXPECT_TRUE(AreSame(DrawText(*late, 7000), drawings[175]));
    EXPECT_TRUE(AreSame(DrawText(*late, 3000), drawings[75]));
}

std::string InHundredths(int time) {
    std::string const part = std::to_string(time % 100);
    return "0:00:" + std::to_string(time / 1000) + std::to_string(time / 100 % 10) + (time % 100 < 10 ? ".0" : ".") +
           part;
}

/// So many lines, one each hundredth, each of which meets the next alone.
std::vector<std::string> LongChain(int count) {
    std::vector<std::string> lines;
    for (int i = 0; i < count; ++i) lines.push_back(Line(InHundredths(i), InHundredths(i + 2), std::to_string(i)));
    return lines;
}

TEST(AssEngine, ALongChainOfLinesStandsAsWhenItIsPlayedThrough) {
    auto const straight = MakeEngine(PlainHeader(), LongChain(301));
    for (int time = 5; time < 3015; time += 10) DrawText(*straight, time);
    Drawing const last = DrawText(*straight, 3015);
    ASSERT_TRUE(last.picture);
    EXPECT_TRUE(AreSame(DrawText(*MakeEngine(PlainHeader(), LongChain(301)), 3015), last));
    // One line more, and it is the other row.
    EXPECT_NE(DrawText(*MakeEngine(PlainHeader(), LongChain(302)), 3025).crop.bottom, last.crop.bottom);
}

int64 Renderings(ITextEngine& engine) {
    return engine.GetStatistic()["Count"].GetInt64();
}

TEST(AssEngine, ManyLinesAreDrawnInBoundedWork) {
    auto const chain = MakeEngine(PlainHeader(), LongChain(1100));
    EXPECT_NE(DrawText(*chain, 11005).picture, nullptr);
    EXPECT_EQ(Renderings(*chain), 1001);
}

TEST(AssEngine, LinesWithPlacesOfTheirOwnNeedNotBeSeenComing) {
    auto const drawn = [](std::string const& orders) {
        std::vector<std::string> lines;
        for (int i = 0; i < 300; ++i) {
            std::string line = Line(InHundredths(i), "0:00:09.00", Rectangle(i, 0, 1, 1));
            if (!orders.empty()) line.replace(line.find("\\pos("), line.find(")") - line.find("\\pos(") + 1, orders);
            lines.push_back(line);
        }
        auto engine = MakeEngine(PlainHeader(), lines);
        Drawing const drawing = DrawText(*engine, 8000);
        return std::pair(Renderings(*engine), SolidBox(drawing));
    };
    EXPECT_EQ(drawn(""), std::pair(int64{1}, CropInfo(0, 300, 0, 1)));
    EXPECT_EQ(drawn("\\pos( 7.5 , +3)").first, 1);
    // None of these is a place.
    for (char const* orders : {"\\pos(7)", "\\pos(7,)", "\\pos(x,y)", "\\an7"})
        EXPECT_EQ(drawn(orders).first, 301) << orders;
}

TEST(AssEngine, AnUnknownStyleIsToldOnceAndAnotherTaken) {
    LogLines const log(0);
    auto const engine = MakeEngine(PlainHeader(), {Line("0:00:01.00", "0:00:03.00", "a", "Absent"),
                                                   Line("0:00:01.00", "0:00:03.00", "b", "Absent")});
    EXPECT_EQ(log.Count("Subtitle style \"Absent\" isn't there, another one is taken"), 1U);
    EXPECT_NE(DrawText(*engine, 2000).picture, nullptr);
    for (char const* name : {"Default", "default", "*Default", "**DEFAULT"})
        MakeEngine(PlainHeader(), {Line("0:00:01.00", "0:00:03.00", "a", name)});
    EXPECT_EQ(log.Count("Subtitle style"), 1U);
    // The one named so, or the first of the script.
    auto const styled = [](std::string const& name, std::string const& colour) {
        return name + ",DejaVu Sans,20,&H00" + colour +
               ",&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,0,0,5,10,10,10,1";
    };
    auto const colour = [](std::vector<std::string> const& styles) {
        std::string const line = Line("0:00:01.00", "0:00:03.00", Rectangle(0, 0, 20, 20), "No");
        return PixelOfFrame(DrawText(*MakeEngine(ScriptHeader(320, 240, styles), {line}), 2000), 10, 10);
    };
    EXPECT_EQ(colour({styled("A", "0000FF"), styled("Default", "00FF00"), styled("B", "FF0000")}), 0x00FF00FFU);
    EXPECT_EQ(colour({styled("A", "0000FF"), styled("B", "FF0000")}), 0xFF0000FFU);
    EXPECT_EQ(colour({}), 0xFFFFFFFFU);
}

TEST(AssEngine, LinesInTheHeaderAreNoLines) {
    auto const engine = MakeEngine(PlainHeader() + Line("in front") + "\n");
    EXPECT_EQ(DrawText(*engine, 2000).picture, nullptr);
    EXPECT_EQ(Counted(*engine, "Lines"), 0);
}

TEST(AssEngine, HeadersOfAnyKindAreSafe) {
    LogLines const log(0);
    for (std::string const header :
         {"words", "[Script Info]\nPlayResX: -5\nPlayResY: 99999999999\n", "[V4+ Styles]\nFormat: \nStyle: ,,,\n",
          "[V4 Styles]\nStyle: Old,Arial,20\n[Events]\nDialogue: Marked=0,x\n", "[Fonts]\nfontname: x\n!!!\n",
          "[Events]\nFormat: Text\n", "\xFF\xFE[Script Info]\n", "\xEF\xBB\xBF[Script Info]\nPlayResY: 1\n"}) {
        auto const engine = MakeEngine(header, {Line("words"), Line("{\\fn}others")});
        DrawText(*engine, 2000);
        EXPECT_EQ(Counted(*engine, "Lines"), 2) << header;
    }
    // What the library complains of while it reads is told.
    MakeEngine(PlainHeader() + "Dialogue: 0,broken\n");
    MakeEngine(std::string("[Script Info]\0\n", 15));
    EXPECT_GT(log.Count("Drawing text: "), 0U);
}

TEST(AssEngine, StylesAreThoseOfTheHeader) {
    std::string const upper =
        "Upper,DejaVu Sans,40,&H000000FF,&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,0,0,8,10,10,10,1";
    auto const engine = MakeEngine(
        ScriptHeader(320, 240, {PLAIN, upper}),
        {Line("0:00:01.00", "0:00:02.00", "HI", "Default"), Line("0:00:03.00", "0:00:04.00", "HI", "Upper")});
    Drawing const small = DrawText(*engine, 1500), large = DrawText(*engine, 3500);
    EXPECT_GT(small.crop.top, 200U);
    EXPECT_LT(large.crop.bottom, 60U);
    EXPECT_NEAR(large.crop.GetHeight(), small.crop.GetHeight() * 2.0, 2);
    EXPECT_EQ(PixelAt(*large.picture, 2, 10) >> 8, 0xFF0000U);
}

TEST(AssEngine, TheStageIsStretchedToTheFrame) {
    Drawing const drawing = DrawLine(Rectangle(10, 20, 40, 30), {}, PlainHeader(), {640, 720, 1, 1});
    EXPECT_EQ(SolidBox(drawing), CropInfo(20, 100, 60, 150));
}

TEST(AssEngine, AStageWithoutSidesIsThatOfOldScreens) {
    Conf::FrameInfo const frame{768, 576, 1, 1};
    std::string const both = ScriptHeader(384, 288, {PLAIN});
    for (auto const& [width, height] : std::vector<std::pair<int, int>>{{0, 0}, {384, 0}, {0, 288}})
        EXPECT_TRUE(AreSame(DrawLine("Text", {}, ScriptHeader(width, height, {PLAIN}), frame),
                            DrawLine("Text", {}, both, frame)));
}

TEST(AssEngine, WithoutAHeaderLettersAreThatPartOfEveryFrame) {
    ContactSheet sheet("text-default", 2);
    for (std::string const header : {"", "  \r\n"})
        for (int const scale : {1, 2, 3}) {
            Conf::FrameInfo const frame{320 * scale, 180 * scale, 1, 1};
            Drawing const drawing = DrawLine("HELLO", {}, header, frame);
            ASSERT_TRUE(drawing.picture);
            // Capitals of 18 of 288 lines with a line around them, 12 above the edge.
            EXPECT_NEAR(drawing.crop.GetHeight() / double(scale), 10.5, 1.5);
            EXPECT_NEAR(drawing.crop.bottom / double(scale), 180 - 12 * 180 / 288.0 - 1.5, 2);
            EXPECT_NEAR((drawing.crop.left + drawing.crop.right) / 2.0, 160.0 * scale, 2 * scale);
            sheet.Add(drawing.picture, "white letters with a black line around them");
        }
}

TEST(AssEngine, AWideFrameHasTheSameLettersAndMoreRoom) {
    Drawing const wide = DrawLine("HELLO", {}, "", {1000, 180, 1, 1});
    Drawing const narrow = DrawLine("HELLO", {}, "", {320, 180, 1, 1});
    EXPECT_EQ(wide.crop.GetWidth(), narrow.crop.GetWidth());
    EXPECT_EQ(wide.crop.GetHeight(), narrow.crop.GetHeight());
}

TEST(AssEngine, ShapesKeepTheirFormOnPixelsThatAreNotSquare) {
    // What is to be as wide as it is high on screen has fewer pixels in a row where these are wide.
    ContactSheet sheet("text-anamorphic", 3);
    Drawing const square = DrawLine("OOO", {}, PlainHeader(), {720, 576, 1, 1});
    for (auto const& [num, den] : std::vector<std::pair<int, int>>{{16, 15}, {64, 45}, {8, 9}, {2, 1}}) {
        Drawing const letters = DrawLine("OOO", {}, PlainHeader(), {720, 576, num, den});
        EXPECT_NEAR(letters.crop.GetWidth() * double(num) / den, square.crop.GetWidth(), 2.5);
        EXPECT_EQ(letters.crop.GetHeight(), square.crop.GetHeight());
        sheet.Add(letters.picture, "letters for pixels of " + std::to_string(num) + "/" + std::to_string(den));
    }
    // Without a usable aspect pixels are square.
    for (Conf::FrameInfo const& info :
         {Conf::FrameInfo{720, 576, 0, 1}, Conf::FrameInfo{720, 576, 1, 0}, Conf::FrameInfo{720, 576, -4, 3}})
        EXPECT_TRUE(AreSame(DrawLine("OOO", {}, PlainHeader(), info), square));
}

TEST(AssEngine, FramesOfAnySizeAreSafe) {
    auto const engine = MakeEngine("", {Line("Some words that are wider than a small frame")});
    for (auto const& [width, height] :
         std::vector<std::pair<int, int>>{{1, 1}, {2, 2}, {2, 1000}, {1000, 2}, {7680, 4320}, {16384, 16}}) {
        Drawing const drawing = DrawText(*engine, 2000, {width, height, 1, 1});
        if (!drawing.picture) continue;
        EXPECT_LE(drawing.crop.right, static_cast<u32>(width));
        EXPECT_LE(drawing.crop.bottom, static_cast<u32>(height));
        EXPECT_EQ(drawing.picture->GetWidth(), static_cast<int>(drawing.crop.GetWidth()));
        EXPECT_EQ(drawing.picture->GetHeight(), static_cast<int>(drawing.crop.GetHeight()));
    }
    EXPECT_GT(DrawText(*engine, 2000, {7680, 4320, 1, 1}).crop.GetWidth(), 3000U);
    for (auto const& [width, height] : std::vector<std::pair<int, int>>{{0, 0}, {0, 5}, {5, 0}, {-4, 4}})
        EXPECT_EQ(DrawText(*engine, 2000, {width, height, 1, 1}).picture, nullptr);
}

/// Where the highest ink of a picture is: 0 at its left, 1 at its right.
double HighestAt(Drawing const& drawing) {
    double sum = 0;
    int count = 0;
    int const width = drawing.picture->GetWidth();
    for (int y = 0; y < drawing.picture->GetHeight() && count == 0; ++y)
        for (int x = 0; x < width; ++x) {
            if ((PixelAt(*drawing.picture, x, y) & 255) < 128) continue;
            sum += x;
            ++count;
        }
    return sum / count / width;
}

TEST(AssEngine, RightToLeftLettersRunFromTheRight) {
    // Letters that rise above their neighbours: l, lamed, the Arabic alef.
    std::string const at = "{\\an7\\pos(20,20)\\fs60}", lamed = "\u05DC", yod = "\u05D9", alef = "\u0627",
                      seen = "\u0633";
    ContactSheet sheet("text-bidirectional", 2);
    auto const highest = [&](std::string const& text, std::string const& caption) {
        Drawing const drawing = DrawLine(at + text);
        sheet.Add(drawing.picture, caption);
        return HighestAt(drawing);
    };
    EXPECT_LT(highest("laaa", "l at the left"), 0.2);
    EXPECT_GT(highest(lamed + yod + yod, "the high lamed at the right"), 0.5);
    EXPECT_LT(highest(yod + yod + lamed, "the high lamed at the left"), 0.5);
    EXPECT_GT(highest(alef + seen + seen, "the high alef at the right"), 0.8);
    EXPECT_LT(highest(seen + seen + alef, "the high alef at the left"), 0.2);
    // Among Latin letters the whole runs from the left, the words in it from the right.
    double const left = highest("aaa " + yod + yod + lamed + " aaa", "a a a, lamed, yod, yod, a a a");
    double const right = highest("aaa " + lamed + yod + yod + " aaa", "a a a, yod, yod, lamed, a a a");
    EXPECT_LT(left, right - 0.05);
    EXPECT_GT(left, 0.3);
    EXPECT_LT(right, 0.7);
}

TEST(AssEngine, WithoutAHeaderTheFirstLetterSaysWhereALineBegins) {
    std::string const at = "{\\an7\\pos(20,20)\\bord0}", yod = "\u05D9";
    EXPECT_GT(HighestAt(DrawLine(at + yod + " l", {}, PlainHeader())), 0.5) << "a script says it itself";
    EXPECT_LT(HighestAt(DrawLine(at + yod + " l", {}, "")), 0.5);
    EXPECT_LT(HighestAt(DrawLine(at + "l " + yod, {}, "")), 0.5);
}

TEST(AssEngine, WithoutAHeaderBracketsStayAroundTheirWords) {
    std::string const yod = "\u05D9", mark = "\u200F";
    std::string const plain = yod + " (abc) 12", told = yod + " (abc)" + mark + " 12";
    EXPECT_TRUE(AreSame(DrawLine(plain, {}, ""), DrawLine(told, {}, "")));
    // A script that fixes its direction is drawn as other programs draw it, which know no pairs.
    EXPECT_FALSE(AreSame(DrawLine(plain), DrawLine(told)));
}

}  // namespace
}  // namespace Tarsel::Host
