#include <gtest/gtest.h>

#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterFrameRate.h"
#include "contracts/Proc/SettingsEffectTempo.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::With;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();

TEST(SettingsFilterLoop, StartWithoutALengthAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsFilterLoop().GetDuration(), 0);
    ExpectRoundTrip<SettingsFilterLoop>(
        {SettingsFilterLoop(1), SettingsFilterLoop(-5), SettingsFilterLoop(LARGEST), SettingsFilterLoop(NO_VALUE)},
        Property2SettingsFilterLoop);
    EXPECT_EQ(Property2SettingsFilterLoop(With(SettingsFilterLoop::CLASS_ID, "Duration", 40000)),
              SettingsFilterLoop(40000));
}

TEST(SettingsFilterIntroLoopOutro, StartWithoutAnySectionAndSurviveTheWayThroughAProperty) {
    SettingsFilterIntroLoopOutro const defaults;
    EXPECT_EQ(defaults.GetDuration(), 0);
    EXPECT_EQ(defaults.GetIntroLength(), 0);
    EXPECT_EQ(defaults.GetOutroLength(), 0);
    EXPECT_EQ(defaults.GetMinLoopCount(), 0);
    SettingsFilterIntroLoopOutro settings(10);
    settings.SetIntroLength(2);
    settings.SetOutroLength(3);
    settings.SetMinLoopCount(4);
    ExpectRoundTrip<SettingsFilterIntroLoopOutro>({settings, SettingsFilterIntroLoopOutro(LARGEST)},
                                                  Property2SettingsFilterIntroLoopOutro);
    Core::Property const property = Settings2Property(settings);
    EXPECT_EQ(property["Duration"].GetInt64(), 10);
    EXPECT_EQ(property["IntroLength"].GetInt64(), 2);
    EXPECT_EQ(property["OutroLength"].GetInt64(), 3);
    EXPECT_EQ(property["MinLoopCount"].GetInt64(), 4);
    for (char const* key : {"Duration", "IntroLength", "OutroLength", "MinLoopCount"})
        EXPECT_FALSE(Property2SettingsFilterIntroLoopOutro(With(SettingsFilterIntroLoopOutro::CLASS_ID, key, 9)) ==
                     defaults)
            << key << " stands alone";
}

TEST(SettingsFilterRepeat, RepeatWithoutEndUnlessToldAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsFilterRepeat().GetCount(), -1);
    ExpectRoundTrip<SettingsFilterRepeat>({SettingsFilterRepeat(0), SettingsFilterRepeat(LARGEST)},
                                          Property2SettingsFilterRepeat);
    EXPECT_EQ(Property2SettingsFilterRepeat(With(SettingsFilterRepeat::CLASS_ID, "Count", 3)), SettingsFilterRepeat(3));
}

TEST(SettingsFilterSpeedUp, PlayAtTheSourcesSpeedUnlessToldAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsFilterSpeedUp().GetSpeedUp(), 1.0);
    ExpectRoundTrip<SettingsFilterSpeedUp>(
        {SettingsFilterSpeedUp(1.001), SettingsFilterSpeedUp(1.0 / 3), SettingsFilterSpeedUp(-2),
         SettingsFilterSpeedUp(0), SettingsFilterSpeedUp(std::numeric_limits<double>::max())},
        Property2SettingsFilterSpeedUp);
    EXPECT_EQ(Property2SettingsFilterSpeedUp(With(SettingsFilterSpeedUp::CLASS_ID, "SpeedUp", 2)),
              SettingsFilterSpeedUp(2));
}

TEST(SettingsFilterReverse, PlayBackwardsWithinHalfAGigabyteUnlessTold) {
    SettingsFilterReverse const defaults;
    EXPECT_TRUE(defaults.IsReverse());
    EXPECT_EQ(defaults.GetMaxBufferSize(), 536870912);
    SettingsFilterReverse settings(false);
    settings.SetMaxBufferSize(1000);
    SettingsFilterReverse wide;
    wide.SetMaxBufferSize(LARGEST);
    ExpectRoundTrip<SettingsFilterReverse>({settings, SettingsFilterReverse(false), wide},
                                           Property2SettingsFilterReverse);
    EXPECT_EQ(Property2SettingsFilterReverse(With(SettingsFilterReverse::CLASS_ID, "Reverse", "false")),
              SettingsFilterReverse(false));
    EXPECT_EQ(Property2SettingsFilterReverse(With(SettingsFilterReverse::CLASS_ID, "MaxBufferSize", LARGEST)), wide);
}

TEST(SettingsFilterFrameRate, TakeTheSourcesRateUnlessToldAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsFilterFrameRate().GetFrameRate(), SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE);
    EXPECT_EQ(SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE, Ratio(0, 1));
    EXPECT_STRNE(SettingsFilterFrameRate::IMPL_DEFAULT, SettingsFilterFrameRate::IMPL_ADJUST);
    ExpectRoundTrip<SettingsFilterFrameRate>(
        {SettingsFilterFrameRate({25, 1}), SettingsFilterFrameRate({30000, 1001}), SettingsFilterFrameRate({-1, 2}),
         SettingsFilterFrameRate({LARGEST, LARGEST - 1})},
        Property2SettingsFilterFrameRate);
    EXPECT_EQ(Property2SettingsFilterFrameRate(With(SettingsFilterFrameRate::CLASS_ID, "FrameRate", "24000/1001")),
              SettingsFilterFrameRate({24000, 1001}));
    EXPECT_THROW(Property2SettingsFilterFrameRate(With(SettingsFilterFrameRate::CLASS_ID, "FrameRate", "25/0")),
                 Core::CoreException);
}

TEST(IFilterFrameRate, WrapsARateIntoAPropertyOfItsName) {
    Core::Property const property = IFilterFrameRate::MakeSettings({30000, 1001});
    EXPECT_EQ(property.Name(), IFilterFrameRate::CLASS_ID);
    EXPECT_EQ(property.GetRatio(), Ratio(30000, 1001));
    EXPECT_TRUE(property.Children().empty());
}

TEST(SettingsEffectTempo, KeepTheTempoUnlessToldAndSurviveTheWayThroughAProperty) {
    EXPECT_EQ(SettingsEffectTempo().GetTempo(), 1.0);
    ExpectRoundTrip<SettingsEffectTempo>(
        {SettingsEffectTempo(0.75), SettingsEffectTempo(1.0 / 3), SettingsEffectTempo(-1)},
        Property2SettingsEffectTempo);
    EXPECT_EQ(Property2SettingsEffectTempo(With(SettingsEffectTempo::CLASS_ID, "Tempo", "1.5")),
              SettingsEffectTempo(1.5));
}

}  // namespace
}  // namespace Tarsel::Proc
