#include "host/effects/PictureParts.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

bool IsWorkable(AVPixFmtDescriptor const& description) {
    constexpr uint64_t UNFIT = AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                               AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BE;
    if ((description.flags & UNFIT) || description.nb_components < 1 || std::strncmp(description.name, "xyz", 3) == 0)
        return false;
    return std::all_of(
        description.comp, description.comp + description.nb_components, [](AVComponentDescriptor const& part) {
            if (part.depth == 8) return part.shift == 0;
            return part.depth > 8 && part.depth + part.shift <= 16 && part.step % 2 == 0 && part.offset % 2 == 0;
        });
}

/// Whether the samples mean what the target says. What one of the two leaves open is no difference.
bool HasColoursOf(IDataVideo const& picture, PictureTarget const& target) {
    PictureColours const colours = ColoursOf(picture);
    bool const sameMatrix = target.matrix == AVCOL_SPC_UNSPECIFIED || colours.matrix == AVCOL_SPC_UNSPECIFIED ||
                            target.matrix == colours.matrix;
    bool const sameRange =
        target.range == AVCOL_RANGE_UNSPECIFIED || colours.isFull == (target.range == AVCOL_RANGE_JPEG);
    return sameMatrix && sameRange;
}

/// The library's way through its own numbers adds 1 to the upper half of an alpha of 8 bits.
void KeepAlpha(IDataVideo const& picture, IDataVideo& result) {
    if (!HasLayout(picture.GetPixelFormat()) || !HasLayout(result.GetPixelFormat())) return;
    PictureLayout const from = LayoutOf(picture.GetPixelFormat(), picture.GetWidth(), picture.GetHeight());
    PictureLayout const to = LayoutOf(result.GetPixelFormat(), result.GetWidth(), result.GetHeight());
    if (!from.GetAlpha() || !to.GetAlpha() || from.GetAlpha()->depth != 8 || to.GetAlpha()->depth != 8) return;
    for (int y = 0; y < picture.GetHeight(); ++y) {
        u8 const* const source = RowOfConst<u8>(picture, *from.GetAlpha(), y);
        u8* const row = RowOf<u8>(result, *to.GetAlpha(), y);
        for (std::ptrdiff_t x = 0; x < picture.GetWidth(); ++x)
            row[x * to.GetAlpha()->step] = source[x * from.GetAlpha()->step];
    }
}

}  // namespace

bool HasLayout(PixFmt format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(Native(format));
    return description && IsWorkable(*description);
}

