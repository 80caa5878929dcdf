#pragma once

#include <functional>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Proc {

/// The time map of an effect: over `[begin, end]`, microseconds, its progress runs from 0 to 1 along a curve.
struct TARSEL_CONTRACTS_EXPORT TimeToProgress {
    using Curve = std::function<double(double)>;

    TimeToProgress() = default;
    explicit TimeToProgress(Curve progress) : progress(std::move(progress)) {}

    /// The curve that changes nothing.
    static double Linear(double share) { return share; }

    /// Length of the interval; no value when one of its ends has none.
    int64 GetDuration() const { return SubTime(end, begin); }
    /// The progress at `time`: the curve's value for the share of the interval that has passed, which is held to
    /// [0, 1]. 1 when the interval has no length or its length isn't known.
    double GetProgress(int64 time) const;
    /// The same between two microseconds, where samples are.
    double GetProgressBetween(double time) const;

    // The order of the members is part of the contract: editors write the two ends directly.
    int64 begin = 0;
    int64 end = 0;
    Curve progress = Linear;
};

/// Enters the interval into the property of an effect, as its children "Begin" and "End" in microseconds. An interval
/// of no length, or without an end, is left out.
TARSEL_CONTRACTS_EXPORT void SetTimeMap(Core::Property& property, TimeToProgress const& map);
/// The way back: `defaults` with the ends that the property has.
TARSEL_CONTRACTS_EXPORT TimeToProgress GetTimeMap(Core::Property const& property, TimeToProgress const& defaults);

}  // namespace Tarsel::Proc
