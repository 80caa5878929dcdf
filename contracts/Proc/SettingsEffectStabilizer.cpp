#include "contracts/Proc/SettingsEffectStabilizer.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectStabilizer::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectStabilizer const&) {
    return Core::Property(SettingsEffectStabilizer::CLASS_ID);
}

SettingsEffectStabilizer Property2SettingsEffectStabilizer(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectStabilizer::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
