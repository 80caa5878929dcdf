#pragma once

#include <cstddef>
#include <type_traits>

#include "contracts/Core/Types.h"

namespace Tarsel::Proc::Details {

/// One plane of a picture in processor memory: 0 writable, 1 read-only. A view: it is valid while the frame lives.
template <int ReadOnly>
class PlaneTemplate {
  public:
    using Byte = std::conditional_t<ReadOnly != 0, u8 const, u8>;

    PlaneTemplate() = default;
    /// `rowBytes` visible bytes in each of `rows` rows, `stride` bytes apart (below 0 in a bottom-up plane),
    /// `pixelBytes` bytes from one pixel to the next (0 where a pixel is no whole number of bytes).
    PlaneTemplate(Byte* data, std::ptrdiff_t stride, int rowBytes, int rows, int pixelBytes)
        : data(data), stride(stride), rowBytes(rowBytes), rows(rows), pixelBytes(pixelBytes) {}

    Byte* GetData() const { return data; }
    std::ptrdiff_t GetStride() const { return stride; }
    int GetRowBytes() const { return rowBytes; }
    int GetRows() const { return rows; }
    int GetPixelBytes() const { return pixelBytes; }

    /// First byte of the pixel `x`, `y` of this plane.
    Byte* GetOffsetPtr(unsigned x, unsigned y) const {
        return data + static_cast<std::ptrdiff_t>(y) * stride + static_cast<std::ptrdiff_t>(x) * pixelBytes;
    }

    /// Turns a bottom-up plane into a top-down view of the same memory, upside down.
    void MakePositive() {
        if (stride >= 0) return;
        data += stride * (rows - 1);
        stride = -stride;
    }

  private:
    Byte* data = nullptr;
    std::ptrdiff_t stride = 0;
    int rowBytes = 0;
    int rows = 0;
    int pixelBytes = 0;
};

}  // namespace Tarsel::Proc::Details
