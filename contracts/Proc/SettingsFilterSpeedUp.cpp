#include "contracts/Proc/SettingsFilterSpeedUp.h"

namespace Tarsel::Proc {

namespace {

constexpr char SPEED_UP_KEY[] = "SpeedUp";

}  // namespace

std::string const& SettingsFilterSpeedUp::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterSpeedUp const& settings) {
    return Core::Property(SettingsFilterSpeedUp::CLASS_ID).SetChild(SPEED_UP_KEY, settings.GetSpeedUp());
}

SettingsFilterSpeedUp Property2SettingsFilterSpeedUp(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterSpeedUp::CLASS_ID, property);
    SettingsFilterSpeedUp settings;
    if (property.ChildExists(SPEED_UP_KEY)) settings.SetSpeedUp(property[SPEED_UP_KEY].GetDouble());
    return settings;
}

}  // namespace Tarsel::Proc
