#include "contracts/Proc/DataVideoFF.h"

#include <array>
#include <stdexcept>
#include <string>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/FramePtr.h"

extern "C" {
#include <libavcodec/defs.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Proc {

namespace {

struct FreeBuffer {
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

/// Bytes from one pixel of a plane to the next; 0 where a pixel is no whole number of bytes.
int PixelBytes(AVPixelFormat format, unsigned plane) {
    std::array<int, 4> steps{};
    std::array<int, 4> components{};
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    if (!description || (description->flags & AV_PIX_FMT_FLAG_BITSTREAM)) return 0;
    av_image_fill_max_pixsteps(steps.data(), components.data(), description);
    return steps[plane];
}

template <int ReadOnly>
Details::PlaneTemplate<ReadOnly> PlaneOf(AVFrame const& frame, unsigned index) {
    auto const* const description = Conf::PixFmtDescription::Find(static_cast<PixFmt>(frame.format));
    int const planes = description ? description->GetPlanesCount() : 0;
    if (index >= static_cast<unsigned>(planes))
        TARSEL_THROW(ProcException,
                     "Frame has no plane " + std::to_string(index) + ", it has " + std::to_string(planes));
    int const plane = static_cast<int>(index);
    return {frame.data[index], frame.linesize[index], description->GetPlaneRowBytes(frame.width, plane),
            description->GetPlaneRows(frame.height, plane),
            PixelBytes(static_cast<AVPixelFormat>(frame.format), index)};
}

}  // namespace

iptr<IDataVideo> DataVideoFF::Create(PixFmt format, Conf::FrameInfo const& info, AVBufferRef* buffer) {
    std::unique_ptr<AVBufferRef, FreeBuffer> owned(buffer);
    auto const* const description = Conf::PixFmtDescription::Find(format);
    bool const drawable = description && description->GetAllPlanesFullSize(info.width, info.height) != 0;
    // The codec library's own size: it adds the palette of formats that have one, which copies of the frame read.
    int const size = drawable ? av_image_get_buffer_size(static_cast<AVPixelFormat>(static_cast<int>(format)),
                                                         info.width, info.height, 1)
                              : 0;
    std::size_t const needed = size > 0 ? static_cast<std::size_t>(size) : 0;
    if (needed == 0)
        TARSEL_THROW(ProcException, "Can't make a frame of " + std::to_string(info.width) + "x" +
                                        std::to_string(info.height) + " in pixel format " + std::to_string(format));
    if (!owned) owned.reset(av_buffer_alloc(needed + AV_INPUT_BUFFER_PADDING_SIZE));
    FramePtr frame(av_frame_alloc());
    if (!frame || !owned) TARSEL_THROW(ProcException, "Can't allocate a frame of " + std::to_string(needed) + " bytes");
    if (owned->size < needed)
        TARSEL_THROW(ProcException, "Buffer is too small for a frame: " + std::to_string(owned->size) + " < " +
                                        std::to_string(needed) + " bytes");
    frame->width = info.width;
    frame->height = info.height;
    frame->format = format;
    frame->sample_aspect_ratio = {info.pixelAspectNum, info.pixelAspectDen};
    av_image_fill_arrays(static_cast<uint8_t**>(frame->data), static_cast<int*>(frame->linesize), owned->data,
                         static_cast<AVPixelFormat>(static_cast<int>(format)), info.width, info.height, 1);
    frame->buf[0] = owned.release();
    return Wrap(frame.release(), NO_VALUE, NO_VALUE);
}

iptr<IDataVideo> DataVideoFF::Wrap(AVFrame* frame, int64 time, int64 duration) {
    FramePtr owned(frame);
    if (!frame) TARSEL_THROW(std::invalid_argument, "NULL frame");
    iptr<IDataVideo> result(new DataVideoFF(frame));
    owned.release();
    result->SetTime(time);
    result->SetDuration(duration);
    return result;
}

DataVideoFF::DataVideoFF(AVFrame* frame) : frame(frame), info{frame->width, frame->height, 1, 1} {
    AVRational const aspect = frame->sample_aspect_ratio;
    if (aspect.num > 0 && aspect.den > 0) {
        info.pixelAspectNum = aspect.num;
        info.pixelAspectDen = aspect.den;
    }
}

DataVideoFF::~DataVideoFF() {
    av_frame_free(&frame);
}

PixFmt DataVideoFF::GetPixelFormat() const {
    return static_cast<PixFmt>(frame->format);
}

int DataVideoFF::GetInterlace() const {
    return frame->interlaced_frame;
}

Details::PlaneTemplate<0> DataVideoFF::GetPlane(unsigned index) {
    return PlaneOf<0>(*frame, index);
}

Details::PlaneTemplate<1> DataVideoFF::GetPlaneConst(unsigned index) const {
    return PlaneOf<1>(*frame, index);
}

iptr<IDataVideo> DataVideoFF::MakeWritable() {
    if (GetRefCountImpl() <= 1 && av_frame_is_writable(frame)) return iptr<IDataVideo>(this);
    return Clone(true);
}

iptr<IDataVideo> DataVideoFF::Clone(bool copyPayload) const {
    FramePtr copy(av_frame_clone(frame));
    if (!copy || (copyPayload && av_frame_make_writable(copy.get()) < 0))
        TARSEL_THROW(ProcException,
                     "Can't copy a frame of " + std::to_string(info.width) + "x" + std::to_string(info.height));
    return Wrap(copy.release(), window.time, window.duration);
}

CropInfo DataVideoFF::GetCrop() const {
    // The codec library counts from each edge. What leaves nothing to be seen, or lies outside, means nothing.
    auto const width = static_cast<std::size_t>(info.width), height = static_cast<std::size_t>(info.height);
    std::size_t const left = frame->crop_left, right = frame->crop_right;
    std::size_t const top = frame->crop_top, bottom = frame->crop_bottom;
    bool const isInside = left < width && right < width - left && top < height && bottom < height - top;
    if (!isInside) return CropInfo::WholeOf(info.width, info.height);
    return {static_cast<u32>(left), static_cast<u32>(width - right), static_cast<u32>(top),
            static_cast<u32>(height - bottom)};
}

}  // namespace Tarsel::Proc
