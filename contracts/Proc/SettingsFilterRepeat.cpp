#include "contracts/Proc/SettingsFilterRepeat.h"

namespace Tarsel::Proc {

namespace {

constexpr char COUNT_KEY[] = "Count";

}  // namespace

std::string const& SettingsFilterRepeat::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterRepeat const& settings) {
    return Core::Property(SettingsFilterRepeat::CLASS_ID).SetChild(COUNT_KEY, settings.GetCount());
}

SettingsFilterRepeat Property2SettingsFilterRepeat(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterRepeat::CLASS_ID, property);
    SettingsFilterRepeat settings;
    if (property.ChildExists(COUNT_KEY)) settings.SetCount(property[COUNT_KEY].GetInt64());
    return settings;
}

}  // namespace Tarsel::Proc
