#include "contracts/Proc/SettingsFilterAudioVolume.h"

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterAudioVolume.h"

namespace Tarsel::Proc {

namespace {

constexpr char VOLUME_KEY[] = "Volume";
constexpr char AUTO_LEVEL_KEY[] = "AutoLevel";

/// The values under the name of a class.
Core::Property WriteValues(char const* classId, SettingsFilterAudioVolume const& settings) {
    return Core::Property(classId)
        .SetChild(VOLUME_KEY, settings.GetVolume())
        .SetChild(AUTO_LEVEL_KEY, settings.IsAutoLevel() ? 1 : 0);
}

SettingsFilterAudioVolume ReadValues(Core::Property const& property) {
    SettingsFilterAudioVolume settings;
    if (property.ChildExists(VOLUME_KEY)) settings.SetVolume(property[VOLUME_KEY].GetDouble());
    if (property.ChildExists(AUTO_LEVEL_KEY)) settings.SetAutoLevel(property[AUTO_LEVEL_KEY].GetBool());
    return settings;
}

}  // namespace

std::string const& SettingsFilterAudioVolume::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterAudioVolume const& settings) {
    return WriteValues(SettingsFilterAudioVolume::CLASS_ID, settings);
}

SettingsFilterAudioVolume Property2SettingsFilterAudioVolume(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterAudioVolume::CLASS_ID, property);
    return ReadValues(property);
}

Core::Property IFilterAudioVolume::Settings2Property(SettingsFilterAudioVolume const& settings) {
    return WriteValues(CLASS_ID, settings);
}

SettingsFilterAudioVolume IFilterAudioVolume::Property2Settings(Core::Property const& property) {
    if (property.Name() != CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    return ReadValues(property);
}

}  // namespace Tarsel::Proc
