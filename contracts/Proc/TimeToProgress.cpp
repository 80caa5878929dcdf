#include "contracts/Proc/TimeToProgress.h"

#include <algorithm>

namespace Tarsel::Proc {

double TimeToProgress::GetProgress(int64 time) const {
    if (!HasValue(begin) || !HasValue(end) || end <= begin || !HasValue(time)) return 1.0;
    double const share = (static_cast<double>(time) - static_cast<double>(begin)) /
                         (static_cast<double>(end) - static_cast<double>(begin));
    double const held = std::clamp(share, 0.0, 1.0);
    return progress ? progress(held) : held;
}

}  // namespace Tarsel::Proc
