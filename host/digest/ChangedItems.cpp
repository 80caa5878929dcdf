#include "host/digest/ChangedItems.h"

#include <algorithm>

#include "contracts/Core/Time.h"

namespace Tarsel::Host {

namespace {

using Items = std::vector<Proc::PacketCRCInfo>;

/// Items of one side that can be found by their time.
struct TimedPlaces {
    TimedPlaces(Items const& items, u32 begin, u32 end, bool withoutTime) {
        for (u32 i = begin; i < end; ++i)
            if (withoutTime || HasValue(items[i].GetTimeStamp())) places.push_back(i);
    }
    /// Numbers in place of times: their places in `times`, which ascends.
    std::vector<u32> NamesIn(std::vector<int64> const& times, Items const& items) const {
        std::vector<u32> names;
        names.reserve(places.size());
        for (u32 const place : places) {
            auto const time = std::lower_bound(times.begin(), times.end(), items[place].GetTimeStamp());
            names.push_back(static_cast<u32>(time - times.begin()));
        }
        return names;
    }

    std::vector<u32> places;
};

std::vector<AlignedPair> AlignTimes(Items const& first, Items const& second, AlignedStretch const& left) {
    bool const areAsMany = left.firstEnd - left.firstBegin == left.secondEnd - left.secondBegin;
    TimedPlaces const one(first, left.firstBegin, left.firstEnd, areAsMany);
    TimedPlaces const other(second, left.secondBegin, left.secondEnd, areAsMany);
    std::vector<int64> times;
    times.reserve(one.places.size() + other.places.size());
    for (u32 const place : one.places) times.push_back(first[place].GetTimeStamp());
    for (u32 const place : other.places) times.push_back(second[place].GetTimeStamp());
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    std::vector<u32> const oneNames = one.NamesIn(times, first);
    std::vector<u32> const otherNames = other.NamesIn(times, second);
    std::vector<AlignedPair> pairs;
    SequenceAligner(oneNames, otherNames, static_cast<u32>(times.size()))
        .Align({0, static_cast<u32>(oneNames.size()), 0, static_cast<u32>(otherNames.size())}, pairs);
    for (AlignedPair& pair : pairs) pair = {one.places[pair.first], other.places[pair.second]};
    return pairs;
}

}  // namespace

std::vector<AlignedPair> FindChangedItems(Items const& first, Items const& second, AlignedStretch const& left) {
    if (left.firstBegin == left.firstEnd || left.secondBegin == left.secondEnd) return {};
    std::vector<AlignedPair> pairs = AlignTimes(first, second, left);
    std::erase_if(pairs,
                  [&](AlignedPair const& pair) { return first[pair.first].GetCRC() == second[pair.second].GetCRC(); });
    return pairs;
}

}  // namespace Tarsel::Host
