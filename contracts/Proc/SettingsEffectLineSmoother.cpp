#include "contracts/Proc/SettingsEffectLineSmoother.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectLineSmoother::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectLineSmoother const&) {
    return Core::Property(SettingsEffectLineSmoother::CLASS_ID);
}

SettingsEffectLineSmoother Property2SettingsEffectLineSmoother(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectLineSmoother::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
