#include "contracts/Proc/SettingsEffectComposite.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectComposite::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectComposite const&) {
    return Core::Property(SettingsEffectComposite::CLASS_ID);
}

SettingsEffectComposite Property2SettingsEffectComposite(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectComposite::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
