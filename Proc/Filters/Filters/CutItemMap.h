#pragma once

#include <utility>
#include <vector>

#include "contracts/Core/Time.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsFilterCutController.h"

namespace Tarsel::Proc {

/// What a cut list makes of one decoded item: the pieces to take out of it and its time in the result.
class CutItemMap {
  public:
    /// For an item of `[time, time + duration)` in source time. An item without a duration, or of none, is a point.
    CutItemMap(SettingsFilterCutController const& settings, int64 time, int64 duration);

    /// Whether nothing of the item is left.
    bool IsRemoved() const { return removed; }
    /// Whether the item has a time at all; one without passes as it is.
    bool HasTime() const { return HasValue(resultTime); }
    /// Cuts the item and moves it to its place in the result.
    void Apply(IData& item) const;

  private:
    bool removed = false;
    int64 resultTime = NO_VALUE;
    int64 cutBegin = 0;
    int64 cutEnd = 0;
    std::vector<std::pair<int64, int64>> middle;  // on the item's own scale, the last one first
};

}  // namespace Tarsel::Proc
