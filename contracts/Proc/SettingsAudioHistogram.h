#pragma once

#include <array>
#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How the spectrum of a stream of sound is drawn.
class TARSEL_CONTRACTS_EXPORT SettingsAudioHistogram : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsAudioHistogram";
    static constexpr int SCALE_LINEAR = 0;
    static constexpr int SCALE_LOGARITHMIC = 1;
    /// Red, green, blue.
    using Colour = std::array<u8, 3>;

    SettingsAudioHistogram() = default;
    std::string const& GetClassId() const override;

    /// Pixels.
    uint32 GetWidth() const { return width; }
    void SetWidth(uint32 value) { width = value; }
    uint32 GetHeight() const { return height; }
    void SetHeight(uint32 value) { height = value; }
    int GetPicturesPerSecond() const { return picturesPerSecond; }
    void SetPicturesPerSecond(int value) { picturesPerSecond = value; }
    /// How the height of a bar follows the sound: `SCALE_LINEAR` or `SCALE_LOGARITHMIC`.
    int GetScale() const { return scale; }
    void SetScale(int value) { scale = value; }
    uint32 GetBarCount() const { return barCount; }
    void SetBarCount(uint32 value) { barCount = value; }
    Colour const& GetBackgroundColour() const { return backgroundColour; }
    void SetBackgroundColour(Colour const& value) { backgroundColour = value; }

    bool operator==(SettingsAudioHistogram const& other) const;

  private:
    uint32 width = 640;
    uint32 height = 360;
    int picturesPerSecond = 25;
    int scale = SCALE_LINEAR;
    uint32 barCount = 32;
    Colour backgroundColour{0, 0, 0};
};

/// A property named with the `CLASS_ID`; its children "Width", "Height", "PicturesPerSecond", "Scale", "BarCount",
/// "BackgroundColour" (0xRRGGBB as a number) hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsAudioHistogram const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsAudioHistogram Property2SettingsAudioHistogram(Core::Property const& property);

}  // namespace Tarsel::Proc
