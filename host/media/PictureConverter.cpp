#include "host/media/PictureConverter.h"

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

FramePtr PictureConverter::Convert(Proc::IDataVideo const& picture, int width, int height, AVPixelFormat format) {
    return Convert(picture, {.width = width, .height = height, .format = format});
}

FramePtr PictureConverter::Convert(Proc::IDataVideo const& picture, PictureTarget target) {
    if (picture.GetFrameAlloc() != Proc::IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(Proc::ProcException, "Can't encode a picture in GPU memory");
    FramePtr frame = FrameOf(picture);
    if (frame->width != target.width || frame->height != target.height || frame->format != target.format) {
        bool const isRgb = IsRgbFormat(static_cast<AVPixelFormat>(frame->format));
        if (!isRgb && frame->colorspace == AVCOL_SPC_UNSPECIFIED) target.matrix = AVCOL_SPC_UNSPECIFIED;
        if (!isRgb && frame->color_range == AVCOL_RANGE_UNSPECIFIED) target.range = AVCOL_RANGE_UNSPECIFIED;
        frame = ScaleFrame(*frame, target);
    }
    frame->pts = NO_VALUE;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->key_frame = 0;
    return frame;
}

}  // namespace Tarsel::Host
