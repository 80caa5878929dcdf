#include "host/scrub/TimeGrid.h"

#include <algorithm>

namespace Tarsel::Host {

TimeGrid::TimeGrid(std::vector<int64> const& all, int64 first, int64 end) : end(end) {
    std::unique_copy(std::lower_bound(all.begin(), all.end(), first), all.end(), std::back_inserter(times));
    if (!times.empty()) this->end = std::max(end, AddTime(times.back(), 1));
}

int64 TimeGrid::GetEnd(std::size_t number) const {
    return number + 1 < times.size() ? times[number + 1] : end;
}

std::size_t TimeGrid::FindAt(int64 time) const {
    auto const behind = std::upper_bound(times.begin(), times.end(), time);
    return behind == times.begin() ? 0 : static_cast<std::size_t>(behind - times.begin()) - 1;
}

int64 TimeGrid::FindNext(int64 time) const {
    auto const found = std::lower_bound(times.begin(), times.end(), time);
    return found == times.end() ? NO_VALUE : *found;
}

}  // namespace Tarsel::Host
