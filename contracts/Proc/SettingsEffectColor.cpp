#include "contracts/Proc/SettingsEffectColor.h"

#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

constexpr char BRIGHTNESS_KEY[] = "Brightness";
constexpr char CONTRAST_KEY[] = "Contrast";
constexpr char SATURATION_KEY[] = "Saturation";

}  // namespace

std::string const& SettingsEffectColor::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectColor const& settings) {
    return Core::Property(SettingsEffectColor::CLASS_ID)
        .SetChild(BRIGHTNESS_KEY, settings.GetBrightness())
        .SetChild(CONTRAST_KEY, settings.GetContrast())
        .SetChild(SATURATION_KEY, settings.GetSaturation());
}

SettingsEffectColor Property2SettingsEffectColor(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectColor::CLASS_ID, property);
    SettingsEffectColor settings;
    settings.SetBrightness(GetFraction(property, BRIGHTNESS_KEY, settings.GetBrightness(), -1, 1));
    settings.SetContrast(GetFraction(property, CONTRAST_KEY, settings.GetContrast(), 0, 4));
    settings.SetSaturation(GetFraction(property, SATURATION_KEY, settings.GetSaturation(), 0, 4));
    return settings;
}

}  // namespace Tarsel::Proc
