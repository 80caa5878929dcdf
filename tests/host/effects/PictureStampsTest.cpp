#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

#include "contracts/Proc/SettingsEffectStamp.h"
#include "contracts/Proc/SettingsEffectText.h"
#include "tests/host/effects/EffectRun.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::Each;

// --- Stamp -----------------------------------------------------------------------------------------------------------

class StampEffectOnPictures : public ::testing::Test {
  protected:
    /// A red picture of 6 x 4, half of it transparent.
    std::string const file =
        MakeClip("stamp.png", {"-f", "lavfi", "-i", "color=c=red@0.5:s=6x4,format=rgba", "-frames:v", "1"});

    SettingsEffectStamp At(int x, int y, int alpha = 255) const {
        SettingsEffectStamp settings;
        settings.SetFile(file);
        settings.SetX(x);
        settings.SetY(y);
        settings.SetAlpha(alpha);
        return settings;
    }
    /// The left upper corner of what is drawn, and how red it is there.
    struct Spot {
        int x, y, red;
        bool operator==(Spot const&) const = default;
    };
    Spot Find(SettingsEffectStamp const& settings) const {
        Part const red = ReadPart(*After(settings, {DrawPlain(PIX_FMT_RGBA, 20, 10, {0, 0, 0, 255})}), 0);
        for (int y = 0; y < red.height; ++y)
            for (int x = 0; x < red.width; ++x)
                if (red.At(x, y) != 0) return {x, y, red.At(x, y)};
        return {-1, -1, 0};
    }
};

TEST_F(StampEffectOnPictures, DrawsTheFileByItsAlpha) {
    Spot const spot = Find(At(3, 2));
    EXPECT_EQ(spot.x, 3);
    EXPECT_EQ(spot.y, 2);
    EXPECT_NEAR(spot.red, 128, 1);
    EXPECT_NEAR(Find(At(3, 2, 128)).red, 64, 1);
    EXPECT_EQ(Find(At(3, 2, 0)), (Spot{-1, -1, 0}));
}

TEST_F(StampEffectOnPictures, PositionsBelowZeroCountFromTheFarEdges) {
    EXPECT_EQ(Find(At(-1, -1)).x, 14);
    EXPECT_EQ(Find(At(-1, -1)).y, 6);
    EXPECT_EQ(Find(At(-5, -2)).x, 10);
    EXPECT_EQ(Find(At(-5, -2)).y, 5);
    EXPECT_EQ(Find(At(-17, 0)).x, 0) << "cut at the left: " << 20 - 6 - 16;
    EXPECT_EQ(Find(At(std::numeric_limits<int>::min(), 0)), (Spot{-1, -1, 0}));
    EXPECT_EQ(Find(At(std::numeric_limits<int>::max(), 0)), (Spot{-1, -1, 0}));
}

TEST_F(StampEffectOnPictures, TakesEveryKindOfPicture) {
    for (char const* name : {"yuv420p", "nv12", "yuv422p10le", "gray", "yuyv422", "pal8"}) {
        auto const picture = MakeVideo(40000, 20000, 16, FormatOf(name), 20, 10);
        auto const result = After(At(4, 4), {picture});
        EXPECT_NE(ReadPart(*result, 0).At(5, 5), ReadPart(*result, 0).At(0, 0)) << name;
        EXPECT_THAT(result, IsVideo(40000, 20000));
    }
}

TEST_F(StampEffectOnPictures, WhatIsNotSeenLeavesTheSameObject) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_EQ(After(At(16, 0), {picture}), picture);
    EXPECT_EQ(After(At(0, 0, 0), {picture}), picture);
}

TEST_F(StampEffectOnPictures, NamesTheFileThatIsNoPicture) {
    auto const refusal = [](std::string const& path) {
        SettingsEffectStamp settings;
        settings.SetFile(path);
        return MessageOf<EffectException>([&] { Make(settings); });
    };
    EXPECT_EQ(refusal(""), "A stamp needs a picture file");
    EXPECT_THAT(refusal("/nowhere/logo.png"), ::testing::StartsWith("/nowhere/logo.png: "));
    std::string const text = MakeTextFile("stamp.txt", "no picture\n");
    EXPECT_THAT(refusal(text), ::testing::StartsWith(text + ": "));
    std::string const sound = MakeClip("stamp.wav", {"-f", "lavfi", "-i", "sine=d=0.1"});
    EXPECT_EQ(refusal(sound), sound + ": there is no picture in it");
    auto const effect = Make(At(3, 2));
    SettingsEffectStamp none;
    EXPECT_THROW(effect->Initialize(none), EffectException);
    EXPECT_EQ(static_cast<SettingsEffectStamp const&>(effect->GetEffectSettings()), At(3, 2)) << "the old ones stay";
}

