#pragma once

#include <chrono>

#include "contracts/Core/Types.h"

namespace Tarsel::Core {

/// Microseconds since construction or the last `Reset`, by a clock that never goes back. One user at a time.
class TimerSimple {
  public:
    void Reset() { start = Clock::now(); }
    int64 GetElapsed() const {
        return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    }

  private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point start = Clock::now();
};

}  // namespace Tarsel::Core
