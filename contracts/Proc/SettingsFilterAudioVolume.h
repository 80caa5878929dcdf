#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How loud a stream of sound becomes.
class TARSEL_CONTRACTS_EXPORT SettingsFilterAudioVolume : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterAudioVolume";

    SettingsFilterAudioVolume() = default;
    explicit SettingsFilterAudioVolume(double volume, bool autoLevel = false) : volume(volume), autoLevel(autoLevel) {}
    std::string const& GetClassId() const override;

    /// The factor; 1 leaves the sound as it is, a negative one turns it over.
    double GetVolume() const { return volume; }
    void SetVolume(double value) { volume = value; }
    /// Whether a gain that follows the peaks brings quiet sound up.
    bool IsAutoLevel() const { return autoLevel; }
    void SetAutoLevel(bool value) { autoLevel = value; }

    bool operator==(SettingsFilterAudioVolume const& other) const {
        return volume == other.volume && autoLevel == other.autoLevel;
    }

  private:
    double volume = 1.0;
    bool autoLevel = false;
};

/// A property named with the `CLASS_ID`; its children "Volume", "AutoLevel" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterAudioVolume const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterAudioVolume Property2SettingsFilterAudioVolume(Core::Property const& property);

}  // namespace Tarsel::Proc
