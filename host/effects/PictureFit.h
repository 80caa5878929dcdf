#pragma once

#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsResizer.h"

namespace Tarsel::Host {

/// A part of a picture in pixels.
struct PictureArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(PictureArea const&) const = default;
};

/// Which part of a picture goes where when it is brought to a size.
struct PictureFit {
    PictureArea from;
    PictureArea to;
};

/// What a resizer of these settings, whose mode isn't to keep the size, does to a picture of this shape. Parts begin at
/// multiples of the steps, which subsampled chroma and the rows of fields ask for; 1 is any place. Throws
/// `EffectException` for a crop that leaves nothing.
PictureFit FitPicture(Conf::FrameInfo const& picture, Proc::CropInfo const& crop, Proc::SettingsResizer const& settings,
                      int stepAcross, int stepDown);

/// The target of the settings with a pixel aspect that can be computed with.
Conf::FrameInfo TargetOf(Proc::SettingsResizer const& settings);

}  // namespace Tarsel::Host
