#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Proc {

/// A time for logging: "1:02:03.000004", with a minus sign below 0; "N/A" for no value.
TARSEL_CONTRACTS_EXPORT std::string T2S(int64 time);

/// Samples per channel in `duration` microseconds at `sampleRate` hertz, rounded to the nearest; 0 for no value.
TARSEL_CONTRACTS_EXPORT int64 Duration2SampleCount(int64 duration, int sampleRate);

/// Microseconds that `count` samples per channel last at `sampleRate` hertz, rounded to the nearest.
TARSEL_CONTRACTS_EXPORT int64 SampleCount2Duration(int64 count, int sampleRate);

/// A running audio time that doesn't drift: samples are counted, and only the sum is converted to microseconds.
class TARSEL_CONTRACTS_EXPORT AudioTime {
  public:
    /// Starts counting at `time` microseconds; with no value the time is unknown again.
    void Reset(int64 time);
    /// Goes on by `count` samples at `sampleRate` hertz. A change of the rate starts a new count at the present time.
    void AddSamples(int sampleRate, uint64 count);
    /// Microseconds, or no value before `Reset`.
    int64 GetTime() const;
    /// Whether `Reset` has given a time.
    bool isInit() const { return HasValue(base); }

  private:
    int64 base = NO_VALUE;
    int64 samples = 0;
    int rate = 0;
};

}  // namespace Tarsel::Proc
