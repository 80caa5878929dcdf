#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

TEST(SettingsFilterDurationTrimmer, StartWithoutALengthAndTrustTheSource) {
    SettingsFilterDurationTrimmer const settings;
    EXPECT_EQ(settings.GetDuration(), 0);
    EXPECT_FALSE(settings.GetUseOriginalDuration());
    EXPECT_EQ(settings.GetClassId(), "SettingsFilterDurationTrimmer");
    EXPECT_EQ(SettingsFilterDurationTrimmer(5).GetDuration(), 5);
}

TEST(SettingsFilterDurationTrimmer, SurviveTheWayThroughAProperty) {
    for (int64 const duration : {int64{0}, int64{1}, MAX_DURATION, NO_VALUE, int64{-1}})
        for (bool const original : {false, true}) {
            SettingsFilterDurationTrimmer settings(duration);
            settings.SetUseOriginalDuration(original);
            Core::Property const property = Settings2Property(settings);
            EXPECT_EQ(property.Name(), SettingsFilterDurationTrimmer::CLASS_ID);
            EXPECT_EQ(property["Duration"].GetInt64(), duration);
            EXPECT_EQ(property["UseOriginalDuration"].GetBool(), original);
            EXPECT_EQ(Property2SettingsFilterDurationTrimmer(property), settings);
        }
}

TEST(SettingsFilterDurationTrimmer, WhatAPropertyLeavesOutKeepsItsDefault) {
    Core::Property const empty(SettingsFilterDurationTrimmer::CLASS_ID);
    EXPECT_EQ(Property2SettingsFilterDurationTrimmer(empty), SettingsFilterDurationTrimmer());
    Core::Property only(SettingsFilterDurationTrimmer::CLASS_ID);
    only.SetChild("Duration", int64{40});
    EXPECT_EQ(Property2SettingsFilterDurationTrimmer(only), SettingsFilterDurationTrimmer(40));
}

TEST(SettingsFilterDurationTrimmer, PropertyOfAnotherNameIsRefused) {
    EXPECT_EQ(Tarsel::Test::MessageOf<FilterException>(
                  [] { Property2SettingsFilterDurationTrimmer(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
}

TEST(SettingsFilterDurationTrimmer, DifferInEachField) {
    SettingsFilterDurationTrimmer original(5);
    original.SetUseOriginalDuration(true);
    EXPECT_FALSE(SettingsFilterDurationTrimmer(5) == original);
    EXPECT_FALSE(SettingsFilterDurationTrimmer(5) == SettingsFilterDurationTrimmer(6));
}

}  // namespace
}  // namespace Tarsel::Proc
