#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectComposite.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsEffectStamp.h"
#include "contracts/Proc/SettingsEffectText.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::MessageOf;
using Test::With;

constexpr int LEAST = std::numeric_limits<int>::min();
constexpr int LARGEST = std::numeric_limits<int>::max();

/// Each key alone makes settings that aren't the defaults.
template <class S, class Convert, class Value>
void ExpectKey(char const* key, Value const& value, Convert back) {
    EXPECT_FALSE(back(With(S::CLASS_ID, key, value)) == S()) << key << " stands alone";
}

template <class S, class Convert, class Value>
std::string Refusal(char const* key, Value const& value, Convert back) {
    return MessageOf<FilterException>([&] { back(With(S::CLASS_ID, key, value)); });
}

TEST(SettingsEffectColor, ChangeNothingUnlessTold) {
    SettingsEffectColor const defaults;
    EXPECT_EQ(defaults.GetBrightness(), 0.0);
    EXPECT_EQ(defaults.GetContrast(), 1.0);
    EXPECT_EQ(defaults.GetSaturation(), 1.0);
}

TEST(SettingsEffectColor, SurviveTheWayThroughAProperty) {
    SettingsEffectColor dark, grey, glaring;
    dark.SetBrightness(-1.0 / 3);
    grey.SetSaturation(0);
    glaring.SetContrast(4);
    ExpectRoundTrip<SettingsEffectColor>({dark, grey, glaring}, Property2SettingsEffectColor);
    for (char const* key : {"Brightness", "Contrast", "Saturation"})
        ExpectKey<SettingsEffectColor>(key, 0.5, Property2SettingsEffectColor);
}

TEST(SettingsEffectColor, RefuseNumbersOutOfTheirRanges) {
    auto const refusal = [](char const* key, double value) {
        return Refusal<SettingsEffectColor>(key, value, Property2SettingsEffectColor);
    };
    EXPECT_EQ(refusal("Brightness", -1.5), "Brightness of SettingsEffectColor is out of range: -1.5");
    EXPECT_EQ(refusal("Brightness", 1.5), "Brightness of SettingsEffectColor is out of range: 1.5");
    EXPECT_EQ(refusal("Contrast", -0.5), "Contrast of SettingsEffectColor is out of range: -0.5");
    EXPECT_EQ(refusal("Contrast", 4.5), "Contrast of SettingsEffectColor is out of range: 4.5");
    EXPECT_EQ(refusal("Saturation", 4.5), "Saturation of SettingsEffectColor is out of range: 4.5");
    EXPECT_EQ(refusal("Saturation", -0.5), "Saturation of SettingsEffectColor is out of range: -0.5");
}

TEST(SettingsEffectFade, ComeOutOfBlackUnlessTold) {
    SettingsEffectFade const defaults;
    EXPECT_EQ(defaults.GetDirection(), SettingsEffectFade::DIRECTION_IN);
    EXPECT_EQ(defaults.GetColor(), 0);
}

TEST(SettingsEffectFade, SurviveTheWayThroughAProperty) {
    SettingsEffectFade out, white;
    out.SetDirection(SettingsEffectFade::DIRECTION_OUT);
    white.SetColor(0xFFFFFF);
    ExpectRoundTrip<SettingsEffectFade>({out, white}, Property2SettingsEffectFade);
    ExpectKey<SettingsEffectFade>("Direction", 1, Property2SettingsEffectFade);
    ExpectKey<SettingsEffectFade>("Color", 1, Property2SettingsEffectFade);
}

TEST(SettingsEffectFade, RefuseNumbersOutOfTheirRanges) {
    auto const refusal = [](char const* key, int value) {
        return Refusal<SettingsEffectFade>(key, value, Property2SettingsEffectFade);
    };
    EXPECT_EQ(refusal("Direction", 2), "Direction of SettingsEffectFade is out of range: 2");
    EXPECT_EQ(refusal("Direction", -1), "Direction of SettingsEffectFade is out of range: -1");
    EXPECT_EQ(refusal("Color", 0x1000000), "Color of SettingsEffectFade is out of range: 16777216");
    EXPECT_EQ(refusal("Color", -1), "Color of SettingsEffectFade is out of range: -1");
}

TEST(SettingsEffectStamp, DrawNothingUnlessTold) {
    SettingsEffectStamp const defaults;
    EXPECT_EQ(defaults.GetFile(), "");
    EXPECT_EQ(defaults.GetX(), 0);
    EXPECT_EQ(defaults.GetY(), 0);
    EXPECT_EQ(defaults.GetAlpha(), 255);
}

TEST(SettingsEffectStamp, SurviveTheWayThroughAProperty) {
    SettingsEffectStamp named, far, faint;
    named.SetFile("a folder/b.png");
    far.SetX(LEAST);
    far.SetY(LARGEST);
    faint.SetAlpha(0);
    ExpectRoundTrip<SettingsEffectStamp>({named, far, faint}, Property2SettingsEffectStamp);
    ExpectKey<SettingsEffectStamp>("File", "x", Property2SettingsEffectStamp);
    for (char const* key : {"X", "Y", "Alpha"}) ExpectKey<SettingsEffectStamp>(key, 7, Property2SettingsEffectStamp);
}

