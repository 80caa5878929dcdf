#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// A text that is drawn on every picture.
class TARSEL_CONTRACTS_EXPORT SettingsEffectText : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectText";

    SettingsEffectText() = default;
    std::string const& GetClassId() const override;

    /// In UTF-8; lines end with a line feed.
    std::string const& GetText() const { return text; }
    void SetText(std::string const& value) { text = value; }
    /// Upper left corner of the drawn text. Below 0 it is the distance from the right edge, -1 touching it.
    int GetX() const { return x; }
    void SetX(int value) { x = value; }
    /// The same from the upper edge, below 0 from the lower one.
    int GetY() const { return y; }
    void SetY(int value) { y = value; }
    /// Height of a line in pixels.
    int GetSize() const { return size; }
    void SetSize(int value) { size = value; }
    /// 0xRRGGBB.
    int GetColor() const { return color; }
    void SetColor(int value) { color = value; }
    /// 0 (not there) to 255 (opaque).
    int GetAlpha() const { return alpha; }
    void SetAlpha(int value) { alpha = value; }

    bool operator==(SettingsEffectText const& other) const {
        return text == other.text && x == other.x && y == other.y && size == other.size && color == other.color &&
               alpha == other.alpha;
    }

  private:
    std::string text;
    int x = 0;
    int y = 0;
    int size = 48;
    int color = 0xFFFFFF;
    int alpha = 255;
};

/// A property named with the `CLASS_ID`; its children "Text", "X", "Y", "Size", "Color", "Alpha" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectText const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectText Property2SettingsEffectText(Core::Property const& property);

}  // namespace Tarsel::Proc
