#include "contracts/Proc/TimeToProgress.h"

#include <algorithm>

namespace Tarsel::Proc {

namespace {

constexpr char BEGIN_KEY[] = "Begin";
constexpr char END_KEY[] = "End";

}  // namespace

double TimeToProgress::GetProgress(int64 time) const {
    return HasValue(time) ? GetProgressBetween(static_cast<double>(time)) : 1.0;
}

double TimeToProgress::GetProgressBetween(double time) const {
    if (!HasValue(begin) || !HasValue(end) || end <= begin) return 1.0;
    double const share = (time - static_cast<double>(begin)) / (static_cast<double>(end) - static_cast<double>(begin));
    double const held = std::clamp(share, 0.0, 1.0);
    return progress ? progress(held) : held;
}

void SetTimeMap(Core::Property& property, TimeToProgress const& map) {
    if (!HasValue(map.begin) || !HasValue(map.end) || map.end <= map.begin) return;
    property.SetChild(BEGIN_KEY, map.begin).SetChild(END_KEY, map.end);
}

TimeToProgress GetTimeMap(Core::Property const& property, TimeToProgress const& defaults) {
    TimeToProgress map = defaults;
    if (property.ChildExists(BEGIN_KEY)) map.begin = property[BEGIN_KEY].GetInt64();
    if (property.ChildExists(END_KEY)) map.end = property[END_KEY].GetInt64();
    return map;
}

}  // namespace Tarsel::Proc
