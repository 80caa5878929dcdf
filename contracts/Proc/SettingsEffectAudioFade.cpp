#include "contracts/Proc/SettingsEffectAudioFade.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectAudioFade::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectAudioFade const& settings) {
    return Core::Property(SettingsEffectAudioFade::CLASS_ID)
        .SetChild(DIRECTION_KEY, settings.GetDirection())
        .SetChild(CURVE_KEY, settings.GetCurve());
}

SettingsEffectAudioFade Property2SettingsEffectAudioFade(Core::Property const& property) {
    using Fade = SettingsEffectAudioFade;
    RequirePropertyOf(Fade::CLASS_ID, property);
    Fade const defaults;
    int const direction =
        GetInt(property, DIRECTION_KEY, defaults.GetDirection(), Fade::DIRECTION_IN, Fade::DIRECTION_OUT);
    int const curve = GetInt(property, CURVE_KEY, defaults.GetCurve(), Fade::CURVE_LINEAR, Fade::CURVE_EQUAL_POWER);
    return Fade(static_cast<Fade::Directions>(direction), static_cast<Fade::Curves>(curve));
}

}  // namespace Tarsel::Proc
