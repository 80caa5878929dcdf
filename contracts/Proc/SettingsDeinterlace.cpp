#include "contracts/Proc/SettingsDeinterlace.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char SMOOTHING_KEY[] = "Smoothing";

}  // namespace

std::string const& SettingsDeinterlace::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsDeinterlace const& settings) {
    return Core::Property(SettingsDeinterlace::CLASS_ID)
        .SetChild(METHOD_KEY, settings.GetMethod())
        .SetChild(SMOOTHING_KEY, settings.IsSmoothing() ? 1 : 0)
        .SetChild(IMPLEMENTATION_KEY, settings.GetImplName());
}

SettingsDeinterlace Property2SettingsDeinterlace(Core::Property const& property) {
    RequirePropertyOf(SettingsDeinterlace::CLASS_ID, property);
    SettingsDeinterlace settings;
    settings.SetMethod(static_cast<SettingsDeinterlace::Methods>(GetInt(property, METHOD_KEY, settings.GetMethod(),
                                                                        SettingsDeinterlace::METHOD_SPATIAL,
                                                                        SettingsDeinterlace::METHOD_ADAPTIVE)));
    if (property.ChildExists(SMOOTHING_KEY)) settings.SetSmoothing(property[SMOOTHING_KEY].GetBool());
    if (property.ChildExists(IMPLEMENTATION_KEY)) settings.SetImplName(property[IMPLEMENTATION_KEY].GetString());
    return settings;
}

}  // namespace Tarsel::Proc
