#include "contracts/Proc/SettingsEffectDissolve.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectDissolve::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectDissolve const&) {
    return Core::Property(SettingsEffectDissolve::CLASS_ID);
}

SettingsEffectDissolve Property2SettingsEffectDissolve(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectDissolve::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
