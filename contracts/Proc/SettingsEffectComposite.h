#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Draws pictures of one moment over each other, the last of them topmost. It has nothing to set.
class TARSEL_CONTRACTS_EXPORT SettingsEffectComposite : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectComposite";

    SettingsEffectComposite() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsEffectComposite const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectComposite const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectComposite Property2SettingsEffectComposite(Core::Property const& property);

}  // namespace Tarsel::Proc
