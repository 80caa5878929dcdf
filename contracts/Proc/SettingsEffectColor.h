#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Brightness, contrast and saturation of pictures. The defaults change nothing.
class TARSEL_CONTRACTS_EXPORT SettingsEffectColor : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectColor";

    SettingsEffectColor() = default;
    std::string const& GetClassId() const override;

    /// Added to the luma; 1 is its whole range.
    double GetBrightness() const { return brightness; }
    void SetBrightness(double value) { brightness = value; }
    /// Factor of the distance from middle grey.
    double GetContrast() const { return contrast; }
    void SetContrast(double value) { contrast = value; }
    /// Factor of the distance from grey; 0 is black and white.
    double GetSaturation() const { return saturation; }
    void SetSaturation(double value) { saturation = value; }

    bool operator==(SettingsEffectColor const& other) const {
        return brightness == other.brightness && contrast == other.contrast && saturation == other.saturation;
    }

  private:
    double brightness = 0.0;
    double contrast = 1.0;
    double saturation = 1.0;
};

/// A property named with the `CLASS_ID`; its children "Brightness", "Contrast", "Saturation" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectColor const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectColor Property2SettingsEffectColor(Core::Property const& property);

}  // namespace Tarsel::Proc
