#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectAudioCrossFade.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::MessageOf;
using Test::With;
using Fade = SettingsEffectAudioFade;
using CrossFade = SettingsEffectAudioCrossFade;

TEST(SettingsEffectAudioFade, ComesInAtEqualPowerUnlessTold) {
    EXPECT_EQ(Fade().GetDirection(), Fade::DIRECTION_IN);
    EXPECT_EQ(Fade().GetCurve(), Fade::CURVE_EQUAL_POWER);
}

TEST(SettingsEffectAudioFade, SurvivesTheWayThroughAProperty) {
    ExpectRoundTrip<Fade>({Fade(Fade::DIRECTION_OUT), Fade(Fade::DIRECTION_IN, Fade::CURVE_LINEAR),
                           Fade(Fade::DIRECTION_OUT, Fade::CURVE_LINEAR)},
                          Property2SettingsEffectAudioFade);
    Core::Property const property = Settings2Property(Fade(Fade::DIRECTION_OUT, Fade::CURVE_LINEAR));
    EXPECT_EQ(property["Direction"].GetInt64(), 1);
    EXPECT_EQ(property["Curve"].GetInt64(), 0);
    EXPECT_EQ(Property2SettingsEffectAudioFade(With(Fade::CLASS_ID, "Direction", 1)), Fade(Fade::DIRECTION_OUT));
}

TEST(SettingsEffectAudioFade, RefusesNumbersOfNoDirectionAndNoCurve) {
    auto const read = [](char const* key, int value) {
        return MessageOf<FilterException>([&] { Property2SettingsEffectAudioFade(With(Fade::CLASS_ID, key, value)); });
    };
    EXPECT_EQ(read("Direction", 2), "Direction of SettingsEffectAudioFade is out of range: 2");
    EXPECT_EQ(read("Direction", -1), "Direction of SettingsEffectAudioFade is out of range: -1");
    EXPECT_EQ(read("Curve", 2), "Curve of SettingsEffectAudioFade is out of range: 2");
    EXPECT_EQ(read("Curve", -1), "Curve of SettingsEffectAudioFade is out of range: -1");
}

TEST(SettingsEffectAudioCrossFade, KeepsThePowerUnlessTold) {
    EXPECT_EQ(CrossFade().GetCurve(), Fade::CURVE_EQUAL_POWER);
}

TEST(SettingsEffectAudioCrossFade, SurvivesTheWayThroughAProperty) {
    ExpectRoundTrip<CrossFade>({CrossFade(Fade::CURVE_LINEAR)}, Property2SettingsEffectAudioCrossFade);
    EXPECT_EQ(Settings2Property(CrossFade(Fade::CURVE_LINEAR))["Curve"].GetInt64(), 0);
}

TEST(SettingsEffectAudioCrossFade, RefusesANumberOfNoCurve) {
    EXPECT_EQ(MessageOf<FilterException>(
                  [] { Property2SettingsEffectAudioCrossFade(With(CrossFade::CLASS_ID, "Curve", 2)); }),
              "Curve of SettingsEffectAudioCrossFade is out of range: 2");
}

TEST(SettingsEffectAudioMix, SurvivesTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsEffectAudioMix>({}, Property2SettingsEffectAudioMix);
    EXPECT_TRUE(Settings2Property(SettingsEffectAudioMix()).Children().empty());
}

}  // namespace
}  // namespace Tarsel::Proc
