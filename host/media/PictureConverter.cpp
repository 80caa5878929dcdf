#include "host/media/PictureConverter.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace Tarsel::Host {

namespace {

FramePtr AllocatePicture(int width, int height, AVPixelFormat format) {
    FramePtr frame(av_frame_alloc());
    if (frame) {
        frame->width = width;
        frame->height = height;
        frame->format = format;
    }
    if (!frame || av_frame_get_buffer(frame.get(), 0) < 0)
        TARSEL_THROW(Proc::ProcException,
                     "Can't allocate a picture of " + std::to_string(width) + "x" + std::to_string(height));
    return frame;
}

/// The picture of a class that has no FFmpeg frame inside, row by row.
FramePtr CopyPlanes(Proc::IDataVideo const& picture) {
    if (picture.GetFrameAlloc() != Proc::IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(Proc::ProcException, "Can't encode a picture in GPU memory");
    FramePtr frame = AllocatePicture(picture.GetWidth(), picture.GetHeight(),
                                     static_cast<AVPixelFormat>(static_cast<int>(picture.GetPixelFormat())));
    for (int i = 0; i < Proc::GetPlanesCount(picture); ++i) {
        auto const plane = picture.GetPlaneConst(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row)
            std::memcpy(frame->data[i] + std::ptrdiff_t{row} * frame->linesize[i],
                        plane.GetData() + row * plane.GetStride(), static_cast<std::size_t>(plane.GetRowBytes()));
    }
    frame->interlaced_frame = picture.GetInterlace() != 0;
    return frame;
}

bool IsRgb(int format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return description && (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

/// A picture that becomes RGB does so by the matrix and the range that it names; without them libswscale takes those of
/// BT.601 in limited range. The numbers of `AVColorSpace` are the ones that libswscale knows its matrices by.
void NameColours(SwsContext& scaler, AVFrame const& from, AVFrame& to) {
    if (IsRgb(from.format) || !IsRgb(to.format)) return;
    int* unusedInverse = nullptr;
    int* toTable = nullptr;
    int fromRange = 0;
    int toRange = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    if (sws_getColorspaceDetails(&scaler, &unusedInverse, &fromRange, &toTable, &toRange, &brightness, &contrast,
                                 &saturation) < 0)
        return;
    if (from.color_range != AVCOL_RANGE_UNSPECIFIED) fromRange = from.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
    bool const named = from.colorspace != AVCOL_SPC_UNSPECIFIED && from.colorspace != AVCOL_SPC_RGB;
    int const* const matrix = sws_getCoefficients(named ? static_cast<int>(from.colorspace) : SWS_CS_DEFAULT);
    sws_setColorspaceDetails(&scaler, matrix, fromRange, toTable, toRange, brightness, contrast, saturation);
    to.colorspace = AVCOL_SPC_RGB;
    to.color_range = AVCOL_RANGE_UNSPECIFIED;
}

}  // namespace

PictureConverter::~PictureConverter() {
    sws_freeContext(scaler);
}

FramePtr PictureConverter::Convert(Proc::IDataVideo const& picture, int width, int height, AVPixelFormat format) {
    auto const* const native = dynamic_cast<Proc::DataVideoFF const*>(&picture);
    FramePtr frame = native ? FramePtr(av_frame_clone(native->GetAVFrame())) : CopyPlanes(picture);
    if (!frame) TARSEL_THROW(Proc::ProcException, "Can't reference a picture");
    if (frame->width != width || frame->height != height || frame->format != format) {
        auto const from = static_cast<AVPixelFormat>(frame->format);
        scaler = sws_getCachedContext(scaler, frame->width, frame->height, from, width, height, format,
                                      SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_BITEXACT, nullptr,
                                      nullptr, nullptr);
        FramePtr converted = AllocatePicture(width, height, format);
        av_frame_copy_props(converted.get(), frame.get());
        if (scaler) NameColours(*scaler, *frame, *converted);
        if (!scaler ||
            sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, converted->data, converted->linesize) < 0)
            TARSEL_THROW(Proc::ProcException, "Can't convert a picture of " + std::to_string(frame->width) + "x" +
                                                  std::to_string(frame->height) + " in pixel format " +
                                                  std::to_string(frame->format));
        frame = std::move(converted);
    }
    frame->pts = NO_VALUE;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->key_frame = 0;
    return frame;
}

}  // namespace Tarsel::Host
