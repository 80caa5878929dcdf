#pragma once

#include "contracts/Core/Time.h"

namespace Tarsel::Proc::Details {

/// The slots of a regular frame rate over the time line. Exact for every rate above 0, whatever the size of its terms;
/// results that don't fit saturate.
class FrameGrid {
  public:
    explicit FrameGrid(Ratio const& rate) : rate(rate) {}

    /// Where a slot begins, to the nearest microsecond; the slot ends where the next one begins.
    int64 BeginOf(uint64 slot) const;
    /// The slot that `time` falls into, rounded down; 0 for times below 0 and for none.
    uint64 SlotAt(int64 time) const;

  private:
    Ratio rate;
};

}  // namespace Tarsel::Proc::Details
