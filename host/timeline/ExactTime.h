#pragma once

#include <optional>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// A time as a fraction of seconds, so that the sum of any number of lengths is exact, whatever their rates: only what
/// comes out of a sum is rounded to microseconds. Rates whose common measure
/// is finer than 2^-62 of a second, which no real ones have, are counted in picoseconds instead.
class TARSEL_HOST_EXPORT ExactTime {
  public:
    ExactTime() = default;
    static ExactTime OfMicroseconds(int64 time);
    /// `count` units of which `rate` make a second. No value when `rate` isn't above 0, when one of them is no number,
    /// and for times beyond 2^32 seconds.
    static std::optional<ExactTime> OfUnits(double count, double rate);
    static ExactTime OfFrames(int64 count, Ratio const& rate);

    /// To the nearest microsecond, halves away from 0.
    int64 Round() const;
    int Sign() const { return numerator < 0 ? -1 : numerator > 0 ? 1 : 0; }
    ExactTime operator+(ExactTime const& other) const;
    ExactTime operator-(ExactTime const& other) const;
    ExactTime operator*(Ratio const& factor) const;

    friend bool operator<(ExactTime const& a, ExactTime const& b) { return (a - b).Sign() < 0; }
    friend bool operator==(ExactTime const& a, ExactTime const& b) { return (a - b).Sign() == 0; }

  private:
    __extension__ using Wide = __int128;

    static ExactTime Reduced(Wide numerator, Wide denominator);

    Wide numerator = 0;
    Wide denominator = 1;
};

/// The simplest fraction that a number stands for: 29.5 is 59/2. Denominators end at a million. `number` must be below
/// 2^53 in size.
TARSEL_HOST_EXPORT Ratio NearestRatio(double number);
/// A rate as it is meant: 29.97, 23.98 and such are the multiples of 1000/1001 that they shorten.
TARSEL_HOST_EXPORT Ratio NearestRate(double rate);

}  // namespace Tarsel::Host
