#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// A picture file that is drawn on every picture.
class TARSEL_CONTRACTS_EXPORT SettingsEffectStamp : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectStamp";

    SettingsEffectStamp() = default;
    std::string const& GetClassId() const override;

    /// As the file system knows it.
    std::string const& GetFile() const { return file; }
    void SetFile(std::string const& value) { file = value; }
    /// Upper left corner of the drawn picture. Below 0 it is the distance from the right edge, -1 touching it.
    int GetX() const { return x; }
    void SetX(int value) { x = value; }
    /// The same from the upper edge, below 0 from the lower one.
    int GetY() const { return y; }
    void SetY(int value) { y = value; }
    /// 0 (not there) to 255 (as the file has it).
    int GetAlpha() const { return alpha; }
    void SetAlpha(int value) { alpha = value; }

    bool operator==(SettingsEffectStamp const& other) const {
        return file == other.file && x == other.x && y == other.y && alpha == other.alpha;
    }

  private:
    std::string file;
    int x = 0;
    int y = 0;
    int alpha = 255;
};

/// A property named with the `CLASS_ID`; its children "File", "X", "Y", "Alpha" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectStamp const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectStamp Property2SettingsEffectStamp(Core::Property const& property);

}  // namespace Tarsel::Proc
