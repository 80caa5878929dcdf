// Records of runs in short forms, for tests that compare them.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Proc/GraphCRCData.h"

namespace Tarsel::Test {

/// A digest and its time.
using RecordedItem = std::pair<std::string, int64>;
using RecordedItems = std::vector<RecordedItem>;

/// An item for each letter, the letter being its digest, from a time on at a regular distance.
inline RecordedItems Scene(std::string const& letters, int64 start = 0, int64 step = 10) {
    RecordedItems items;
    for (char const letter : letters)
        items.emplace_back(std::string(1, letter), start + step * static_cast<int64>(items.size()));
    return items;
}

inline RecordedItems operator+(RecordedItems first, RecordedItems const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline RecordedItems Without(RecordedItems items, std::size_t place) {
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(place));
    return items;
}

inline RecordedItems With(RecordedItems items, std::size_t place, RecordedItem const& item) {
    items.insert(items.begin() + static_cast<std::ptrdiff_t>(place), item);
    return items;
}

inline Proc::GraphCRCData MakeRecord(std::map<int64, RecordedItems> const& nodes) {
    Proc::GraphCRCData record;
    for (auto const& [id, items] : nodes)
        for (auto const& [digest, time] : items) record.AddPacketCRCInfo(id, time, digest);
    return record;
}

}  // namespace Tarsel::Test
