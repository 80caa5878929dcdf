#include "contracts/Proc/SettingsResample.h"

#include "contracts/Proc/SampleInfoProperty.h"

namespace Tarsel::Proc {

std::string const& SettingsResample::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsResample const& settings) {
    Core::Property property(SettingsResample::CLASS_ID);
    SetSampleInfo(property, settings.GetSampleInfo());
    return property;
}

SettingsResample Property2SettingsResample(Core::Property const& property) {
    RequirePropertyOf(SettingsResample::CLASS_ID, property);
    return SettingsResample(GetSampleInfo(property, SettingsResample().GetSampleInfo()));
}

}  // namespace Tarsel::Proc
