#include "contracts/Proc/SettingsFilterAudioFormatter.h"

namespace Tarsel::Proc {

std::string const& SettingsFilterAudioFormatter::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterAudioFormatter const& settings) {
    return Core::Property(SettingsFilterAudioFormatter::CLASS_ID)
        .SetChild(IFilterAudioFormatter::PACKET_DURATION, settings.GetPacketDuration());
}

SettingsFilterAudioFormatter Property2SettingsFilterAudioFormatter(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterAudioFormatter::CLASS_ID, property);
    SettingsFilterAudioFormatter settings;
    if (property.ChildExists(IFilterAudioFormatter::PACKET_DURATION))
        settings.SetPacketDuration(property[IFilterAudioFormatter::PACKET_DURATION].GetInt64());
    return settings;
}

}  // namespace Tarsel::Proc
