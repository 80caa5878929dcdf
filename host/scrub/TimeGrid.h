#pragma once

#include <cstddef>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Host {

/// Where the pictures (or, without pictures, the packets of sound) of a stream begin, microseconds: what single steps
/// go by. Constant.
class TARSEL_HOST_EXPORT TimeGrid {
  public:
    TimeGrid() = default;
    /// `times` ascend; what lies below `first` isn't shown, and equal ones count once. `end`: where the last one ends.
    TimeGrid(std::vector<int64> const& times, int64 first, int64 end);

    std::size_t GetCount() const { return times.size(); }
    int64 GetTime(std::size_t number) const { return times[number]; }
    /// Where the next one begins, or the last one ends.
    int64 GetEnd(std::size_t number) const;
    /// The last one that begins at or before `time`; 0 when there is none.
    std::size_t FindAt(int64 time) const;
    /// Begin of the first one at or behind `time`; no value when there is none.
    int64 FindNext(int64 time) const;

  private:
    std::vector<int64> times;
    int64 end = 0;
};

}  // namespace Tarsel::Host
