#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// What the alpha of a drawn picture means.
enum class BlendAlphaMode : int {
    /// Its colours are as they are; the blender multiplies them by the alpha.
    Straight = 0,
    /// Its colours have been multiplied by the alpha.
    Premultiplied = 1,
};

/// Where a picture is drawn on another, and how strongly.
class TARSEL_CONTRACTS_EXPORT SettingsEffectImageBlender : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectImageBlender";

    SettingsEffectImageBlender() = default;
    SettingsEffectImageBlender(int x, int y, int alpha, BlendAlphaMode mode) : x(x), y(y), alpha(alpha), mode(mode) {}
    std::string const& GetClassId() const override;

    /// Upper left corner of the drawn picture in pixels of the other one. It may lie outside.
    int GetX() const { return x; }
    int GetY() const { return y; }
    /// 0 (not there) to 255 (as it is). Values beyond are held to that range.
    int GetAlpha() const { return alpha; }
    BlendAlphaMode GetMode() const { return mode; }

    bool operator==(SettingsEffectImageBlender const& other) const {
        return x == other.x && y == other.y && alpha == other.alpha && mode == other.mode;
    }

  private:
    int x = 0;
    int y = 0;
    int alpha = 255;
    BlendAlphaMode mode = BlendAlphaMode::Straight;
};

/// A property named with the `CLASS_ID`; its children "X", "Y", "Alpha", "Mode" (a number) hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectImageBlender const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectImageBlender Property2SettingsEffectImageBlender(Core::Property const& property);

}  // namespace Tarsel::Proc
