#include "host/overlay/MixedStreams.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "contracts/Proc/DataVideoFF.h"
#include "host/effects/PictureDrawing.h"
#include "host/gpu/DataVideoOGL.h"
#include "host/media/FittedVideo.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr double LARGEST_WIDTH = std::numeric_limits<u16>::max();

bool SameAspect(Conf::FrameInfo const& one, Conf::FrameInfo const& other) {
    return one.pixelAspectNum == other.pixelAspectNum && one.pixelAspectDen == other.pixelAspectDen;
}

/// What the pictures of a format become before something is drawn on them.
PixFmt CanvasFormatOf(PixFmt format) {
    if (format == PIX_FMT_NONE) return format;
    PixFmt const canvas = CanvasFormat(format);
    if (canvas == PIX_FMT_NONE || DrawableFormat(canvas, true) == PIX_FMT_NONE)
        TARSEL_THROW(EffectException, "No picture with alpha can be drawn on pixel format " + FormatName(format));
    return canvas;
}

/// The picture in another format or width and with the pixel aspect; the same object where nothing is to be done.
iptr<IDataVideo> Brought(iptr<IDataVideo> const& picture, Conf::FrameInfo const& shape, PixFmt format) {
    if (picture->GetPixelFormat() == format && picture->GetFrameInfo() == shape) return picture;
    auto const native = static_cast<AVPixelFormat>(static_cast<int>(format));
    PictureTarget const target{.width = shape.width, .height = shape.height, .format = native};
    FramePtr frame = FrameOf(*Conformed(picture, target));
    frame->sample_aspect_ratio = {shape.pixelAspectNum, shape.pixelAspectDen};
    return WrapLike(std::move(frame), *picture);
}

/// The same for one in GPU memory, of which the pixel aspect alone changes: the texture isn't copied for it.
iptr<IDataVideo> Relabelled(iptr<IDataVideo> const& picture, Conf::FrameInfo const& shape) {
    auto const* const frame = dynamic_cast<DataVideoOGL const*>(picture.get());
    if (!frame || SameAspect(frame->GetFrameInfo(), shape)) return picture;
    return frame->CloneWithAspect(shape.pixelAspectNum, shape.pixelAspectDen);
}

}  // namespace

iptr<IStreamVideo> CanvasVideo::Create(iptr<IStreamVideo> const& source) {
    CanvasFormatOf(source->GetFormatCodec()->GetPixelFormat());
    return iptr<IStreamVideo>(new CanvasVideo(FittedVideo::Create(source), false));
}

iptr<IStreamVideo> CanvasVideo::CreateOnGpu(iptr<IStreamVideo> const& source) {
    return iptr<IStreamVideo>(new CanvasVideo(source, true));
}

PixFmt CanvasVideo::OutFormat(PixFmt format) const {
    return isOnGpu ? format : CanvasFormatOf(format);
}

iptr<IDataVideo> CanvasVideo::Read() {
    iptr<IDataVideo> const picture = stream->Read();
    if (!picture) return nullptr;
    Conf::FrameInfo const told = stream->GetFormatCodec()->GetFrameInfo();
    Conf::FrameInfo shape = picture->GetFrameInfo();
    shape.pixelAspectNum = told.pixelAspectNum;
    shape.pixelAspectDen = told.pixelAspectDen;
    if (picture->GetFrameAlloc() != IDataVideo::FRAME_ALLOC_CPU) return Relabelled(picture, shape);
    return Brought(picture, shape, OutFormat(picture->GetPixelFormat()));
}

iptr<Conf::IFormatCodecVideo const> CanvasVideo::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> format = stream->GetFormatCodec();
    PixFmt const canvas = OutFormat(format->GetPixelFormat());
    if (canvas == format->GetPixelFormat()) return format;
    iptr<Conf::IFormatCodecVideo> const other = format->Clone();
    other->SetPixelFormat(canvas);
    return other;
}

iptr<IStreamVideo> DrawnVideo::Create(iptr<IStreamVideo> source, Conf::FrameInfo const& canvas, int64 end) {
    return iptr<IStreamVideo>(new DrawnVideo(std::move(source), canvas, end));
}

int64 DrawnVideo::GetDuration() const {
    return HasValue(end) && end > 0 ? end : stream->GetDuration();
}

Conf::FrameInfo DrawnVideo::ShapeFor(Conf::FrameInfo picture) const {
    // The file tells the shape of its pictures, whatever a single one says of it.
    if (picture.width == own.width && picture.height == own.height) picture = own;
    if (SameAspect(picture, canvas)) return picture;
    picture.width = WidthInPixelsOf(canvas, picture);
    picture.pixelAspectNum = canvas.pixelAspectNum;
    picture.pixelAspectDen = canvas.pixelAspectDen;
    return picture;
}

iptr<IDataVideo> DrawnVideo::Read() {
    iptr<IDataVideo> const picture = stream->Read();
    if (!picture) return nullptr;
    Conf::FrameInfo const shape = ShapeFor(picture->GetFrameInfo());
    PixFmt format = picture->GetPixelFormat();
    // Palettes and packed bits can't be made wider as they are.
    if (shape.width != picture->GetWidth()) format = WorkingFormat(format);
    return Brought(picture, shape, format);
}

iptr<Conf::IFormatCodecVideo const> DrawnVideo::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo> const format = stream->GetFormatCodec()->Clone();
    Conf::FrameInfo const shape = ShapeFor(own);
    if (shape.width != own.width) format->SetPixelFormat(WorkingFormat(format->GetPixelFormat()));
    format->SetFrameInfo(shape);
    return format;
}

int WidthInPixelsOf(Conf::FrameInfo const& aspect, Conf::FrameInfo const& info) {
    auto const positive = [](int value) { return static_cast<double>(std::max(value, 1)); };
    double const ratio = positive(info.pixelAspectNum) * positive(aspect.pixelAspectDen) /
                         (positive(info.pixelAspectDen) * positive(aspect.pixelAspectNum));
    return static_cast<int>(std::clamp(std::round(info.width * ratio), 1.0, LARGEST_WIDTH));
}

}  // namespace Tarsel::Host
