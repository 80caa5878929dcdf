#include "Proc/Filters/Filters/TransparentBorder.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Tarsel::Proc {

namespace {

constexpr int PIXEL_BYTES = 4;

/// Sums of the three colours of opaque pixels, and their number. Wide enough for any picture.
using Sums = std::array<uint64, 4>;

/// Walks down a picture with a window of rows.
class Window {
  public:
    Window(Details::PlaneTemplate<0> const& plane, int alphaByte)
        : plane(plane),
          alphaByte(alphaByte),
          firstColour(alphaByte == 0 ? 1 : 0),
          width(static_cast<std::size_t>(plane.GetRowBytes() / PIXEL_BYTES)),
          columns(width),
          along(width + 1) {}

    u8* GetRow(int y) const { return plane.GetOffsetPtr(0, static_cast<unsigned>(y)); }
    void AddRow(int y) {
        ForOpaque(y, [](uint64& sum, uint64 value) { sum += value; });
    }
    void TakeRow(int y) {
        ForOpaque(y, [](uint64& sum, uint64 value) { sum -= value; });
    }
    /// Writes the transparent pixels of a row from the window that has been set up for it.
    uint64 BlurRow(int y, std::size_t half) {
        u8* const row = GetRow(y);
        bool summed = false;
        uint64 changed = 0;
        for (std::size_t x = 0; x < width; ++x) {
            u8* const pixel = row + x * PIXEL_BYTES;
            if (pixel[alphaByte] != 0) continue;
            if (!summed) SumAlong();
            summed = true;
            Sums const& from = along[x > half ? x - half : 0];
            Sums const& to = along[half < width - x ? x + half : width];
            uint64 const count = to[3] - from[3];
            if (count == 0) continue;
            for (std::size_t c = 0; c < 3; ++c) pixel[firstColour + c] = static_cast<u8>((to[c] - from[c]) / count);
            ++changed;
        }
        return changed;
    }

  private:
    template <class Change>
    void ForOpaque(int y, Change&& change) {
        u8 const* pixel = GetRow(y);
        for (Sums& sums : columns) {
            if (pixel[alphaByte] != 0) {
                for (std::size_t c = 0; c < 3; ++c) change(sums[c], pixel[firstColour + c]);
                change(sums[3], 1);
            }
            pixel += PIXEL_BYTES;
        }
    }
    void SumAlong() {
        for (std::size_t x = 0; x < width; ++x)
            for (std::size_t c = 0; c < 4; ++c) along[x + 1][c] = along[x][c] + columns[x][c];
    }

    Details::PlaneTemplate<0> const plane;
    std::size_t const alphaByte;
    std::size_t const firstColour;
    std::size_t const width;
    std::vector<Sums> columns;  // over the window's rows
    std::vector<Sums> along;    // of the columns left of each
};

}  // namespace

uint64 BlurTransparentBorder(Details::PlaneTemplate<0> const& plane, int alphaByte, int matrixSize) {
    int const height = plane.GetRows();
    int const half = matrixSize / 2;
    // The window of a size up to 1 is empty.
    if (half <= 0) return 0;
    Window window(plane, alphaByte);
    uint64 changed = 0;
    int next = 0;  // the row that enters the window next
    for (int y = 0; y < height; ++y) {
        for (; next < height && next - half < y; ++next) window.AddRow(next);
        // Rows that leave are read again: of the pixels that count, nothing has been written.
        if (y > half) window.TakeRow(y - half - 1);
        changed += window.BlurRow(y, static_cast<std::size_t>(half));
    }
    return changed;
}

bool HasTransparentBorder(Details::PlaneTemplate<1> const& plane, int alphaByte) {
    bool transparent = false;
    bool opaque = false;
    for (int y = 0; y < plane.GetRows(); ++y) {
        u8 const* const row = plane.GetOffsetPtr(0, static_cast<unsigned>(y));
        for (int x = alphaByte; x < plane.GetRowBytes(); x += PIXEL_BYTES) (row[x] == 0 ? transparent : opaque) = true;
        if (transparent && opaque) return true;
    }
    return false;
}

}  // namespace Tarsel::Proc
