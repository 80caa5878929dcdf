#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// An effect that takes the shaking out of pictures. This library has no implementation of it; a host that has one
/// registers it under this class, and finds it in a chain by `IFilterApplyEffectsVideo::FindStabilizer`.
class TARSEL_CONTRACTS_EXPORT SettingsEffectStabilizer : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectStabilizer";

    SettingsEffectStabilizer() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsEffectStabilizer const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectStabilizer const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectStabilizer Property2SettingsEffectStabilizer(Core::Property const& property);

}  // namespace Tarsel::Proc
