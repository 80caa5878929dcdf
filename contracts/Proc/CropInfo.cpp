#include "contracts/Proc/CropInfo.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace Tarsel::Proc {

namespace {

int64 Distance(u32 one, u32 other) {
    return std::abs(int64{one} - int64{other});
}

u32 EvenAbove(u32 value) {
    return value == std::numeric_limits<u32>::max() ? value : (value + 1) & ~u32{1};
}

}  // namespace

unsigned CropInfo::Diff(CropInfo const& other) const {
    return static_cast<unsigned>(std::max({Distance(left, other.left), Distance(right, other.right),
                                           Distance(top, other.top), Distance(bottom, other.bottom)}));
}

void CropInfo::ToEven() {
    left &= ~u32{1};
    top &= ~u32{1};
    right = EvenAbove(right);
    bottom = EvenAbove(bottom);
}

std::ostream& operator<<(std::ostream& stream, CropInfo const& crop) {
    return stream << "left: " << crop.left << ", right: " << crop.right << ", top: " << crop.top
                  << ", bottom: " << crop.bottom;
}

}  // namespace Tarsel::Proc
