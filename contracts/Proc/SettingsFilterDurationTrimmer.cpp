#include "contracts/Proc/SettingsFilterDurationTrimmer.h"

#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char USE_ORIGINAL_DURATION_KEY[] = "UseOriginalDuration";

}  // namespace

std::string const& SettingsFilterDurationTrimmer::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterDurationTrimmer const& settings) {
    return Core::Property(SettingsFilterDurationTrimmer::CLASS_ID)
        .SetChild(DURATION_KEY, settings.GetDuration())
        .SetChild(USE_ORIGINAL_DURATION_KEY, settings.GetUseOriginalDuration() ? 1 : 0);
}

SettingsFilterDurationTrimmer Property2SettingsFilterDurationTrimmer(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterDurationTrimmer::CLASS_ID, property);
    SettingsFilterDurationTrimmer settings;
    if (property.ChildExists(DURATION_KEY)) settings.SetDuration(property[DURATION_KEY].GetInt64());
    if (property.ChildExists(USE_ORIGINAL_DURATION_KEY))
        settings.SetUseOriginalDuration(property[USE_ORIGINAL_DURATION_KEY].GetBool());
    return settings;
}

}  // namespace Tarsel::Proc
