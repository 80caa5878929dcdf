#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "contracts/Proc/SettingsLosslessDetect.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

Core::Property Metadata() {
    return Core::Property("Tags").SetValue("root").SetChild("language", "eng").Add(Core::Property("x").SetValue(1));
}

TEST(SettingsStreamMetadataUpdater, StartsWithEmptyMetadata) {
    SettingsStreamMetadataUpdater const settings;
    EXPECT_EQ(settings.GetProperty(), Core::Property());
    EXPECT_EQ(settings.GetClassId(), SettingsStreamMetadataUpdater::CLASS_ID);
}

TEST(SettingsStreamMetadataUpdater, CopiesAndAssignsThroughItsOwnClassOnly) {
    SettingsStreamMetadataUpdater const settings(Metadata());
    SettingsStreamMetadataUpdater const copy(settings);
    SettingsStreamMetadataUpdater assigned;
    assigned = copy;
    EXPECT_EQ(assigned, settings);
    assigned.SetProperty({});
    EXPECT_EQ(copy, settings);
    static_assert(!std::is_copy_constructible_v<Settings>);
    static_assert(std::has_virtual_destructor_v<Settings>);
}

TEST(SettingsStreamMetadataUpdater, SurvivesTheWayThroughAProperty) {
    SettingsStreamMetadataUpdater const settings(Metadata());
    Core::Property const property = Settings2Property(settings);
    EXPECT_EQ(property.Name(), SettingsStreamMetadataUpdater::CLASS_ID);
    EXPECT_EQ(Property2SettingsStreamMetadataUpdater(property), settings);
    SettingsStreamMetadataUpdater const empty;
    EXPECT_EQ(Property2SettingsStreamMetadataUpdater(Settings2Property(empty)), empty);
    EXPECT_EQ(Property2SettingsStreamMetadataUpdater(Core::Property(SettingsStreamMetadataUpdater::CLASS_ID)), empty);
}

TEST(SettingsStreamMetadataUpdater, PropertyOfAnotherNameIsRefused) {
    EXPECT_EQ(Tarsel::Test::MessageOf<FilterException>(
                  [] { Property2SettingsStreamMetadataUpdater(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
}

TEST(SettingsFilterBitStream, AskForNoChangeUnlessTold) {
    SettingsFilterBitStream const settings;
    EXPECT_EQ(settings.GetStreamFormatNeeded(), SettingsFilterBitStream::ANY);
    EXPECT_EQ(settings.GetClassId(), SettingsFilterBitStream::CLASS_ID);
}

TEST(SettingsFilterBitStream, NumbersOfTheFormatsAreFixed) {
    EXPECT_EQ(SettingsFilterBitStream::ANNEX_B, 0);
    EXPECT_EQ(SettingsFilterBitStream::MP4, 1);
    EXPECT_EQ(SettingsFilterBitStream::RAW_AAC, 2);
    EXPECT_EQ(SettingsFilterBitStream::ADTS, 3);
    EXPECT_EQ(SettingsFilterBitStream::ANY, 4);
}

TEST(SettingsFilterBitStream, SurviveTheWayThroughAProperty) {
    for (int format = 0; format <= 4; ++format) {
        SettingsFilterBitStream const settings(static_cast<SettingsFilterBitStream::StreamFormat>(format));
        Core::Property const property = Settings2Property(settings);
        EXPECT_EQ(property.Name(), SettingsFilterBitStream::CLASS_ID);
        EXPECT_EQ(Property2SettingsFilterBitStream(property), settings);
    }
    EXPECT_EQ(Property2SettingsFilterBitStream(Core::Property(SettingsFilterBitStream::CLASS_ID)),
              SettingsFilterBitStream());
}

TEST(SettingsFilterBitStream, PropertiesThatAreNotTheirsAreRefused) {
    using Tarsel::Test::MessageOf;
    EXPECT_EQ(MessageOf<FilterException>([] { Property2SettingsFilterBitStream(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
    for (int const number : {-1, 5}) {
        Core::Property property(SettingsFilterBitStream::CLASS_ID);
        property.SetChild("StreamFormat", number);
        EXPECT_EQ(MessageOf<FilterException>([&] { Property2SettingsFilterBitStream(property); }),
                  "StreamFormat " + std::to_string(number) + " is out of 0 to 4");
    }
}

TEST(SettingsLosslessDetect, TolerateAsManyPacketsAsADecoderMayHoldBack) {
    SettingsLosslessDetect const settings;
    EXPECT_EQ(settings.GetMaxBadPtsInRow(), 16U);
    EXPECT_EQ(settings.GetClassId(), SettingsLosslessDetect::CLASS_ID);
}

TEST(SettingsLosslessDetect, SurviveTheWayThroughAProperty) {
    for (u32 const limit : {0U, 5U, 4294967295U}) {
        SettingsLosslessDetect const settings(limit);
        Core::Property const property = Settings2Property(settings);
        EXPECT_EQ(property.Name(), SettingsLosslessDetect::CLASS_ID);
        EXPECT_EQ(Property2SettingsLosslessDetect(property), settings);
    }
    EXPECT_EQ(Property2SettingsLosslessDetect(Core::Property(SettingsLosslessDetect::CLASS_ID)),
              SettingsLosslessDetect());
}

TEST(SettingsLosslessDetect, PropertiesThatAreNotTheirsAreRefused) {
    using Tarsel::Test::MessageOf;
    EXPECT_EQ(MessageOf<FilterException>([] { Property2SettingsLosslessDetect(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
    for (int64 const limit : {int64{-1}, int64{1} << 32}) {
        Core::Property property(SettingsLosslessDetect::CLASS_ID);
        property.SetChild("MaxBadPtsInRow", limit);
        EXPECT_EQ(MessageOf<FilterException>([&] { Property2SettingsLosslessDetect(property); }),
                  "MaxBadPtsInRow " + std::to_string(limit) + " is out of 0 to 4294967295");
    }
}

}  // namespace
}  // namespace Tarsel::Proc
