#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Sound that comes out of silence or goes into it, over the interval of the effect.
class TARSEL_CONTRACTS_EXPORT SettingsEffectAudioFade : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectAudioFade";

    enum Directions : int { DIRECTION_IN = 0, DIRECTION_OUT = 1 };

    /// How the gain follows the progress of the interval.
    enum Curves : int {
        /// As a straight line: two streams that sound alike keep their level where they cross.
        CURVE_LINEAR = 0,
        /// As a quarter of a sine: two streams that have nothing in common keep their power where they cross.
        CURVE_EQUAL_POWER = 1,
    };

    SettingsEffectAudioFade() = default;
    explicit SettingsEffectAudioFade(Directions direction, Curves curve = CURVE_EQUAL_POWER)
        : direction(direction), curve(curve) {}
    std::string const& GetClassId() const override;

    Directions GetDirection() const { return direction; }
    Curves GetCurve() const { return curve; }

    bool operator==(SettingsEffectAudioFade const& other) const {
        return direction == other.direction && curve == other.curve;
    }

  private:
    Directions direction = DIRECTION_IN;
    Curves curve = CURVE_EQUAL_POWER;
};

/// A property named with the `CLASS_ID`; its children "Direction" and "Curve" (numbers) hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectAudioFade const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectAudioFade Property2SettingsEffectAudioFade(Core::Property const& property);

}  // namespace Tarsel::Proc
