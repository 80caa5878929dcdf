#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The sum of streams of sound. It has nothing to set.
class TARSEL_CONTRACTS_EXPORT SettingsEffectAudioMix : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectAudioMix";

    SettingsEffectAudioMix() = default;
    std::string const& GetClassId() const override;

    bool operator==(SettingsEffectAudioMix const&) const { return true; }
};

/// A property named with the `CLASS_ID`, without children.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectAudioMix const& settings);
/// The way back. A property of another name throws `FilterException` "Object was initialized with incorrect class ("
/// and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectAudioMix Property2SettingsEffectAudioMix(Core::Property const& property);

}  // namespace Tarsel::Proc
