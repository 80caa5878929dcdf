#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"

namespace Tarsel::Proc {

/// Goes from the sound of one stream to that of another, over the interval of the effect.
class TARSEL_CONTRACTS_EXPORT SettingsEffectAudioCrossFade : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectAudioCrossFade";

    SettingsEffectAudioCrossFade() = default;
    explicit SettingsEffectAudioCrossFade(SettingsEffectAudioFade::Curves curve) : curve(curve) {}
    std::string const& GetClassId() const override;

    /// Of both streams: the one falls as the other rises.
    SettingsEffectAudioFade::Curves GetCurve() const { return curve; }

    bool operator==(SettingsEffectAudioCrossFade const& other) const { return curve == other.curve; }

  private:
    SettingsEffectAudioFade::Curves curve = SettingsEffectAudioFade::CURVE_EQUAL_POWER;
};

/// A property named with the `CLASS_ID`; its child "Curve" (a number) holds the value.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectAudioCrossFade const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectAudioCrossFade
Property2SettingsEffectAudioCrossFade(Core::Property const& property);

}  // namespace Tarsel::Proc
