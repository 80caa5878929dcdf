#include "host/effects/CropEffect.h"

#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/effects/CropRegion.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

AVPixFmtDescriptor const* Describe(PixFmt format) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(static_cast<int>(format)));
}

/// Whether pictures of the format can be narrowed by moving the starts of their planes.
bool HasAddresses(PixFmt format) {
    AVPixFmtDescriptor const* const description = Describe(format);
    constexpr uint64_t UNFIT = AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BAYER;
    if (!description || (description->flags & UNFIT) || description->nb_components < 1) return false;
    // Packed YUV is walked in steps of its luma: not so in UYYVYY, whose luma has steps of two sizes.
    bool const isPacked = description->nb_components >= 3 && description->comp[1].plane == 0;
    return !isPacked || description->comp[0].step << description->log2_chroma_w == description->comp[1].step;
}

}  // namespace

CropEffect::~CropEffect() = default;

void CropEffect::Check(SettingsEffectCrop const& settings) const {
    if (settings.IsEmpty())
        TARSEL_THROW(EffectException, "There is nothing in the part to keep (" + ToText(settings.GetRegion()) + ")");
}

PixFmt CropEffect::FormatFor(PixFmt format) const {
    if (HasAddresses(format)) return format;
    PixFmt const other = WorkingFormat(format);
    return HasAddresses(other) ? other : PIX_FMT_NONE;
}

void CropEffect::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    PictureEffectBase::AdaptFormatCodec(format);
    auto* const video = dynamic_cast<Conf::IFormatCodecVideo*>(format.get());
    if (!video) return;
    Conf::FrameInfo info = video->GetFrameInfo();
    if (info.width < 1 || info.height < 1) return;
    CropInfo const region =
        CropRegionIn(GetOwnSettings().GetRegion(), video->GetPixelFormat(), info.width, info.height);
    info.width = static_cast<int>(region.GetWidth());
    info.height = static_cast<int>(region.GetHeight());
    video->SetFrameInfo(info);
}

void CropEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    iptr<IDataVideo> const picture = Accepted(item);
    int const width = picture->GetWidth(), height = picture->GetHeight();
    CropInfo const region = CropRegionIn(GetOwnSettings().GetRegion(), picture->GetPixelFormat(), width, height);
    u32 const step = RowStepOfFields(picture->GetPixelFormat());
    if (picture->GetInterlace() && region.top % step != 0)
        TARSEL_THROW(EffectException, "Interlaced pictures of " + FormatName(picture->GetPixelFormat()) +
                                          " can be cut off above rows that are multiples of " + std::to_string(step) +
                                          ", not above row " + std::to_string(region.top));
    CountItem();
    if (region == CropInfo::WholeOf(width, height)) {
        item = picture;
        return;
    }
    FramePtr frame = FrameOf(*picture);
    frame->crop_left = region.left;
    frame->crop_right = static_cast<u32>(width) - region.right;
    frame->crop_top = region.top;
    frame->crop_bottom = static_cast<u32>(height) - region.bottom;
    if (av_frame_apply_cropping(frame.get(), AV_FRAME_CROP_UNALIGNED) < 0)
        TARSEL_THROW(EffectException,
                     "Can't take a part of a picture of " + std::to_string(width) + "x" + std::to_string(height));
    item = WrapLike(std::move(frame), *picture);
}

}  // namespace Tarsel::Host