TEST(SettingsEffectStamp, RefuseNumbersOutOfTheirRanges) {
    auto const refusal = [](char const* key, int64 value) {
        return Refusal<SettingsEffectStamp>(key, value, Property2SettingsEffectStamp);
    };
    EXPECT_EQ(refusal("Alpha", 256), "Alpha of SettingsEffectStamp is out of range: 256");
    EXPECT_EQ(refusal("Alpha", -1), "Alpha of SettingsEffectStamp is out of range: -1");
    EXPECT_EQ(refusal("X", int64{LARGEST} + 1), "X of SettingsEffectStamp is out of range: 2147483648");
}

TEST(SettingsEffectCrop, KeepTheWholePictureUnlessTold) {
    EXPECT_EQ(SettingsEffectCrop().GetRegion(), CropInfo());
    EXPECT_EQ(SettingsEffectCrop().GetClassId(), "SettingsEffectCrop");
}

TEST(SettingsEffectCrop, SurviveTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsEffectCrop>(
        {SettingsEffectCrop({1, 2, 3, 4}), SettingsEffectCrop({1, 0, 3, 0}), SettingsEffectCrop({0, 0, 0, LARGEST})},
        Property2SettingsEffectCrop);
    for (char const* key : {"Left", "Right", "Top", "Bottom"})
        ExpectKey<SettingsEffectCrop>(key, 7, Property2SettingsEffectCrop);
}

TEST(SettingsEffectCrop, RefuseNumbersOutOfTheirRanges) {
    for (char const* key : {"Left", "Right", "Top", "Bottom"}) {
        auto const refusal = [&](int64 value) {
            return Refusal<SettingsEffectCrop>(key, value, Property2SettingsEffectCrop);
        };
        EXPECT_EQ(refusal(-1), std::string(key) + " of SettingsEffectCrop is out of range: -1");
        EXPECT_EQ(refusal(int64{LARGEST} + 1), std::string(key) + " of SettingsEffectCrop is out of range: 2147483648");
    }
}

TEST(SettingsEffectCrop, RefuseToKeepNothing) {
    Core::Property property = Settings2Property(SettingsEffectCrop({8, 8, 0, 0}));
    EXPECT_EQ(MessageOf<FilterException>([&] { Property2SettingsEffectCrop(property); }),
              "There is nothing in the part to keep (left: 8, right: 8, top: 0, bottom: 0)");
    property = Settings2Property(SettingsEffectCrop({0, 0, 9, 8}));
    EXPECT_EQ(MessageOf<FilterException>([&] { Property2SettingsEffectCrop(property); }),
              "There is nothing in the part to keep (left: 0, right: 0, top: 9, bottom: 8)");
}

TEST(SettingsEffectText, WriteNothingInWhiteUnlessTold) {
    SettingsEffectText const defaults;
    EXPECT_EQ(defaults.GetText(), "");
    EXPECT_EQ(defaults.GetX(), 0);
    EXPECT_EQ(defaults.GetY(), 0);
    EXPECT_EQ(defaults.GetSize(), 48);
    EXPECT_EQ(defaults.GetColor(), 0xFFFFFF);
    EXPECT_EQ(defaults.GetAlpha(), 255);
}

TEST(SettingsEffectText, SurviveTheWayThroughAProperty) {
    SettingsEffectText lines, placed, drawn;
    lines.SetText("one\ntwo \xC3\xA4");
    placed.SetX(-1);
    placed.SetY(LEAST);
    drawn.SetSize(1);
    drawn.SetColor(0);
    drawn.SetAlpha(128);
    ExpectRoundTrip<SettingsEffectText>({lines, placed, drawn}, Property2SettingsEffectText);
    ExpectKey<SettingsEffectText>("Text", "x", Property2SettingsEffectText);
    for (char const* key : {"X", "Y", "Size", "Color", "Alpha"})
        ExpectKey<SettingsEffectText>(key, 7, Property2SettingsEffectText);
}

TEST(SettingsEffectText, RefuseNumbersOutOfTheirRanges) {
    auto const refusal = [](char const* key, int value) {
        return Refusal<SettingsEffectText>(key, value, Property2SettingsEffectText);
    };
    EXPECT_EQ(refusal("Size", 0), "Size of SettingsEffectText is out of range: 0");
    EXPECT_EQ(refusal("Size", 4097), "Size of SettingsEffectText is out of range: 4097");
    EXPECT_EQ(refusal("Color", -1), "Color of SettingsEffectText is out of range: -1");
    EXPECT_EQ(refusal("Color", 0x1000000), "Color of SettingsEffectText is out of range: 16777216");
    EXPECT_EQ(refusal("Alpha", 256), "Alpha of SettingsEffectText is out of range: 256");
}

/// Settings without fields have nothing that could get lost but their name.
template <class S, class Convert>
void ExpectEmpty(char const* name, Convert back) {
    EXPECT_EQ(S().GetClassId(), name);
    Core::Property const property = Settings2Property(S());
    EXPECT_EQ(property.Name(), name);
    EXPECT_TRUE(property.Children().empty());
    EXPECT_EQ(back(property), S());
    EXPECT_EQ(MessageOf<FilterException>([&] { back(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
}

TEST(SettingsEffectComposite, HaveNothingButTheirName) {
    ExpectEmpty<SettingsEffectComposite>("SettingsEffectComposite", Property2SettingsEffectComposite);
}

TEST(SettingsEffectDissolve, HaveNothingButTheirName) {
    ExpectEmpty<SettingsEffectDissolve>("SettingsEffectDissolve", Property2SettingsEffectDissolve);
}

}  // namespace
}  // namespace Tarsel::Proc