// --- Text ------------------------------------------------------------------------------------------------------------

SettingsEffectText Text(std::string const& text, int x = 0, int y = 0) {
    SettingsEffectText settings;
    settings.SetText(text);
    settings.SetX(x);
    settings.SetY(y);
    settings.SetSize(40);
    settings.SetColor(0x00FF00);
    return settings;
}

/// How much of a black picture of 400 x 200 is green, and where.
struct Ink {
    int left = 400, top = 200, right = -1, bottom = -1;
    int64 sum = 0;
};

Ink InkOf(SettingsEffectText const& settings) {
    auto const parts = ReadParts(*After(settings, {DrawPlain(PIX_FMT_RGBA, 400, 200, {0, 0, 0, 255})}));
    EXPECT_THAT(parts[0].samples, Each(0));
    EXPECT_THAT(parts[2].samples, Each(0));
    EXPECT_THAT(parts[3].samples, Each(255));
    Ink ink;
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 400; ++x) {
            if (parts[1].At(x, y) == 0) continue;
            ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x), std::max(ink.bottom, y),
                   ink.sum + parts[1].At(x, y)};
        }
    return ink;
}

TEST(TextEffect, DrawsItsLettersInItsColour) {
    Ink const one = InkOf(Text("H", 30, 20));
    EXPECT_NEAR(one.left, 30, 1);
    EXPECT_NEAR(one.top, 20, 1);
    EXPECT_GT(one.bottom - one.top, 20) << "most of the 40 pixels of a line";
    EXPECT_LT(one.bottom - one.top, 40);
    Ink const three = InkOf(Text("HHH", 30, 20));
    EXPECT_NEAR(static_cast<double>(three.sum), 3.0 * static_cast<double>(one.sum), 0.1 * static_cast<double>(one.sum));
    EXPECT_GT(three.right, one.right + 2 * (one.right - one.left));
}

TEST(TextEffect, LinesStandBelowEachOther) {
    Ink const one = InkOf(Text("H")), two = InkOf(Text("H\nH"));
    EXPECT_NEAR(two.bottom - one.bottom, 40, 1);
    EXPECT_EQ(two.right, one.right);
}

TEST(TextEffect, PositionsBelowZeroCountFromTheFarEdges) {
    Ink const corner = InkOf(Text("H", -1, -11));
    EXPECT_NEAR(corner.right, 399, 1);
    EXPECT_NEAR(corner.bottom, 189, 1);
}

TEST(TextEffect, LettersThatMeanSomethingInScriptsAreLetters) {
    Ink const plain = InkOf(Text("HH"));
    // An override block would vanish, an order for a new line would make one.
    EXPECT_GT(InkOf(Text("{H}H")).right, plain.right);
    Ink const order = InkOf(Text("H\\NH"));
    EXPECT_GT(order.right, plain.right);
    EXPECT_LT(order.bottom, 45);
    EXPECT_GT(InkOf(Text("{\\fs10}HH")).right, plain.right);
    EXPECT_EQ(InkOf(Text("H\x01H")).right, plain.right) << "control letters are none";
}

TEST(TextEffect, SizeAndAlphaCount) {
    SettingsEffectText settings = Text("H");
    Ink const whole = InkOf(settings);
    settings.SetAlpha(128);
    EXPECT_NEAR(static_cast<double>(InkOf(settings).sum), static_cast<double>(whole.sum) / 2,
                static_cast<double>(whole.sum) / 50);
    settings = Text("H");
    settings.SetSize(80);
    Ink const large = InkOf(settings);
    EXPECT_NEAR(large.bottom - large.top, 2 * (whole.bottom - whole.top), 2);
}

TEST(TextEffect, WithoutLettersPassesTheSameObject) {
    auto const picture = DrawNoise(PIX_FMT_YUV420P, 16, 16, 1);
    EXPECT_EQ(After(Text(""), {picture}), picture);
    EXPECT_EQ(After(Text(" \n "), {picture}), picture);
}

TEST(TextEffect, SaysThatThereIsNoFont) {
    // A private letter that no font has.
    EXPECT_THAT(MessageOf<EffectException>([] { Make(Text("a\xF4\x8F\xBF\xBD")); }),
                ::testing::StartsWith("There is no font for the text \"a\xF4\x8F\xBF\xBD\""));
    SettingsEffectText none = Text("H");
    none.SetSize(0);
    EXPECT_EQ(MessageOf<EffectException>([&] { Make(none); }), "Text can't be 0 pixels high");
    none.SetSize(4097);
    EXPECT_EQ(MessageOf<EffectException>([&] { Make(none); }), "Text can't be 4097 pixels high");
}

}  // namespace
}  // namespace Tarsel::Host
