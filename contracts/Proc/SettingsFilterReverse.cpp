#include "contracts/Proc/SettingsFilterReverse.h"

namespace Tarsel::Proc {

namespace {

constexpr char REVERSE_KEY[] = "Reverse";
constexpr char MAX_BUFFER_SIZE_KEY[] = "MaxBufferSize";

}  // namespace

std::string const& SettingsFilterReverse::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterReverse const& settings) {
    return Core::Property(SettingsFilterReverse::CLASS_ID)
        .SetChild(REVERSE_KEY, settings.IsReverse() ? 1 : 0)
        .SetChild(MAX_BUFFER_SIZE_KEY, settings.GetMaxBufferSize());
}

SettingsFilterReverse Property2SettingsFilterReverse(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterReverse::CLASS_ID, property);
    SettingsFilterReverse settings;
    if (property.ChildExists(REVERSE_KEY)) settings.SetReverse(property[REVERSE_KEY].GetBool());
    if (property.ChildExists(MAX_BUFFER_SIZE_KEY)) settings.SetMaxBufferSize(property[MAX_BUFFER_SIZE_KEY].GetInt64());
    return settings;
}

}  // namespace Tarsel::Proc
