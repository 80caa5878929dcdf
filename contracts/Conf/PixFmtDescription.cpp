#include "contracts/Conf/PixFmtDescription.h"

#include <algorithm>
#include <vector>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Conf {

namespace {

AVPixelFormat Native(PixFmt format) {
    return static_cast<AVPixelFormat>(static_cast<int>(format));
}

int CeilShift(int value, int shift) {
    return -((-value) >> shift);
}

}  // namespace

/// All descriptions, built once from the codec library's table.
class PixFmtTable {
  public:
    PixFmtTable() {
        for (AVPixFmtDescriptor const* native = av_pix_fmt_desc_next(nullptr); native;
             native = av_pix_fmt_desc_next(native))
            Enter(*native);
    }

    PixFmtDescription const* Find(PixFmt format) const {
        bool const known = format >= 0 && static_cast<std::size_t>(format) < entries.size() &&
                           entries[static_cast<std::size_t>(format)].format == format;
        return known ? &entries[static_cast<std::size_t>(format)] : nullptr;
    }

  private:
    void Enter(AVPixFmtDescriptor const& native) {
        AVPixelFormat const id = av_pix_fmt_desc_get_id(&native);
        if (id < 0) return;
        entries.resize(std::max(entries.size(), static_cast<std::size_t>(id) + 1));
        PixFmtDescription& entry = entries[static_cast<std::size_t>(id)];
        entry.format = static_cast<PixFmt>(static_cast<int>(id));
        entry.name = native.name;
        auto const take = [&](uint64_t nativeFlag, unsigned flag) {
            if (native.flags & nativeFlag) entry.flags |= flag;
        };
        take(AV_PIX_FMT_FLAG_RGB, PixFmtDescription::FLAG_RGB);
        take(AV_PIX_FMT_FLAG_PLANAR, PixFmtDescription::FLAG_PLANAR);
        take(AV_PIX_FMT_FLAG_PAL, PixFmtDescription::FLAG_PALETTE);
        take(AV_PIX_FMT_FLAG_ALPHA, PixFmtDescription::FLAG_ALPHA);
        take(AV_PIX_FMT_FLAG_HWACCEL, PixFmtDescription::FLAG_HARDWARE);
        take(AV_PIX_FMT_FLAG_BE, PixFmtDescription::FLAG_BIG_ENDIAN);
        entry.planes = (native.flags & AV_PIX_FMT_FLAG_HWACCEL) ? 0 : std::max(0, av_pix_fmt_count_planes(id));
        entry.chromaShiftX = native.log2_chroma_w;
        entry.chromaShiftY = native.log2_chroma_h;
    }

    std::vector<PixFmtDescription> entries;
};

PixFmtDescription const* PixFmtDescription::Find(PixFmt format) {
    static PixFmtTable const table;
    return table.Find(format);
}

PixFmtDescription const* PixFmtDescription::Find(std::string const& name) {
    return Find(static_cast<PixFmt>(static_cast<int>(av_get_pix_fmt(name.c_str()))));
}

int PixFmtDescription::GetPlaneRowBytes(int width, int plane) const {
    if (width <= 0 || plane < 0 || plane >= planes) return 0;
    return std::max(0, av_image_get_linesize(Native(format), width, plane));
}

int PixFmtDescription::GetPlaneRows(int height, int plane) const {
    if (height <= 0 || plane < 0 || plane >= planes) return 0;
    // Planes 1 and 2 hold chroma in every format with subsampled planes; alpha is as high as the picture.
    bool const chroma = (plane == 1 || plane == 2) && !(flags & FLAG_RGB);
    return chroma ? CeilShift(height, chromaShiftY) : height;
}

std::size_t PixFmtDescription::GetAllPlanesFullSize(int width, int height) const {
    std::size_t size = 0;
    for (int plane = 0; plane < planes; ++plane)
        size += static_cast<std::size_t>(GetPlaneRowBytes(width, plane)) *
                static_cast<std::size_t>(GetPlaneRows(height, plane));
    return size;
}

}  // namespace Tarsel::Conf
