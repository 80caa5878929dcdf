#include "contracts/Proc/SettingsEffectTempo.h"

namespace Tarsel::Proc {

namespace {

constexpr char TEMPO_KEY[] = "Tempo";

}  // namespace

std::string const& SettingsEffectTempo::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectTempo const& settings) {
    return Core::Property(SettingsEffectTempo::CLASS_ID).SetChild(TEMPO_KEY, settings.GetTempo());
}

SettingsEffectTempo Property2SettingsEffectTempo(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectTempo::CLASS_ID, property);
    SettingsEffectTempo settings;
    if (property.ChildExists(TEMPO_KEY)) settings.SetTempo(property[TEMPO_KEY].GetDouble());
    return settings;
}

}  // namespace Tarsel::Proc
