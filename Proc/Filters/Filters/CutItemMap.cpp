#include "Proc/Filters/Filters/CutItemMap.h"

#include <algorithm>

namespace Tarsel::Proc {

CutItemMap::CutItemMap(SettingsFilterCutController const& settings, int64 time, int64 duration) {
    if (!HasValue(time)) return;
    if (!HasValue(duration) || duration <= 0) {
        removed = settings.IsPointDeleted(time);
        resultTime = settings.Source2Result(time);
        return;
    }
    int64 const start = time;
    int64 const end = AddTime(start, duration);
    resultTime = settings.Source2Result(start);
    int64 const resultEnd = settings.Source2Result(end);
    removed = resultTime == resultEnd;
    if (removed || resultEnd - resultTime == end - start) return;

    int const first = settings.GetIntervalIndex(start);
    int const last = settings.GetIntervalIndex(end);
    if (last - first == 1) {
        int64 const boundary = SubTime(settings.GetIntervalEndTime(start), start);
        if (settings.IsPointDeleted(start))
            cutBegin = boundary;
        else
            cutEnd = duration - boundary;
        return;
    }
    for (int i = last; i >= first; --i) {
        auto const& interval = settings.GetOptInterval(static_cast<uint32>(i));
        if (!interval.isDeleted) continue;
        // The first interval reaches below 0, where items may begin.
        int64 const from = i == 0 ? start : std::clamp(interval.start, start, end);
        middle.emplace_back(from - start, std::clamp(interval.end, start, end) - start);
    }
}

void CutItemMap::Apply(IData& item) const {
    if (cutBegin > 0) item.CutBegin(cutBegin);
    if (cutEnd > 0) item.CutEnd(cutEnd);
    for (auto const& [begin, end] : middle) item.Cut(begin, end);
    item.SetTime(resultTime);
}

}  // namespace Tarsel::Proc
