#include "contracts/Proc/SettingsEffectAudioMix.h"

namespace Tarsel::Proc {

std::string const& SettingsEffectAudioMix::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectAudioMix const&) {
    return Core::Property(SettingsEffectAudioMix::CLASS_ID);
}

SettingsEffectAudioMix Property2SettingsEffectAudioMix(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectAudioMix::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
