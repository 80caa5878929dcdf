#include "contracts/Proc/SettingsEffectFade.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectFade::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectFade const& settings) {
    return Core::Property(SettingsEffectFade::CLASS_ID)
        .SetChild(DIRECTION_KEY, static_cast<int>(settings.GetDirection()))
        .SetChild(COLOR_KEY, settings.GetColor());
}

SettingsEffectFade Property2SettingsEffectFade(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectFade::CLASS_ID, property);
    SettingsEffectFade settings;
    int const direction = GetInt(property, DIRECTION_KEY, settings.GetDirection(), SettingsEffectFade::DIRECTION_IN,
                                 SettingsEffectFade::DIRECTION_OUT);
    settings.SetDirection(static_cast<SettingsEffectFade::Directions>(direction));
    settings.SetColor(GetInt(property, COLOR_KEY, settings.GetColor(), 0, 0xFFFFFF));
    return settings;
}

}  // namespace Tarsel::Proc
