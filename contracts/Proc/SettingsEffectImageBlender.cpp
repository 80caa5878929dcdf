#include "contracts/Proc/SettingsEffectImageBlender.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectImageBlender::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectImageBlender const& settings) {
    return Core::Property(SettingsEffectImageBlender::CLASS_ID)
        .SetChild(X_KEY, settings.GetX())
        .SetChild(Y_KEY, settings.GetY())
        .SetChild(ALPHA_KEY, settings.GetAlpha())
        .SetChild(MODE_KEY, static_cast<int>(settings.GetMode()));
}

SettingsEffectImageBlender Property2SettingsEffectImageBlender(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectImageBlender::CLASS_ID, property);
    SettingsEffectImageBlender const defaults;
    int const mode =
        GetInt(property, MODE_KEY, static_cast<int>(defaults.GetMode()), static_cast<int>(BlendAlphaMode::Straight),
               static_cast<int>(BlendAlphaMode::Premultiplied));
    return {GetInt(property, X_KEY, defaults.GetX()), GetInt(property, Y_KEY, defaults.GetY()),
            GetInt(property, ALPHA_KEY, defaults.GetAlpha()), static_cast<BlendAlphaMode>(mode)};
}

}  // namespace Tarsel::Proc
