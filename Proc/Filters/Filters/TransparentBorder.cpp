#include "Proc/Filters/Filters/TransparentBorder.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

namespace Tarsel::Proc {

namespace {

constexpr int PIXEL_BYTES = 4;

// How wide sums are.

struct Narrow {
    using Sum = u32;
    using Parts = u32 __attribute__((vector_size(16)));
};
struct Wide {
    using Sum = uint64;
    using Parts = uint64 __attribute__((vector_size(32)));
};

/// Walks down a picture with a window of rows. A sum of `Width` holds that of a colour over the largest window; what is
/// summed along a row may wrap around, since only differences of it count.
template <class Width>
class Window {
  public:
    using Sum = typename Width::Sum;

    Window(Details::PlaneTemplate<0> const& plane, int alphaByte)
        : plane(plane),
          alphaByte(static_cast<std::size_t>(alphaByte)),
          firstColour(alphaByte == 0 ? 1 : 0),
          width(static_cast<std::size_t>(plane.GetRowBytes() / PIXEL_BYTES)),
          columns(width),
          along(width + 1),
          left(width) {
        colours.parts = ~colours.parts;
        colours.parts[alphaByte] = 0;
        one.parts[alphaByte] = 1;
    }

    void AddRow(int y) {
        if (ForOpaque(y, [](Sums& sums, Sums const& pixel) { sums.parts += pixel.parts; })) ++filledRows;
    }
    void TakeRow(int y) {
        if (!ForOpaque(y, [](Sums& sums, Sums const& pixel) { sums.parts -= pixel.parts; })) return;
        if (--filledRows > 0) return;
        left = width;
        right = 0;
    }
    /// Writes the transparent pixels of a row from the window that has been set up for it.
    uint64 BlurRow(int y, std::size_t half) {
        if (filledRows == 0) return 0;
        u8* const row = GetRow(y);
        bool summed = false;
        uint64 changed = 0;
        std::size_t const end = half < width - right ? right + half : width;
        for (std::size_t x = left > half ? left - half : 0; x < end; ++x) {
            u8* const pixel = row + x * PIXEL_BYTES;
            if (pixel[alphaByte] != 0) continue;
            if (!summed) SumAlong();
            summed = true;
            Sums sums = along[std::clamp(half < width - x ? x + half : width, left, right)];
            sums.parts -= along[std::clamp(x > half ? x - half : 0, left, right)].parts;
            Sum const count = sums.parts[alphaByte];
            if (count == 0) continue;
            // Exact: a sum lies half of a 1/count from the next whole quotient at least, and rounding moves it by less
            // than 255 / 2^52.
            double const share = 1.0 / static_cast<double>(count);
            for (std::size_t c = firstColour; c < firstColour + 3; ++c)
                pixel[c] = static_cast<u8>(static_cast<int>((static_cast<double>(sums.parts[c]) + 0.5) * share));
            ++changed;
        }
        return changed;
    }

  private:
    /// In the order of a pixel's bytes: the three colours of opaque pixels, and where alpha stands their number.
    struct Sums {
        typename Width::Parts parts{};
    };

    u8* GetRow(int y) const { return plane.GetOffsetPtr(0, static_cast<unsigned>(y)); }
    /// Says whether the row has opaque pixels.
    template <class Change>
    bool ForOpaque(int y, Change&& change) {
        using Bytes = u8 __attribute__((vector_size(PIXEL_BYTES)));
        u8 const* pixel = GetRow(y);
        std::size_t first = width;
        std::size_t end = 0;
        for (std::size_t x = 0; x < width; ++x, pixel += PIXEL_BYTES) {
            if (pixel[alphaByte] == 0) continue;
            Bytes bytes;
            std::memcpy(&bytes, pixel, sizeof bytes);
            Sums const parts{(__builtin_convertvector(bytes, typename Width::Parts) & colours.parts) | one.parts};
            change(columns[x], parts);
            first = std::min(first, x);
            end = x + 1;
        }
        left = std::min(left, first);
        right = std::max(right, end);
        return end > 0;
    }
    void SumAlong() {
        Sums sums;
        along[left] = sums;
        for (std::size_t x = left; x < right; ++x) {
            sums.parts += columns[x].parts;
            along[x + 1] = sums;
        }
    }

    Details::PlaneTemplate<0> const plane;
    std::size_t const alphaByte;
    std::size_t const firstColour;
    std::size_t const width;
    Sums colours;               // masks them
    Sums one;                   // at the place of alpha
    std::vector<Sums> columns;  // over the window's rows
    std::vector<Sums> along;    // of the columns left of each

    // Where opaque pixels are: rows of the window that have some, and [left, right) holds all of them.
    int filledRows = 0;
    std::size_t left;
    std::size_t right = 0;
};

template <class Width>
uint64 Blur(Details::PlaneTemplate<0> const& plane, int alphaByte, int half) {
    int const height = plane.GetRows();
    Window<Width> window(plane, alphaByte);
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

}  // namespace

uint64 BlurTransparentBorder(Details::PlaneTemplate<0> const& plane, int alphaByte, int matrixSize) {
    int const half = matrixSize / 2;
    // The window of a size up to 1 is empty.
    if (half <= 0) return 0;
    auto const side = [half](int limit) {
        return std::min<uint64>(static_cast<uint64>(half) * 2, static_cast<uint64>(limit));
    };
    uint64 const largest = side(plane.GetRows()) * side(plane.GetRowBytes() / PIXEL_BYTES) * 255;
    // Half the bytes are worth a path of their own; few pictures and fewer windows need the other one.
    return largest <= std::numeric_limits<u32>::max() ? Blur<Narrow>(plane, alphaByte, half)
                                                      : Blur<Wide>(plane, alphaByte, half);
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