PictureLayout LayoutOf(PixFmt format, int width, int height) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(Native(format));
    if (!description || !IsWorkable(*description))
        TARSEL_THROW(EffectException, "Effects can't work on pixel format " + FormatName(format));
    PictureLayout layout;
    layout.count = description->nb_components;
    layout.isRgb = (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    layout.hasAlpha = (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    layout.chromaShiftX = description->log2_chroma_w;
    layout.chromaShiftY = description->log2_chroma_h;
    for (int i = 0; i < layout.count; ++i) {
        AVComponentDescriptor const& native = description->comp[i];
        PictureComponent& part = layout.components[static_cast<std::size_t>(i)];
        part.isAlpha = layout.hasAlpha && i == layout.count - 1;
        part.isChroma = !layout.isRgb && !part.isAlpha && i > 0;
        part.plane = native.plane;
        part.offset = native.offset;
        part.step = native.step;
        part.depth = native.depth;
        part.shift = native.shift;
        part.width = part.isChroma ? -((-width) >> layout.chromaShiftX) : width;
        part.height = part.isChroma ? -((-height) >> layout.chromaShiftY) : height;
    }
    return layout;
}

PixFmt WorkingFormat(PixFmt format) {
    if (HasLayout(format)) return format;
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(Native(format));
    if (!description || (description->flags & AV_PIX_FMT_FLAG_HWACCEL)) return PIX_FMT_NONE;
    static constexpr AVPixelFormat CANDIDATES[] = {AV_PIX_FMT_RGB24,       AV_PIX_FMT_RGBA,         AV_PIX_FMT_YUV420P,
                                                   AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,      AV_PIX_FMT_GRAY8,
                                                   AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE,  AV_PIX_FMT_GRAY16LE,
                                                   AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_YUV444P16LE,  AV_PIX_FMT_RGB48LE,
                                                   AV_PIX_FMT_RGBA64LE,    AV_PIX_FMT_YUVA444P16LE, AV_PIX_FMT_NONE};
    int const alpha = description->flags & AV_PIX_FMT_FLAG_ALPHA ? 1 : 0;
    return static_cast<PixFmt>(
        static_cast<int>(avcodec_find_best_pix_fmt_of_list(CANDIDATES, Native(format), alpha, nullptr)));
}

std::string FormatName(PixFmt format) {
    char const* const name = av_get_pix_fmt_name(Native(format));
    return name ? name : std::to_string(static_cast<int>(format));
}

PictureColours ColoursOf(IDataVideo const& picture) {
    auto const* const native = dynamic_cast<DataVideoFF const*>(&picture);
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(Native(picture.GetPixelFormat()));
    PictureColours colours;
    if (!description) return colours;
    bool const isRgb = (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
    AVColorRange const range = native ? native->GetAVFrame()->color_range : AVCOL_RANGE_UNSPECIFIED;
    bool const fullByFormat = description->nb_components <= 2 || std::strncmp(description->name, "yuvj", 4) == 0;
    colours.isFull = isRgb || (range == AVCOL_RANGE_UNSPECIFIED ? fullByFormat : range == AVCOL_RANGE_JPEG);
    if (isRgb || !native) return colours;
    colours.matrix = native->GetAVFrame()->colorspace;
    switch (colours.matrix) {
        case AVCOL_SPC_BT709:
            colours.red = 0.2126;
            colours.blue = 0.0722;
            break;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            colours.red = 0.2627;
            colours.blue = 0.0593;
            break;
        case AVCOL_SPC_SMPTE240M:
            colours.red = 0.212;
            colours.blue = 0.087;
            break;
        case AVCOL_SPC_FCC:
            colours.red = 0.30;
            colours.blue = 0.11;
            break;
        default:
            break;
    }
    return colours;
}

std::array<int, 4> SamplesOf(int rgb, PictureLayout const& layout, PictureColours const& colours) {
    std::array<double, 3> const parts{((rgb >> 16) & 255) / 255.0, ((rgb >> 8) & 255) / 255.0, (rgb & 255) / 255.0};
    double const luma = colours.red * parts[0] + (1 - colours.red - colours.blue) * parts[1] + colours.blue * parts[2];
    std::array<int, 4> samples{};
    for (int i = 0; i < layout.count; ++i) {
        auto const index = static_cast<std::size_t>(i);
        PictureComponent const& part = layout.components[index];
        double const max = part.GetMax();
        double const unit = std::ldexp(1.0, part.depth - 8);  // what 1 of 8 bits is in limited range
        double value = max;
        if (part.isChroma) {
            double const difference =
                i == 1 ? (parts[2] - luma) / (2 - 2 * colours.blue) : (parts[0] - luma) / (2 - 2 * colours.red);
            value = std::ldexp(1.0, part.depth - 1) + difference * (colours.isFull ? max : 224 * unit);
        } else if (!part.isAlpha) {
            double const share = layout.isRgb ? parts[index] : luma;
            value = colours.isFull ? share * max : 16 * unit + share * 219 * unit;
        }
        samples[index] = static_cast<int>(std::lround(std::clamp(value, 0.0, max)));
    }
    return samples;
}

void RequireProcessorMemory(IDataVideo const& picture, char const* effect) {
    if (picture.GetFrameAlloc() != IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(EffectException, std::string(effect) + " can't process a frame in GPU memory");
}

std::vector<iptr<IDataVideo>> PicturesOf(std::vector<iptr<IData>> const& inputs) {
    if (inputs.empty()) TARSEL_THROW(std::invalid_argument, "An effect needs at least one input");
    std::vector<iptr<IDataVideo>> pictures;
    for (auto const& input : inputs) {
        if (!input) continue;
        iptr<IDataVideo> picture(dynamic_cast<IDataVideo*>(input.get()));
        if (!picture) TARSEL_THROW(EffectException, "The effect can't process an item of this kind");
        pictures.push_back(std::move(picture));
    }
    return pictures;
}

iptr<IDataVideo> WrapLike(FramePtr frame, IDataVideo const& timed) {
    return DataVideoFF::Wrap(frame.release(), timed.GetTime(), timed.GetDuration());
}

iptr<IDataVideo> Conformed(iptr<IDataVideo> const& picture, PictureTarget const& target) {
    bool const sameForm = picture->GetWidth() == target.width && picture->GetHeight() == target.height &&
                          Native(picture->GetPixelFormat()) == target.format;
    if (sameForm && HasColoursOf(*picture, target)) return picture;
    try {
        iptr<IDataVideo> const result = WrapLike(ScaleFrame(*FrameOf(*picture), target), *picture);
        if (picture->GetWidth() == target.width && picture->GetHeight() == target.height) KeepAlpha(*picture, *result);
        return result;
    } catch (ProcException const& failure) {
        TARSEL_THROW(EffectException, failure.what());
    }
}

PictureTarget TargetLike(IDataVideo const& picture) {
    PictureColours const colours = ColoursOf(picture);
    return {.width = picture.GetWidth(),
            .height = picture.GetHeight(),
            .format = Native(picture.GetPixelFormat()),
            .matrix = colours.matrix,
            .range = colours.isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG};
}

}  // namespace Tarsel::Host
