#include "host/media/StreamIndex.h"

#include <algorithm>
#include <limits>

namespace Tarsel::Host {

int64 StreamIndex::GetNextTime(int64 time) const {
    if (!HasValue(time)) return GetStartTime();
    auto const found = std::lower_bound(times.begin(), times.end(), time);
    return found == times.end() ? NO_VALUE : *found;
}

std::size_t StreamIndex::FindKeyAt(int64 time) const {
    if (!HasValue(time)) return NONE;
    auto const after = std::upper_bound(keyTimes.begin(), keyTimes.end(), time);
    if (after == keyTimes.begin()) return NONE;
    return keys[static_cast<std::size_t>(after - keyTimes.begin()) - 1];
}

std::size_t StreamIndex::FindPacketAt(int64 time) const {
    if (!HasValue(time)) return records.empty() ? NONE : 0;
    auto const ends = [](IndexRecord const& record) { return AddTime(record.time, record.duration); };
    // Almost always in ascending order; a packet of no length still contains its own time.
    for (std::size_t i = 0; i < records.size(); ++i)
        if (ends(records[i]) > time || (records[i].duration == 0 && records[i].time >= time)) return i;
    return NONE;
}

std::size_t StreamIndex::FindEventAt(int64 time) const {
    if (!HasValue(time)) return records.empty() ? NONE : 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        IndexRecord const& record = records[i];
        bool const untilNext = record.duration == 0 && i + 1 != records.size() && records[i + 1].time > record.time;
        bool const open = record.duration == 0 || record.duration == std::numeric_limits<u32>::max();
        int64 const end = untilNext ? records[i + 1].time : AddTime(record.time, record.duration);
        if ((open && !untilNext) || end > time) return i;
    }
    return NONE;
}

std::size_t StreamIndex::FindEntryAt(int64 time) const {
    std::size_t found = NONE;
    for (std::size_t i = 0; HasValue(time) && i < records.size(); ++i)
        if (records[i].time <= time && (records[i].flags & IndexRecord::CONTINUED) == 0) found = i;
    return found;
}

int64 StreamIndex::GetMeanGroupLength() const {
    if (keyTimes.empty()) return NO_VALUE;
    return SubTime(endTime, times.front()) / static_cast<int64>(keyTimes.size());
}

void StreamIndex::Finish() {
    times.resize(records.size());
    keys.clear();
    totalSize = 0;
    leadingCount = 0;
    everyKeyIdr = true;
    endTime = NO_VALUE;
    for (std::size_t i = 0; i < records.size(); ++i) {
        IndexRecord const& record = records[i];
        times[i] = record.time;
        totalSize += record.size;
        if (record.IsKey()) keys.push_back(static_cast<u32>(i));
        if (record.IsKey() && record.randomAccess != RandomAccess::Idr) everyKeyIdr = false;
        if (record.IsLeading()) ++leadingCount;
        endTime = std::max(endTime, AddTime(record.time, record.duration));
    }
    std::sort(times.begin(), times.end());
    std::stable_sort(keys.begin(), keys.end(), [this](u32 a, u32 b) { return records[a].time < records[b].time; });
    keyTimes.resize(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) keyTimes[i] = records[keys[i]].time;
}

}  // namespace Tarsel::Host
