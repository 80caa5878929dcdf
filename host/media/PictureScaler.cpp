#include "host/media/PictureScaler.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace Tarsel::Host {

namespace {

struct FreeScaler {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using ScalerPtr = std::unique_ptr<SwsContext, FreeScaler>;

/// Which third of a subsampled chroma row's height its samples lie in, for one field of an interlaced picture.
enum FieldPosition : int { WHOLE = -513, UPPER_FIELD = 64, LOWER_FIELD = 192 };

/// Everything that a context is made for.
struct ScalerKey {
    int fromWidth, fromHeight, toWidth, toHeight;
    AVPixelFormat from, to;
    int flags;
    int fromMatrix, toMatrix;
    bool fromFull, toFull;
    int fromPosition, toPosition;

    bool operator==(ScalerKey const&) const = default;
};

/// Contexts that nobody uses at the moment. Many effects that take turns have one between them; threads of their own
/// make contexts dear.
class ScalerShelf {
  public:
    static ScalerShelf& Get() {
        static ScalerShelf shelf;
        return shelf;
    }

    ScalerPtr Take(ScalerKey const& key) {
        Core::MutexLock const guard(lock);
        auto const place = std::find_if(items.begin(), items.end(), [&](Item const& item) { return item.key == key; });
        if (place == items.end()) return nullptr;
        ScalerPtr context = std::move(place->context);
        items.erase(place);
        return context;
    }

    void Give(ScalerKey const& key, ScalerPtr context) {
        ScalerPtr oldest;  // goes behind the lock: it may have threads to join
        Core::MutexLock const guard(lock);
        if (items.size() >= LARGEST) {
            oldest = std::move(items.front().context);
            items.erase(items.begin());
        }
        items.push_back({key, std::move(context)});
    }

  private:
    static constexpr std::size_t LARGEST = 8;
    struct Item {
        ScalerKey key;
        ScalerPtr context;
    };

