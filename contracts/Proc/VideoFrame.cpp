#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/IData.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Proc {

namespace {

/// The values of a colour's components in the order of the pixel format, scaled to `depth` bits. Luma and chroma are
/// those of ITU-R BT.601 in limited range, full range for the JPEG formats.
std::array<unsigned, 4> Components(AVPixFmtDescriptor const& format, Color const& color) {
    std::array<double, 4> parts{};
    int const count = format.nb_components;
    bool const hasAlpha = (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    int const colours = hasAlpha ? count - 1 : count;
    double const luma = 0.299 * color.red + 0.587 * color.green + 0.114 * color.blue;
    if (format.flags & AV_PIX_FMT_FLAG_RGB) {
        parts = {double(color.red), double(color.green), double(color.blue), 0};
    } else {
        bool const full = std::string(format.name).rfind("yuvj", 0) == 0 || colours == 1;
        double const span = full ? 1.0 : 219.0 / 255.0;
        double const chroma = full ? 1.0 : 224.0 / 255.0;
        parts = {luma * span + (full ? 0 : 16), (color.blue - luma) / 1.772 * chroma + 128,
                 (color.red - luma) / 1.402 * chroma + 128, 0};
    }
    if (hasAlpha) parts[static_cast<std::size_t>(count - 1)] = color.alpha;
    std::array<unsigned, 4> values{};
    for (int i = 0; i < count; ++i) {
        int const depth = format.comp[i].depth;
        bool const scaleFull = (format.flags & AV_PIX_FMT_FLAG_RGB) || i == count - 1;
        double const top = std::ldexp(1.0, depth) - 1;
        double const part = parts[static_cast<std::size_t>(i)];
        double const scaled = scaleFull && depth != 8 ? part * top / 255.0 : std::ldexp(part, depth - 8);
        values[static_cast<std::size_t>(i)] = static_cast<unsigned>(std::lround(std::min(top, std::max(0.0, scaled))));
    }
    return values;
}

}  // namespace

void IDataVideo::Fill(Color const& color) {
    AVPixFmtDescriptor const* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(static_cast<int>(GetPixelFormat())));
    constexpr auto UNFIT =
        AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
    if (!format || (format->flags & UNFIT) || GetFrameAlloc() != FRAME_ALLOC_CPU)
        TARSEL_THROW(ProcException,
                     std::string("Can't fill a frame of pixel format ") + (format ? format->name : "unknown"));

    std::array<u8*, 4> data{};
    std::array<int, 4> strides{};
    int const planes = GetPlanesCount(*this);
    for (int i = 0; i < planes; ++i) {
        auto const plane = GetPlane(static_cast<unsigned>(i));
        data[static_cast<std::size_t>(i)] = plane.GetData();
        strides[static_cast<std::size_t>(i)] = static_cast<int>(plane.GetStride());
        // The codec library's writer only sets bits: what stands there must be gone first.
        for (int row = 0; row < plane.GetRows(); ++row)
            std::memset(plane.GetOffsetPtr(0, static_cast<unsigned>(row)), 0,
                        static_cast<std::size_t>(plane.GetRowBytes()));
    }
    auto const values = Components(*format, color);
    for (int component = 0; component < format->nb_components; ++component) {
        if (values[static_cast<std::size_t>(component)] == 0) continue;  // it stands there already
        auto const plane = GetPlane(static_cast<unsigned>(format->comp[component].plane));
        bool const chroma = (component == 1 || component == 2) && !(format->flags & AV_PIX_FMT_FLAG_RGB);
        int const width = chroma ? -((-GetWidth()) >> format->log2_chroma_w) : GetWidth();
        std::vector<uint16_t> const line(static_cast<std::size_t>(width),
                                         static_cast<uint16_t>(values[static_cast<std::size_t>(component)]));
        for (int row = 0; row < plane.GetRows(); ++row)
            av_write_image_line(line.data(), data.data(), strides.data(), format, 0, row, component, width);
    }
}

int GetPlanesCount(IDataVideo const& frame) {
    if (frame.GetFrameAlloc() != IDataVideo::FRAME_ALLOC_CPU) return 0;
    auto const* const description = Conf::PixFmtDescription::Find(frame.GetPixelFormat());
    return description ? description->GetPlanesCount() : 0;
}

bool IsOGLFrame(iptr<IDataVideo> const& frame) {
    return frame && frame->GetFrameAlloc() == IDataVideo::FRAME_ALLOC_GPU;
}

}  // namespace Tarsel::Proc
