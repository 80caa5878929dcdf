#include "host/media/PictureConverter.h"

#include "contracts/Core/Exception.h"
#include "host/media/PictureScaler.h"

namespace Tarsel::Host {

FramePtr PictureConverter::Convert(Proc::IDataVideo const& picture, int width, int height, AVPixelFormat format) {
    if (picture.GetFrameAlloc() != Proc::IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(Proc::ProcException, "Can't encode a picture in GPU memory");
    FramePtr frame = FrameOf(picture);
    if (frame->width != width || frame->height != height || frame->format != format)
        frame = ScaleFrame(*frame, {.width = width, .height = height, .format = format});
    frame->pts = NO_VALUE;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->key_frame = 0;
    return frame;
}

}  // namespace Tarsel::Host
