#pragma once

#include <ostream>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// A rectangle of a picture in pixels, from its upper left corner. `right` and `bottom` lie one past it, they are no
/// margins: the whole of a picture of w x h is {0, w, 0, h}.
class TARSEL_CONTRACTS_EXPORT CropInfo {
  public:
    constexpr CropInfo() = default;
    constexpr CropInfo(u32 left, u32 right, u32 top, u32 bottom) : left(left), right(right), top(top), bottom(bottom) {}

    /// Sizes below 0 count as 0.
    static constexpr CropInfo WholeOf(int width, int height) {
        return {0, width > 0 ? static_cast<u32>(width) : 0, 0, height > 0 ? static_cast<u32>(height) : 0};
    }

    /// 0 for edges in the wrong order.
    constexpr u32 GetWidth() const { return right > left ? right - left : 0; }
    constexpr u32 GetHeight() const { return bottom > top ? bottom - top : 0; }
    constexpr bool IsEmpty() const { return GetWidth() == 0 || GetHeight() == 0; }

    /// How far two rectangles are from each other: the largest distance between edges of the same side.
    unsigned Diff(CropInfo const& other) const;
    /// Moves each edge outwards to the next even coordinate, so that the rectangle still covers what it covered. The
    /// largest coordinate that there is stays.
    void ToEven();

    bool operator==(CropInfo const&) const = default;

    u32 left = 0;
    u32 right = 0;
    u32 top = 0;
    u32 bottom = 0;
};

/// "left: L, right: R, top: T, bottom: B".
TARSEL_CONTRACTS_EXPORT std::ostream& operator<<(std::ostream& stream, CropInfo const& crop);

}  // namespace Tarsel::Proc
