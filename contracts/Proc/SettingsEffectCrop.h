#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The part of the picture that is kept.
class TARSEL_CONTRACTS_EXPORT SettingsEffectCrop : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectCrop";

    SettingsEffectCrop() = default;
    explicit SettingsEffectCrop(CropInfo const& region) : region(region) {}
    std::string const& GetClassId() const override;

    /// In pixels of the picture as it is stored; a right or bottom of 0 is the picture's own edge. The default is the
    /// whole picture.
    CropInfo const& GetRegion() const { return region; }
    void SetRegion(CropInfo const& value) { region = value; }

    /// Whether there is no pixel between edges that the region tells.
    bool IsEmpty() const;

    bool operator==(SettingsEffectCrop const& other) const { return region == other.region; }

  private:
    CropInfo region;
};

/// A property named with the `CLASS_ID`; its children "Left", "Right", "Top", "Bottom" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectCrop const& settings);
/// The way back; what has no child keeps its default. A number below 0 or beyond an `int` throws `FilterException`, an
/// empty part "There is nothing in the part to keep (" and the edges, and so does a property of another name: "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectCrop Property2SettingsEffectCrop(Core::Property const& property);

}  // namespace Tarsel::Proc
