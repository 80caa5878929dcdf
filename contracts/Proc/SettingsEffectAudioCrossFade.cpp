#include "contracts/Proc/SettingsEffectAudioCrossFade.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectAudioCrossFade::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectAudioCrossFade const& settings) {
    return Core::Property(SettingsEffectAudioCrossFade::CLASS_ID).SetChild(CURVE_KEY, settings.GetCurve());
}

SettingsEffectAudioCrossFade Property2SettingsEffectAudioCrossFade(Core::Property const& property) {
    using Fade = SettingsEffectAudioFade;
    RequirePropertyOf(SettingsEffectAudioCrossFade::CLASS_ID, property);
    int const curve = GetInt(property, CURVE_KEY, SettingsEffectAudioCrossFade().GetCurve(), Fade::CURVE_LINEAR,
                             Fade::CURVE_EQUAL_POWER);
    return SettingsEffectAudioCrossFade(static_cast<Fade::Curves>(curve));
}

}  // namespace Tarsel::Proc
