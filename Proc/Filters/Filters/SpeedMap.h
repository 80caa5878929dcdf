#pragma once

#include "contracts/Core/Time.h"

namespace Tarsel::Proc::Details {

/// Maps times between a source and the same stream played `factor` times as fast, in double arithmetic. Results that
/// don't fit saturate short of the no-value time; no value stays none.
class SpeedMap {
  public:
    explicit SpeedMap(double factor) : factor(factor) {}

    /// Halves go up: the sum with a half is cut to an integer. Below 0 the cut goes towards 0, so that such times may
    /// come out a microsecond late; meant so.
    int64 ToResult(int64 sourceTime) const;
    int64 ToSource(int64 resultTime) const;
    /// A rate of items in the source as that of the result: the numerator times the factor in thousandths, to the
    /// nearest, over a thousand times the denominator. Terms that don't fit lose their lowest bits.
    Ratio ToResult(Ratio const& rate) const;

  private:
    double factor;
};

/// Throws `FilterException` "Wrong settings!" for a factor that isn't finite and above 0.
void RequireSpeed(double factor);

}  // namespace Tarsel::Proc::Details
