#include <gtest/gtest.h>

#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::MessageOf;
using Test::With;

constexpr int64 LATEST = std::numeric_limits<int64>::max();

TEST(SettingsFilterVideoMixer, OverlapIsTenMillisecondsUnlessTold) {
    EXPECT_EQ(SettingsFilterVideoMixer().GetMinOverlap(), 10000);
}

TEST(SettingsFilterVideoMixer, SurviveTheWayThroughAProperty) {
    ExpectRoundTrip<SettingsFilterVideoMixer>({SettingsFilterVideoMixer(0), SettingsFilterVideoMixer(-1),
                                               SettingsFilterVideoMixer(LATEST), SettingsFilterVideoMixer(NO_VALUE)},
                                              Property2SettingsFilterVideoMixer);
    EXPECT_EQ(Property2SettingsFilterVideoMixer(With(SettingsFilterVideoMixer::CLASS_ID, "MinOverlap", 7)),
              SettingsFilterVideoMixer(7));
}

TEST(SettingsFilterVideoMixer, RefuseWhatIsNoNumber) {
    EXPECT_THROW(Property2SettingsFilterVideoMixer(With(SettingsFilterVideoMixer::CLASS_ID, "MinOverlap", "long")),
                 Core::CoreException);
}

TEST(SettingsFilterVideoMixer, FiltersPropertyHasTheFiltersName) {
    Core::Property const property = IFilterVideoMixer::Settings2Property(SettingsFilterVideoMixer(7));
    EXPECT_EQ(property.Name(), "FilterVideoMixer");
    EXPECT_EQ(IFilterVideoMixer::Property2Settings(property), SettingsFilterVideoMixer(7));
    EXPECT_EQ(IFilterVideoMixer::Property2Settings(Core::Property("FilterVideoMixer")), SettingsFilterVideoMixer());
    EXPECT_EQ(MessageOf<FilterException>(
                  [] { IFilterVideoMixer::Property2Settings(Settings2Property(SettingsFilterVideoMixer(7))); }),
              "Filter was initialized with incorrect class (SettingsFilterVideoMixer)!");
}

}  // namespace
}  // namespace Tarsel::Proc
