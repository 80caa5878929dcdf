#include "contracts/Proc/SettingsFilterCutController.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr int64 TIME_LINE_END = std::numeric_limits<int64>::max();

constexpr char INTERVAL[] = "Interval";
constexpr char START[] = "Start";
constexpr char END[] = "End";

using Interval = SettingsFilterCutController::Interval;

/// Puts the kept pieces between sorted ranges that don't touch.
std::vector<Interval> Partition(std::vector<Interval> const& removed) {
    std::vector<Interval> result;
    int64 reached = 0;
    for (Interval const& range : removed) {
        if (range.start > reached) result.push_back({reached, range.start, false});
        result.push_back(range);
        reached = range.end;
    }
    if (reached < TIME_LINE_END) result.push_back({reached, TIME_LINE_END, false});
    return result;
}

}  // namespace

std::string const SettingsFilterCutController::CLASS_ID = "SettingsFilterCutController";

SettingsFilterCutController::SettingsFilterCutController() : intervals(Partition({})) {}

SettingsFilterCutController::SettingsFilterCutController(int64 start, int64 end, int64 time, bool flag)
    : SettingsFilterCutController() {
    AddInterval(start, end, time, flag);
}

void SettingsFilterCutController::AddInterval(int64 start, int64 end, int64 /*time*/, bool /*flag*/) {
    if (!HasValue(start)) start = 0;
    if (!HasValue(end)) end = TIME_LINE_END;
    if (start > end) std::swap(start, end);
    start = std::max<int64>(start, 0);
    if (start >= end) return;

    std::vector<Interval> removed;
    Interval added{start, end, true};
    bool entered = false;
    for (Interval const& interval : intervals) {
        if (!interval.isDeleted) continue;
        if (interval.end < added.start) {
            removed.push_back(interval);
        } else if (interval.start > added.end) {
            if (!std::exchange(entered, true)) removed.push_back(added);
            removed.push_back(interval);
        } else {
            // They overlap or touch: one range.
            added.start = std::min(added.start, interval.start);
            added.end = std::max(added.end, interval.end);
        }
    }
    if (!entered) removed.push_back(added);
    intervals = Partition(removed);
}

Interval const& SettingsFilterCutController::GetOptInterval(uint32 index) const {
    if (index >= intervals.size())
        TARSEL_THROW(ProcException, "There is no interval " + std::to_string(index) + ", there are " +
                                        std::to_string(intervals.size()));
    return intervals[index];
}

int SettingsFilterCutController::GetIntervalIndex(int64 point) const {
    if (!HasValue(point)) return -1;
    point = std::max<int64>(point, 0);
    auto const found = std::partition_point(intervals.begin(), intervals.end(),
                                            [&](Interval const& interval) { return interval.end <= point; });
    // The largest int64 belongs to the last interval.
    auto const index = std::min<std::ptrdiff_t>(found - intervals.begin(), std::ssize(intervals) - 1);
    return static_cast<int>(index);
}

int64 SettingsFilterCutController::GetIntervalEndTime(int64 point) const {
    int const index = GetIntervalIndex(point);
    return index < 0 ? NO_VALUE : intervals[static_cast<std::size_t>(index)].end;
}

bool SettingsFilterCutController::IsPointDeleted(int64 point) const {
    int const index = GetIntervalIndex(point);
    return index >= 0 && intervals[static_cast<std::size_t>(index)].isDeleted;
}

int64 SettingsFilterCutController::Result2Source(int64 time) const {
    if (!HasValue(time)) return NO_VALUE;
    if (time < 0) return intervals.front().isDeleted ? intervals.front().end : time;
    int64 removed = 0;  // ahead of the interval looked at
    for (Interval const& interval : intervals) {
        if (interval.isDeleted) {
            if (interval.end == TIME_LINE_END) break;
            removed += interval.end - interval.start;
        } else if (time < interval.end - removed) {
            return AddTime(time, removed);
        }
    }
    return TIME_LINE_END;
}

int64 SettingsFilterCutController::Source2Result(int64 time) const {
    if (!HasValue(time)) return NO_VALUE;
    if (time < 0) return intervals.front().isDeleted ? 0 : time;
    int64 removed = 0;
    for (Interval const& interval : intervals) {
        if (interval.start > time) break;
        if (interval.isDeleted) removed += std::min(time, interval.end) - interval.start;
    }
    return time - removed;
}

Core::Property Settings2Property(SettingsFilterCutController const& settings) {
    Core::Property property(SettingsFilterCutController::CLASS_ID);
    for (uint32 i = 0; i < settings.GetOptIntervalsCount(); ++i) {
        auto const& interval = settings.GetOptInterval(i);
        if (!interval.isDeleted) continue;
        Core::Property range(INTERVAL);
        range.SetChild(START, interval.start).SetChild(END, interval.end);
        property.Add(std::move(range));
    }
    return property;
}

SettingsFilterCutController Property2SettingsCutController(Core::Property const& property) {
    SettingsFilterCutController settings;
    for (Core::Property const& child : property.Children()) {
        if (child.Name() != INTERVAL)
            TARSEL_THROW(Core::CoreException, "A cut list has no child \"" + child.Name() + "\"");
        settings.AddInterval(child[START].GetInt64(), child[END].GetInt64(), NO_VALUE, false);
    }
    return settings;
}

}  // namespace Tarsel::Proc
