#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Mixes two pictures along the interval that the effect acts over. It has nothing to set.
class TARSEL_CONTRACTS_EXPORT SettingsEffectDissolve : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectDissolve";

    SettingsEffectDissolve() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsEffectDissolve const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectDissolve const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectDissolve Property2SettingsEffectDissolve(Core::Property const& property);

}  // namespace Tarsel::Proc
