#include "host/timeline/OpacityVideo.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

namespace {

/// Kinds of formats that differ in more than alpha.
constexpr uint64 KIND_FLAGS = AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                              AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_RGB |
                              AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
constexpr uint64 UNUSABLE = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL |
                            AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BE;

AVPixFmtDescriptor const* Describe(PixFmt format) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(static_cast<int>(format)));
}

/// Whether the colours are kept alike, one sample a plane or one pixel a step.
bool HaveSameColours(AVPixFmtDescriptor const& a, AVPixFmtDescriptor const& b) {
    if ((a.flags & KIND_FLAGS) != (b.flags & KIND_FLAGS)) return false;
    if (a.log2_chroma_w != b.log2_chroma_w || a.log2_chroma_h != b.log2_chroma_h) return false;
    for (int i = 0; i < std::min(a.nb_components, b.nb_components); ++i)
        if (a.comp[i].depth != b.comp[i].depth || a.comp[i].plane != b.comp[i].plane ||
            a.comp[i].offset != b.comp[i].offset || a.comp[i].shift != b.comp[i].shift)
            return false;
    return true;
}

/// The first format of the same colours with a component more or less.
PixFmt FindTwin(PixFmt format, bool alpha) {
    AVPixFmtDescriptor const* const own = Describe(format);
    if (!own) return PIX_FMT_NONE;
    for (AVPixFmtDescriptor const* other = av_pix_fmt_desc_next(nullptr); other; other = av_pix_fmt_desc_next(other)) {
        bool const hasAlpha = (other->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
        if (hasAlpha == alpha && other->nb_components == own->nb_components + (alpha ? 1 : -1) &&
            std::strncmp(other->name, "yuvj", 4) != 0 && HaveSameColours(*own, *other))
            return static_cast<PixFmt>(static_cast<int>(av_pix_fmt_desc_get_id(other)));
    }
    return PIX_FMT_NONE;
}

PixFmt WithLimitedRange(PixFmt format) {
    switch (static_cast<AVPixelFormat>(static_cast<int>(format))) {
        case AV_PIX_FMT_YUVJ420P:
            return static_cast<PixFmt>(static_cast<int>(AV_PIX_FMT_YUV420P));
        case AV_PIX_FMT_YUVJ422P:
            return static_cast<PixFmt>(static_cast<int>(AV_PIX_FMT_YUV422P));
        case AV_PIX_FMT_YUVJ444P:
            return static_cast<PixFmt>(static_cast<int>(AV_PIX_FMT_YUV444P));
        case AV_PIX_FMT_YUVJ440P:
            return static_cast<PixFmt>(static_cast<int>(AV_PIX_FMT_YUV440P));
        case AV_PIX_FMT_YUVJ411P:
            return static_cast<PixFmt>(static_cast<int>(AV_PIX_FMT_YUV411P));
        default:
            return format;
    }
}

template <class Sample>
void Scale(u8* row, int width, AVComponentDescriptor const& part, double opacity) {
    for (int x = 0; x < width; ++x) {
        u8* const place = row + std::ptrdiff_t{x} * part.step;
        Sample value;
        std::memcpy(&value, place, sizeof value);
        value = static_cast<Sample>(std::lround((value >> part.shift) * opacity) << part.shift);
        std::memcpy(place, &value, sizeof value);
    }
}

}  // namespace

bool HasAlpha(PixFmt format) {
    AVPixFmtDescriptor const* const description = Describe(format);
    return description && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

PixFmt WithAlpha(PixFmt format) {
    return HasAlpha(format) ? format : FindTwin(format, true);
}

PixFmt TimelinePixelFormat(PixFmt format) {
    AVPixFmtDescriptor const* const description = Describe(format);
    bool const usable = description && (description->flags & UNUSABLE) == 0 && description->comp[0].depth >= 8;
    PixFmt const opaque = !usable ? PIX_FMT_NONE : HasAlpha(format) ? FindTwin(format, false) : format;
    return opaque == PIX_FMT_NONE ? PIX_FMT_YUV420P : WithLimitedRange(opaque);
}

iptr<Proc::IStreamVideo> OpacityVideo::Create(iptr<Proc::IStreamVideo> source, double opacity) {
    if (opacity >= 1) return source;
    return iptr<Proc::IStreamVideo>(new OpacityVideo(std::move(source), opacity));
}

OpacityVideo::OpacityVideo(iptr<Proc::IStreamVideo> source, double opacity)
    : ForwardingStream(std::move(source)), opacity(std::clamp(opacity, 0.0, 1.0)) {}

iptr<Proc::IDataVideo> OpacityVideo::Read() {
    iptr<Proc::IDataVideo> picture = stream->Read();
    if (!picture) return nullptr;
    AVPixFmtDescriptor const* const description = Describe(picture->GetPixelFormat());
    if (!description || (description->flags & AV_PIX_FMT_FLAG_ALPHA) == 0)
        TARSEL_THROW(Proc::ProcException, "Opacity needs pictures with alpha");
    picture = picture->MakeWritable();
    AVComponentDescriptor const& part = description->comp[description->nb_components - 1];
    auto const plane = picture->GetPlane(static_cast<unsigned>(part.plane));
    for (int y = 0; y < picture->GetHeight(); ++y) {
        u8* const row =
            plane.GetData() + std::ptrdiff_t{y} * static_cast<std::ptrdiff_t>(plane.GetStride()) + part.offset;
        if (part.depth > 8)
            Scale<u16>(row, picture->GetWidth(), part, opacity);
        else
            Scale<u8>(row, picture->GetWidth(), part, opacity);
    }
    return picture;
}

}  // namespace Tarsel::Host
