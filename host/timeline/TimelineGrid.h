#pragma once

#include "contracts/Core/Time.h"

namespace Tarsel::Host {

/// The places of a regular rate on a timeline: frames or samples. A place begins at the microsecond nearest to its
/// exact time, where `FilterFrameRate` lays its slots, too.
class TimelineGrid {
  public:
    /// Above 0.
    explicit TimelineGrid(Ratio const& rate) : rate(rate) {}

    Ratio const& GetRate() const { return rate; }
    int64 TimeOf(int64 place) const { return AvRescale(place, rate.denominator() * SECOND, rate.numerator()); }
    /// The place whose begin is nearest; halves go up.
    int64 PlaceAt(int64 time) const { return AvRescale(time, rate.numerator(), rate.denominator() * SECOND); }

  private:
    Ratio rate;
};

}  // namespace Tarsel::Host
