#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"
#include "host/media/FFmpeg.h"
#include "host/media/PictureScaler.h"

namespace Tarsel::Host {

/// Brings pictures to one size and pixel format (bicubic, accurate rounding). One user at a time.
class TARSEL_HOST_EXPORT PictureConverter {
  public:
    PictureConverter() = default;
    PictureConverter(PictureConverter const&) = delete;
    PictureConverter& operator=(PictureConverter const&) = delete;

    /// A frame of its own over the picture's memory, or over converted memory when size or format differ. Without
    /// times. A converted picture gets the target's matrix and range, if it was RGB or names its own; one that names
    /// none is taken to have the target's. Throws `ProcException` for a picture in GPU memory and one that can't be
    /// converted.
    FramePtr Convert(Proc::IDataVideo const& picture, PictureTarget target);
    FramePtr Convert(Proc::IDataVideo const& picture, int width, int height, AVPixelFormat format);
};

}  // namespace Tarsel::Host
