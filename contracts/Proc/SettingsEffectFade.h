#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// A picture that comes out of a colour or goes into it, along the interval that the effect acts over.
class TARSEL_CONTRACTS_EXPORT SettingsEffectFade : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectFade";

    /// Which way the interval goes.
    enum Directions : int {
        /// From the colour to the picture.
        DIRECTION_IN = 0,
        /// From the picture to the colour.
        DIRECTION_OUT = 1,
    };

    SettingsEffectFade() = default;
    std::string const& GetClassId() const override;

    Directions GetDirection() const { return direction; }
    void SetDirection(Directions value) { direction = value; }
    /// 0xRRGGBB.
    int GetColor() const { return color; }
    void SetColor(int value) { color = value; }

    bool operator==(SettingsEffectFade const& other) const {
        return direction == other.direction && color == other.color;
    }

  private:
    Directions direction = DIRECTION_IN;
    int color = 0;
};

/// A property named with the `CLASS_ID`; its children "Direction", "Color" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectFade const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectFade Property2SettingsEffectFade(Core::Property const& property);

}  // namespace Tarsel::Proc
