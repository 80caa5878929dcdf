#pragma once

#include <string>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The size that pictures are brought to, and how.
class TARSEL_CONTRACTS_EXPORT SettingsResizer : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsResizer";

    /// What becomes of a picture whose shape isn't that of the target. Shapes are those on the screen: pixel aspects
    /// count.
    enum CustomModes : int {
        /// The picture keeps its size.
        MODE_KEEP = 0,
        /// The whole picture, as large as fits, in the middle of black bars.
        MODE_LETTERBOX = 1,
        /// The whole picture over the whole target.
        MODE_STRETCH = 2,
        /// As much of the middle of the picture as fills the target.
        MODE_CROP = 3,
    };

    /// How pixels in between are computed.
    enum Algorithms : int { ALGORITHM_BILINEAR = 0, ALGORITHM_BICUBIC = 1, ALGORITHM_LANCZOS = 2 };

    SettingsResizer() = default;
    std::string const& GetClassId() const override;

    /// Name of the effect's implementation.
    std::string const& GetImplName() const { return implName; }
    void SetImplName(std::string const& value) { implName = value; }
    CustomModes GetMode() const { return mode; }
    /// Target size in pixels, and its pixel aspect.
    Conf::FrameInfo const& GetFrameInfo() const { return frameInfo; }
    /// A pixel aspect with a 0 or less becomes 1/1.
    void SetCustomMode(CustomModes value, Conf::FrameInfo const& info) {
        mode = value;
        frameInfo = info;
        if (info.pixelAspectNum > 0 && info.pixelAspectDen > 0) return;
        frameInfo.pixelAspectNum = 1;
        frameInfo.pixelAspectDen = 1;
    }
    Algorithms GetAlgorithm() const { return algorithm; }
    void SetAlgorithm(Algorithms value) { algorithm = value; }

    bool operator==(SettingsResizer const& other) const;

  private:
    std::string implName = ImplNames::DEFAULT;
    CustomModes mode = MODE_KEEP;
    Conf::FrameInfo frameInfo;
    Algorithms algorithm = ALGORITHM_BICUBIC;
};

/// A property named with the `CLASS_ID`; its children "Implementation", "Mode", "Width", "Height", "PixelAspect"
/// ("N/D") and "Algorithm" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsResizer const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does
/// a property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsResizer Property2SettingsResizer(Core::Property const& property);

}  // namespace Tarsel::Proc