    Core::Mutex lock;
    std::vector<Item> items TARSEL_GUARDED_BY(lock);
};

AVPixFmtDescriptor const& Describe(int format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    if (!description) TARSEL_THROW(Proc::ProcException, "There is no pixel format " + std::to_string(format));
    return *description;
}

bool IsRgb(int format) {
    return IsRgbFormat(static_cast<AVPixelFormat>(format));
}

/// Formats whose samples fill the range by their definition.
bool IsFullByFormat(int format) {
    AVPixFmtDescriptor const& description = Describe(format);
    bool const grey = description.nb_components <= 2 && !IsRgb(format);
    return grey || std::strncmp(description.name, "yuvj", 4) == 0;
}

bool IsNamed(AVColorSpace matrix) {
    return matrix != AVCOL_SPC_UNSPECIFIED && matrix != AVCOL_SPC_RGB;
}

/// The library's number of the matrix; it knows its matrices by the numbers of `AVColorSpace`.
int MatrixOf(AVColorSpace matrix) {
    return IsNamed(matrix) ? static_cast<int>(matrix) : SWS_CS_DEFAULT;
}

bool IsFull(AVColorRange range, int format) {
    if (IsRgb(format)) return false;
    return range == AVCOL_RANGE_UNSPECIFIED ? IsFullByFormat(format) : range == AVCOL_RANGE_JPEG;
}

/// Settles the colours of the result and tells them to it.
void SettleColours(AVFrame const& from, PictureTarget const& target, AVFrame& to) {
    if (IsRgb(target.format)) {
        to.colorspace = AVCOL_SPC_RGB;
        to.color_range = AVCOL_RANGE_UNSPECIFIED;
        return;
    }
    bool const fromRgb = IsRgb(from.format);
    if (target.matrix != AVCOL_SPC_UNSPECIFIED)
        to.colorspace = target.matrix;
    else if (fromRgb)
        to.colorspace = AVCOL_SPC_SMPTE170M;
    if (IsFullByFormat(target.format))
        to.color_range = AVCOL_RANGE_JPEG;
    else if (target.range != AVCOL_RANGE_UNSPECIFIED)
        to.color_range = target.range;
    else if (fromRgb || IsFullByFormat(from.format))
        to.color_range = AVCOL_RANGE_MPEG;
}

/// The JPEG formats are others in full range; the library warns of their names.
AVPixelFormat PlainFormat(int format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ411P:
            return AV_PIX_FMT_YUV411P;
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        default:
            return static_cast<AVPixelFormat>(format);
    }
}

int FlagsOf(ScaleAlgorithm algorithm, AVFrame const& from, int toFormat) {
    int flags = SWS_ACCURATE_RND | SWS_BITEXACT;
    if (IsRgb(toFormat) && Describe(toFormat).comp[0].depth >= 8) flags |= SWS_FULL_CHR_H_INT;
    // Else it takes colours from pairs of pixels, of which the last one of an odd row lacks its second.
    if (IsRgb(from.format) && (IsRgb(toFormat) || from.width % 2 != 0)) flags |= SWS_FULL_CHR_H_INP;
    switch (algorithm) {
        case ScaleAlgorithm::Bilinear:
            return flags | SWS_BILINEAR;
        case ScaleAlgorithm::Bicubic:
            return flags | SWS_BICUBIC;
        case ScaleAlgorithm::Lanczos:
            return flags | SWS_LANCZOS;
    }
    return flags | SWS_BICUBIC;
}

ScalerPtr MakeScaler(ScalerKey const& key) {
    // Below this many samples waking threads costs more than they save.
    constexpr int64 WORTH_THREADS = 256 * 256;
    int64 const pixels = std::max(int64{key.fromWidth} * key.fromHeight, int64{key.toWidth} * key.toHeight);
    ScalerPtr context(sws_alloc_context());
    if (!context) return nullptr;
    auto const set = [&](char const* name, int value) { av_opt_set_int(context.get(), name, value, 0); };
    set("srcw", key.fromWidth);
    set("srch", key.fromHeight);
    set("src_format", key.from);
    set("dstw", key.toWidth);
    set("dsth", key.toHeight);
    set("dst_format", key.to);
    set("sws_flags", key.flags);
    set("src_range", key.fromFull);
    set("dst_range", key.toFull);
    set("src_v_chr_pos", key.fromPosition);
    set("dst_v_chr_pos", key.toPosition);
    set("threads", pixels >= WORTH_THREADS ? 0 : 1);
    if (sws_init_context(context.get(), nullptr, nullptr) < 0) return nullptr;
    int* table = nullptr;
    int range = 0, brightness = 0, contrast = 0, saturation = 0;
    // Conversions between formats of one kind have no matrix to set.
    if (sws_getColorspaceDetails(context.get(), &table, &range, &table, &range, &brightness, &contrast, &saturation) >=
        0)
        sws_setColorspaceDetails(context.get(), sws_getCoefficients(key.fromMatrix), key.fromFull,
                                 sws_getCoefficients(key.toMatrix), key.toFull, brightness, contrast, saturation);
    return context;
}

[[noreturn]] void Refuse(AVFrame const& from, PictureTarget const& target) {
    TARSEL_THROW(Proc::ProcException, "Can't convert a picture of " + std::to_string(from.width) + "x" +
                                          std::to_string(from.height) + " in pixel format " +
                                          Describe(from.format).name + " to " + std::to_string(target.width) + "x" +
                                          std::to_string(target.height) + " in " + Describe(target.format).name);
}

/// Fills the frame, whose colours are settled.
void ScaleInto(AVFrame const& from, PictureTarget const& target, AVFrame& to, int fromPosition, int toPosition) {
    int const toMatrix = MatrixOf(IsRgb(to.format) ? AVCOL_SPC_UNSPECIFIED : to.colorspace);
    int const fromMatrix = MatrixOf(IsRgb(from.format) ? AVCOL_SPC_UNSPECIFIED : from.colorspace);
    bool const sameKind = IsRgb(from.format) == IsRgb(to.format);
    ScalerKey const key{from.width,
                        from.height,
                        to.width,
                        to.height,
                        PlainFormat(from.format),
                        PlainFormat(target.format),
                        FlagsOf(target.algorithm, from, to.format),
                        fromMatrix,
                        sameKind ? toMatrix : (IsRgb(to.format) ? SWS_CS_DEFAULT : toMatrix),
                        IsFull(from.color_range, from.format),
                        IsFull(to.color_range, to.format),
                        fromPosition,
                        toPosition};
    ScalerPtr context = ScalerShelf::Get().Take(key);
    if (!context) context = MakeScaler(key);
    if (!context || sws_scale_frame(context.get(), &to, &from) < 0) Refuse(from, target);
    ScalerShelf::Get().Give(key, std::move(context));
}

int PlaneRows(AVFrame const& frame, int plane) {
    AVPixFmtDescriptor const& description = Describe(frame.format);
    bool const chroma = (plane == 1 || plane == 2) && !(description.flags & AV_PIX_FMT_FLAG_RGB);
    return chroma ? -((-frame.height) >> description.log2_chroma_h) : frame.height;
}

/// Copies the rows of one field between the whole picture and a picture of its own. Where halving chroma rows leaves
/// no row for the field's last, its neighbour stands in.
void CopyField(AVFrame& to, AVFrame const& from, int field, bool isWeaving) {
    AVFrame const& whole = isWeaving ? to : from;
    AVFrame const& part = isWeaving ? from : to;
    AVPixFmtDescriptor const& description = Describe(whole.format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(static_cast<AVPixelFormat>(whole.format)); ++plane) {
        if (plane == 1 && (description.flags & AV_PIX_FMT_FLAG_PAL)) {
            std::memcpy(to.data[1], from.data[1], AVPALETTE_SIZE);
            continue;
        }
        int const bytes = av_image_get_linesize(static_cast<AVPixelFormat>(whole.format), whole.width, plane);
        int const rows = PlaneRows(whole, plane);
        for (int row = 0; row < PlaneRows(part, plane); ++row) {
            if (isWeaving && row * 2 + field >= rows) break;
            int const wholeRow = std::min(row * 2 + field, (rows - 1 - field) / 2 * 2 + field);
            int const fromRow = isWeaving ? row : std::clamp(wholeRow, 0, rows - 1);
            int const toRow = isWeaving ? wholeRow : row;
            std::memcpy(to.data[plane] + std::ptrdiff_t{toRow} * to.linesize[plane],
                        from.data[plane] + std::ptrdiff_t{fromRow} * from.linesize[plane],
                        static_cast<std::size_t>(std::max(bytes, 0)));
        }
    }
}

void ScaleFields(AVFrame const& from, PictureTarget const& target, AVFrame& to) {
    for (int field = 0; field < 2; ++field) {
        FramePtr const source =
            AllocateFrame(from.width, (from.height + 1 - field) / 2, static_cast<AVPixelFormat>(from.format));
        FramePtr const result = AllocateFrame(to.width, (to.height + 1 - field) / 2, target.format);
        av_frame_copy_props(source.get(), &from);
        av_frame_copy_props(result.get(), &to);
        CopyField(*source, from, field, false);
        int const position = field == 0 ? UPPER_FIELD : LOWER_FIELD;
        ScaleInto(*source, target, *result, Describe(from.format).log2_chroma_h == 1 ? position : WHOLE,
                  Describe(to.format).log2_chroma_h == 1 ? position : WHOLE);
        CopyField(to, *result, field, true);
    }
}

/// The picture of a class that has no FFmpeg frame inside, row by row.
FramePtr CopyPlanes(Proc::IDataVideo const& picture) {
    if (picture.GetFrameAlloc() != Proc::IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(Proc::ProcException, "Can't read a picture in GPU memory");
    FramePtr frame = AllocateFrame(picture.GetWidth(), picture.GetHeight(),
                                   static_cast<AVPixelFormat>(static_cast<int>(picture.GetPixelFormat())));
    for (int i = 0; i < Proc::GetPlanesCount(picture); ++i) {
        auto const plane = picture.GetPlaneConst(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row)
            std::memcpy(frame->data[i] + std::ptrdiff_t{row} * frame->linesize[i],
                        plane.GetData() + row * plane.GetStride(), static_cast<std::size_t>(plane.GetRowBytes()));
    }
    frame->interlaced_frame = picture.GetInterlace() != 0;
    frame->sample_aspect_ratio = {picture.GetFrameInfo().pixelAspectNum, picture.GetFrameInfo().pixelAspectDen};
    return frame;
}

}  // namespace

FramePtr FrameOf(Proc::IDataVideo const& picture) {
    auto const* const native = dynamic_cast<Proc::DataVideoFF const*>(&picture);
    FramePtr frame = native ? FramePtr(av_frame_clone(native->GetAVFrame())) : CopyPlanes(picture);
    if (!frame) TARSEL_THROW(Proc::ProcException, "Can't reference a picture");
    return frame;
}

FramePtr AllocateFrame(int width, int height, AVPixelFormat format) {
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

FramePtr ScaleFrame(AVFrame const& from, PictureTarget const& target) {
    if (!CanScaleTo(target.format) || !sws_isSupportedInput(static_cast<AVPixelFormat>(from.format)))
        Refuse(from, target);
    // The library turns colours of a palette into YUV by one matrix, whichever is asked for.
    if ((Describe(from.format).flags & AV_PIX_FMT_FLAG_PAL) && !IsRgb(target.format)) {
        FramePtr const colours =
            ScaleFrame(from, {.width = from.width, .height = from.height, .format = AV_PIX_FMT_RGBA});
        return ScaleFrame(*colours, target);
    }
    FramePtr to = AllocateFrame(target.width, target.height, target.format);
    av_frame_copy_props(to.get(), &from);
    SettleColours(from, target, *to);
    bool const sameRows =
        from.height == to->height && Describe(from.format).log2_chroma_h == Describe(target.format).log2_chroma_h;
    if (from.interlaced_frame && !sameRows && from.height > 1 && to->height > 1)
        ScaleFields(from, target, *to);
    else
        ScaleInto(from, target, *to, WHOLE, WHOLE);
    return to;
}

bool CanScaleTo(AVPixelFormat format) {
    return sws_isSupportedOutput(format) != 0;
}

bool IsRgbFormat(AVPixelFormat format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    return description && (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

}  // namespace Tarsel::Host
