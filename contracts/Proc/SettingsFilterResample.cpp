#include "contracts/Proc/SettingsFilterResample.h"

#include "contracts/Conf/IPreset.h"
#include "contracts/Proc/SampleInfoProperty.h"

namespace Tarsel::Proc {

std::string const& SettingsFilterResample::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterResample const& settings) {
    Core::Property property(SettingsFilterResample::CLASS_ID);
    SetSampleInfo(property, settings.GetSampleInfo());
    return property.SetChild(Conf::IPreset::KEY_TYPE_ID, settings.GetImplementation());
}

SettingsFilterResample Property2SettingsFilterResample(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterResample::CLASS_ID, property);
    SettingsFilterResample settings;
    settings.SetSampleInfo(GetSampleInfo(property, settings.GetSampleInfo()));
    if (property.ChildExists(Conf::IPreset::KEY_TYPE_ID))
        settings.SetImplementation(property[Conf::IPreset::KEY_TYPE_ID].GetString());
    return settings;
}

}  // namespace Tarsel::Proc
