#include "host/cut/CutRanges.h"

#include <algorithm>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

std::string Text(int64 time) {
    return time == Interval::TO_END ? "end" : ShortTime(time);
}

std::string Text(Interval const& interval) {
    return Text(interval.begin) + " - " + Text(interval.end);
}

/// The first of `times` at or after `time`; the end of the file behind the last one.
int64 NextOf(std::vector<int64> const& times, int64 time) {
    auto const next = std::lower_bound(times.begin(), times.end(), time);
    return next == times.end() ? Interval::TO_END : *next;
}

/// Sorts and joins what overlaps or touches.
Intervals Merge(Intervals intervals) {
    std::sort(intervals.begin(), intervals.end(),
              [](Interval const& a, Interval const& b) { return a.begin < b.begin; });
    Intervals merged;
    for (Interval const& interval : intervals) {
        if (!merged.empty() && interval.begin <= merged.back().end)
            merged.back().end = std::max(merged.back().end, interval.end);
        else
            merged.push_back(interval);
    }
    return merged;
}

Intervals Complement(Intervals const& kept) {
    Intervals removed;
    int64 position = 0;
    for (Interval const& interval : kept) {
        if (interval.begin > position) removed.push_back({position, interval.begin});
        position = interval.end;
    }
    if (position != Interval::TO_END) removed.push_back({position, Interval::TO_END});
    return removed;
}

/// One range as asked, its ends inside the file.
Interval Clip(TimeRange const& range, int64 duration, std::vector<std::string>& warnings) {
    int64 const begin = range.begin.value_or(0);
    if (begin >= duration && begin > 0)
        TARSEL_THROW(Proc::ProcException,
                     "range " + range.text + " lies beyond the end of the file (" + ShortTime(duration) + ")");
    if (range.end && *range.end > duration)
        warnings.push_back("range " + range.text + " reaches beyond the end of the file (" + ShortTime(duration) +
                           "): cut to the end");
    int64 const end = !range.end || *range.end >= duration ? Interval::TO_END : *range.end;
    return {begin, end};
}

}  // namespace

Intervals ResolveRanges(CutRequest const& request, int64 duration, std::vector<int64> const& pictureTimes,
                        std::vector<std::string>& warnings) {
    Intervals ranges;
    for (TimeRange const& range : request.ranges) {
        Interval const asked = Clip(range, duration, warnings);
        Interval fallen = asked;
        if (!pictureTimes.empty()) {
            // The start of the file stays the start: what stands in front of the first picture goes with it.
            if (asked.begin != 0) fallen.begin = NextOf(pictureTimes, asked.begin);
            if (asked.end != Interval::TO_END) fallen.end = NextOf(pictureTimes, asked.end);
        }
        if (fallen.begin >= fallen.end) {
            warnings.push_back("range " + range.text + " holds no picture: dropped");
            continue;
        }
        if (!(fallen == asked)) warnings.push_back("range " + range.text + " moved to pictures: " + Text(fallen));
        ranges.push_back(fallen);
    }
    ranges = Merge(std::move(ranges));
    Intervals removed = request.keep ? Complement(ranges) : ranges;
    if (removed.size() == 1 && removed.front() == Interval{0, Interval::TO_END})
        TARSEL_THROW(Proc::ProcException, request.input + ": nothing would be left after the cut");
    return removed;
}

Intervals SnapInward(Intervals const& removed, std::vector<int64> const& keyTimes, std::vector<std::string>& warnings) {
    Intervals snapped;
    for (Interval const& interval : removed) {
        Interval fallen = interval;
        if (interval.begin != 0) fallen.begin = NextOf(keyTimes, interval.begin);
        if (interval.end != Interval::TO_END) {
            auto const behind = std::upper_bound(keyTimes.begin(), keyTimes.end(), interval.end);
            fallen.end = behind == keyTimes.begin() ? 0 : *(behind - 1);
        }
        if (fallen.begin >= fallen.end) {
            warnings.push_back("removed range " + Text(interval) +
                               " holds no whole group of pictures: nothing is removed there");
            continue;
        }
        if (!(fallen == interval))
            warnings.push_back("removed range " + Text(interval) + " moved inward to key pictures: " + Text(fallen));
        snapped.push_back(fallen);
    }
    return snapped;
}

}  // namespace Tarsel::Host
