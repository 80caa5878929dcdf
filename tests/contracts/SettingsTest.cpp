#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "contracts/Core/Exception.h"
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

}  // namespace
}  // namespace Tarsel::Proc
