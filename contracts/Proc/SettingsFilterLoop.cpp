#include "contracts/Proc/SettingsFilterLoop.h"

#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

std::string const& SettingsFilterLoop::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterLoop const& settings) {
    return Core::Property(SettingsFilterLoop::CLASS_ID).SetChild(DURATION_KEY, settings.GetDuration());
}

SettingsFilterLoop Property2SettingsFilterLoop(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterLoop::CLASS_ID, property);
    SettingsFilterLoop settings;
    if (property.ChildExists(DURATION_KEY)) settings.SetDuration(property[DURATION_KEY].GetInt64());
    return settings;
}

}  // namespace Tarsel::Proc
