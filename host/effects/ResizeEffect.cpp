#include "host/effects/ResizeEffect.h"

#include <limits>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/effects/PictureFit.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The format that a picture comes out in: parts of packed bits have no address.
AVPixelFormat OutputFormat(PixFmt format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(Native(format));
    bool const keeps = description && CanScaleTo(Native(format)) &&
                       !(description->flags & (AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL));
    return keeps ? Native(format) : Native(WorkingFormat(format));
}

/// Steps of chroma samples, and of rows of one field in an interlaced picture: where parts may begin.
struct Steps {
    int across;
    int down;

    Steps(int format, bool isInterlaced) : across(1), down(1) {
        AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
        if (description) across = 1 << description->log2_chroma_w;
        if (description) down = 1 << description->log2_chroma_h;
        if (isInterlaced) down *= 2;
    }
};

/// Narrows the frame, a reference of its own, to a part of it.
void NarrowTo(AVFrame& frame, PictureArea const& part) {
    frame.crop_left = static_cast<std::size_t>(part.x);
    frame.crop_top = static_cast<std::size_t>(part.y);
    frame.crop_right = static_cast<std::size_t>(frame.width - part.width - part.x);
    frame.crop_bottom = static_cast<std::size_t>(frame.height - part.height - part.y);
    if (av_frame_apply_cropping(&frame, AV_FRAME_CROP_UNALIGNED) < 0)
        TARSEL_THROW(EffectException, "Can't take a part of a picture of " + std::to_string(frame.width) + "x" +
                                          std::to_string(frame.height));
}

/// The part that is to be shown, in a format whose parts have addresses.
FramePtr ShownPart(IDataVideo const& picture) {
    FramePtr frame = FrameOf(picture);
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    if (description && (description->flags & AV_PIX_FMT_FLAG_BITSTREAM))
        frame = ScaleFrame(
            *frame, {.width = frame->width, .height = frame->height, .format = OutputFormat(picture.GetPixelFormat())});
    if (av_frame_apply_cropping(frame.get(), AV_FRAME_CROP_UNALIGNED) < 0)
        TARSEL_THROW(EffectException, "A picture's crop is larger than the picture");
    return frame;
}

/// The picture at its place in a black one.
FramePtr Framed(FramePtr inner, PictureArea const& place, Conf::FrameInfo const& size) {
    if (inner->width == size.width && inner->height == size.height) return inner;
    auto const format = static_cast<AVPixelFormat>(inner->format);
    FramePtr outer = AllocateFrame(size.width, size.height, format);
    av_frame_copy_props(outer.get(), inner.get());
    std::ptrdiff_t strides[4] = {outer->linesize[0], outer->linesize[1], outer->linesize[2], outer->linesize[3]};
    if (av_image_fill_black(outer->data, strides, format, outer->color_range, size.width, size.height) < 0)
        TARSEL_THROW(EffectException, std::string("Can't make black in pixel format ") + av_get_pix_fmt_name(format));
    FramePtr middle(av_frame_clone(outer.get()));
    NarrowTo(*middle, place);
    av_image_copy(middle->data, middle->linesize, const_cast<uint8_t const**>(inner->data), inner->linesize, format,
                  inner->width, inner->height);
    return outer;
}

ScaleAlgorithm AlgorithmOf(SettingsResizer const& settings) {
    switch (settings.GetAlgorithm()) {
        case SettingsResizer::ALGORITHM_BILINEAR:
            return ScaleAlgorithm::Bilinear;
        case SettingsResizer::ALGORITHM_BICUBIC:
            return ScaleAlgorithm::Bicubic;
        case SettingsResizer::ALGORITHM_LANCZOS:
            return ScaleAlgorithm::Lanczos;
    }
    return ScaleAlgorithm::Bicubic;
}

FramePtr Resized(IDataVideo const& picture, SettingsResizer const& settings, Conf::FrameInfo const& target) {
    FramePtr frame = ShownPart(picture);
    bool const isInterlaced = frame->interlaced_frame != 0;
    Conf::FrameInfo shown = picture.GetFrameInfo();
    shown.width = frame->width;
    shown.height = frame->height;
    AVPixelFormat const format = OutputFormat(picture.GetPixelFormat());
    // Parts of the picture begin where its own format lets them, places in the result where that one's does.
    bool const takesPart = settings.GetMode() == SettingsResizer::MODE_CROP;
    Steps const steps(takesPart ? frame->format : format, isInterlaced);
    PictureFit const fit =
        FitPicture(shown, CropInfo::WholeOf(shown.width, shown.height), settings, steps.across, steps.down);
    if (takesPart) NarrowTo(*frame, fit.from);
    if (frame->width != fit.to.width || frame->height != fit.to.height || frame->format != format)
        frame = ScaleFrame(
            *frame,
            {.width = fit.to.width, .height = fit.to.height, .format = format, .algorithm = AlgorithmOf(settings)});
    frame = Framed(std::move(frame), fit.to, target);
    frame->sample_aspect_ratio = {target.pixelAspectNum, target.pixelAspectDen};
    return frame;
}

}  // namespace

ResizeEffect::~ResizeEffect() = default;

void ResizeEffect::Check(SettingsResizer const& settings) const {
    if (settings.GetMode() == SettingsResizer::MODE_KEEP) return;
    Conf::FrameInfo const& info = settings.GetFrameInfo();
    // The codec library's own limit of what a frame can be.
    constexpr int64 LARGEST = std::numeric_limits<int>::max() / 8;
    if (info.width < 1 || info.height < 1 || info.width > LARGEST / (int64{info.height} + 128) - 128)
        TARSEL_THROW(EffectException,
                     "Pictures can't be resized to " + std::to_string(info.width) + "x" + std::to_string(info.height));
}

void ResizeEffect::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    auto* const video = dynamic_cast<Conf::IFormatCodecVideo*>(format.get());
    if (!video || GetOwnSettings().GetMode() == SettingsResizer::MODE_KEEP) return;
    video->SetFrameInfo(TargetOf(GetOwnSettings()));
    AVPixelFormat const output = OutputFormat(video->GetPixelFormat());
    if (output != AV_PIX_FMT_NONE) video->SetPixelFormat(static_cast<PixFmt>(static_cast<int>(output)));
}

void ResizeEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    RequireProcessorMemory(*item, SettingsResizer::CLASS_ID);
    SettingsResizer const& settings = GetOwnSettings();
    Conf::FrameInfo const target = TargetOf(settings);
    bool const fits = item->GetFrameInfo() == target &&
                      item->GetCrop() == CropInfo::WholeOf(item->GetWidth(), item->GetHeight()) &&
                      OutputFormat(item->GetPixelFormat()) == Native(item->GetPixelFormat());
    if (settings.GetMode() != SettingsResizer::MODE_KEEP && !fits) {
        try {
            item = WrapLike(Resized(*item, settings, target), *item);
        } catch (EffectException const&) {
            throw;
        } catch (ProcException const& failure) {
            TARSEL_THROW(EffectException, failure.what());
        }
    }
    CountItem();
}

}  // namespace Tarsel::Host
