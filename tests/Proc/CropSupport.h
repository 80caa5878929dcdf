#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"
#include "tests/support/Builders.h"
#include "tests/support/Draw.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Test {

/// The rules of crop detection as they are told, one formula after the other and without a thought of speed. Planes are
/// read byte by byte.
class PlainCrop {
  public:
    PlainCrop(int width, int height, u32 limit)
        : frameWidth(width),
          frameHeight(height),
          width(std::min(width, 320)),
          height(std::min(height, 240)),
          limit(limit),
          table(static_cast<std::size_t>(this->width * this->height)) {}

    Proc::CropInfo Calculate(Proc::IDataVideo const& frame, Proc::IDataVideo const& previous, int64 n) {
        Accumulate(frame, previous, 0, 1, 0);
        bool const isSemiPlanar = frame.GetPixelFormat() == PIX_FMT_NV12;
        Accumulate(frame, previous, 1, isSemiPlanar ? 2 : 1, 0);
        Accumulate(frame, previous, isSemiPlanar ? 1 : 2, isSemiPlanar ? 2 : 1, isSemiPlanar ? 1 : 0);
        edges = FindEdges(n);
        return {ScaledDown(edges.left, frameWidth, width), ScaledUp(edges.right, frameWidth, width),
                ScaledDown(edges.top, frameHeight, height), ScaledUp(edges.bottom, frameHeight, height)};
    }

    int64 RowDeviation(int row, int64 n) const {
        return Deviation(width, n, [&](int i) { return At(row, i); });
    }
    int64 ColumnDeviation(int column, int64 n) const {
        return Deviation(height, n, [&](int i) { return At(i, column); });
    }
    Proc::CropInfo FindEdges(int64 n) const {
        auto const w = static_cast<u32>(width), h = static_cast<u32>(height);
        u32 const left = Still(width, [&](int i) { return ColumnDeviation(i, n); });
        u32 const right = Still(width, [&](int i) { return ColumnDeviation(width - 1 - i, n); });
        u32 const top = Still(height, [&](int i) { return RowDeviation(i, n); });
        u32 const bottom = Still(height, [&](int i) { return RowDeviation(height - 1 - i, n); });
        return {left, w - right, top, h - bottom};
    }

    static int64 Brightness(Proc::IDataVideo const& frame) {
        Plane const luma = frame.GetPlaneConst(0);
        int64 sum = 0;
        for (int i = 0; i < 240; ++i)
            for (int j = 0; j < 320; ++j) sum += *Byte(luma, frame.GetWidth() * j / 320, frame.GetHeight() * i / 240);
        return sum / 76800;
    }

    int const frameWidth, frameHeight;
    int const width, height;
    u32 const limit;
    std::vector<u16> table;
    Proc::CropInfo edges;

  private:
    using Plane = Proc::Details::PlaneTemplate<1>;

    static u8 const* Byte(Plane const& plane, int x, int y) { return plane.GetData() + plane.GetStride() * y + x; }
    void Accumulate(Proc::IDataVideo const& frame, Proc::IDataVideo const& previous, unsigned plane, int step,
                    int first) {
        Plane const a = frame.GetPlaneConst(plane), b = previous.GetPlaneConst(plane);
        int const planeWidth = a.GetRowBytes();
        int const planeHeight = a.GetRows();
        for (int r = 0; r < height; ++r) {
            for (int c = 0; c < width; ++c) {
                int const x = c * (planeWidth / step) / width * step + first;
                int const y = r * planeHeight / height;
                u16& element = table[static_cast<std::size_t>(r * width + c)];
                element = static_cast<u16>(element + std::abs(*Byte(a, x, y) - *Byte(b, x, y)));
            }
        }
    }
    u16 At(int row, int column) const { return table[static_cast<std::size_t>(row * width + column)]; }
    static int64 Deviation(int count, int64 n, std::function<u16(int)> const& at) {
        int64 sum = 0, squares = 0;
        for (int i = 0; i < count; ++i) {
            int64 const value = at(i) / n;
            sum += value;
            squares += value * value;
        }
        int64 const mean = sum / count;
        return static_cast<int64>(std::sqrt(static_cast<double>(squares / count - mean * mean)));
    }
    u32 Still(int size, std::function<int64(int)> const& deviation) const {
        for (int i = 0; i < size / 2; ++i) {
            int64 const last = deviation(i);
            if (i >= 2 && (last + deviation(i - 1) + deviation(i - 2)) / 3 >= int64{limit})
                return static_cast<u32>(i - 2);
        }
        return 0;
    }
    static u32 ScaledDown(u32 edge, int frameSize, int tableSize) {
        return edge * static_cast<u32>(frameSize) / static_cast<u32>(tableSize) & 0xFFFEU;
    }
    static u32 ScaledUp(u32 edge, int frameSize, int tableSize) {
        u32 const scaled = (edge * static_cast<u32>(frameSize) / static_cast<u32>(tableSize) + 1) & 0xFFFEU;
        return std::min(scaled, static_cast<u32>(frameSize));  // a side of 1 alone is odd
    }
};

/// A picture of `format` (0, 23 or 33) whose bytes are drawn within `region`, and black without. Edges of the region
/// are even.
inline iptr<Proc::IDataVideo> DrawInside(TestSupport::Draw& draw, Proc::CropInfo const& region, int width, int height,
                                         int64 time, PixFmt format = PIX_FMT_YUV420P, unsigned bits = 8) {
    auto const frame = MakeVideo(time, 40000, 16, format, width, height);
    for (unsigned p = 0; p < static_cast<unsigned>(format == PIX_FMT_NV12 ? 2 : 3); ++p) {
        auto const plane = frame->GetPlane(p);
        u32 const down = p == 0 ? 1 : 2;
        u32 const bytes = p == 1 && format == PIX_FMT_NV12 ? 2 : 1;
        if (p != 0) {
            for (int y = 0; y < plane.GetRows(); ++y)
                std::memset(plane.GetData() + plane.GetStride() * y, 128,
                            static_cast<std::size_t>(plane.GetRowBytes()));
        }
        for (u32 y = region.top / down; y < region.bottom / down; ++y)
            for (u32 x = region.left / down * bytes; x < region.right / down * bytes; ++x)
                plane.GetData()[plane.GetStride() * y + x] = draw.Bits(bits);
    }
    return frame;
}

/// The crops that were written to the log, one for each pair of frames.
inline std::vector<std::string> CropsIn(LogLines const& lines) {
    std::string const prefix = "frame crop found: ";
    std::vector<std::string> crops;
    for (std::string const& line : lines.Get(google::INFO))
        if (line.rfind(prefix, 0) == 0) crops.push_back(line.substr(prefix.size()));
    return crops;
}

}  // namespace Tarsel::Test
