#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How much faster a stream plays.
class TARSEL_CONTRACTS_EXPORT SettingsFilterSpeedUp : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterSpeedUp";

    SettingsFilterSpeedUp() = default;
    explicit SettingsFilterSpeedUp(double speedUp) : speedUp(speedUp) {}
    std::string const& GetClassId() const override;

    /// The factor: above 1 plays faster. The filter refuses one that isn't finite and above 0.
    double GetSpeedUp() const { return speedUp; }
    void SetSpeedUp(double value) { speedUp = value; }

    bool operator==(SettingsFilterSpeedUp const& other) const { return speedUp == other.speedUp; }

  private:
    double speedUp = 1.0;
};

/// A property named with the `CLASS_ID`; its child "SpeedUp" holds the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterSpeedUp const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterSpeedUp Property2SettingsFilterSpeedUp(Core::Property const& property);

}  // namespace Tarsel::Proc
