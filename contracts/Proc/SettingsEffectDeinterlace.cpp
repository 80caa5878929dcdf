#include "contracts/Proc/SettingsEffectDeinterlace.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectDeinterlace::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectDeinterlace const& settings) {
    return Core::Property(SettingsEffectDeinterlace::CLASS_ID).SetChild(METHOD_KEY, settings.GetMethod());
}

SettingsEffectDeinterlace Property2SettingsEffectDeinterlace(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectDeinterlace::CLASS_ID, property);
    int const method = GetInt(property, METHOD_KEY, SettingsDeinterlace::METHOD_ADAPTIVE,
                              SettingsDeinterlace::METHOD_SPATIAL, SettingsDeinterlace::METHOD_ADAPTIVE);
    return SettingsEffectDeinterlace(static_cast<SettingsDeinterlace::Methods>(method));
}

}  // namespace Tarsel::Proc
