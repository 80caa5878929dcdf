#include "host/digest/ItemAlignment.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "host/digest/AlignmentChoice.h"
#include "host/digest/SequenceAligner.h"

namespace Tarsel::Host {

namespace {

using Items = std::vector<Proc::PacketCRCInfo>;
using Pairs = std::vector<AlignedPair>;

bool IsSame(Proc::PacketCRCInfo const& first, Proc::PacketCRCInfo const& second) {
    return first.GetTimeStamp() == second.GetTimeStamp() && first.GetCRC() == second.GetCRC();
}

/// Numbers in place of digests, the same one for the same digest.
class Digests {
  public:
    std::vector<u32> NamesOf(Items const& items, u32 begin, u32 end) {
        std::vector<u32> sequence;
        sequence.reserve(end - begin);
        names.reserve(names.size() + end - begin);
        for (u32 i = begin; i < end; ++i)
            sequence.push_back(names.try_emplace(items[i].GetCRC(), static_cast<u32>(names.size())).first->second);
        return sequence;
    }
    u32 GetCount() const { return static_cast<u32>(names.size()); }

  private:
    std::unordered_map<std::string_view, u32> names;
};

/// Numbers in place of time and digest. Sorted rather than hashed: each side has most of them once.
u32 NameExactly(TimedSequence const& first, TimedSequence const& second, std::vector<u32>& firstNames,
                std::vector<u32>& secondNames) {
    struct Place {
        int64 time;
        u32 digest;
        u32* name;
    };
    firstNames.resize(first.digests.size());
    secondNames.resize(second.digests.size());
    std::vector<Place> places;
    places.reserve(firstNames.size() + secondNames.size());
    for (std::size_t i = 0; i < firstNames.size(); ++i)
        places.push_back({first.times[i], first.digests[i], &firstNames[i]});
    for (std::size_t i = 0; i < secondNames.size(); ++i)
        places.push_back({second.times[i], second.digests[i], &secondNames[i]});
    std::sort(places.begin(), places.end(),
              [](Place const& a, Place const& b) { return a.time != b.time ? a.time < b.time : a.digest < b.digest; });
    u32 name = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (i > 0 && (places[i].time != places[i - 1].time || places[i].digest != places[i - 1].digest)) ++name;
        *places[i].name = name;
    }
    return name + 1;
}

/// Equal items first, and between them equal digests.
Pairs AlignByBoth(TimedSequence const& first, TimedSequence const& second, SequenceAligner& byDigest) {
    std::vector<u32> firstNames;
    std::vector<u32> secondNames;
    u32 const names = NameExactly(first, second, firstNames, secondNames);
    AlignedStretch const whole{0, static_cast<u32>(firstNames.size()), 0, static_cast<u32>(secondNames.size())};
    Pairs equal;
    SequenceAligner(firstNames, secondNames, names).Align(whole, equal);
    Pairs pairs;
    AlignedStretch between = whole;
    for (AlignedPair const& pair : equal) {
        between.firstEnd = pair.first;
        between.secondEnd = pair.second;
        byDigest.Align(between, pairs);
        pairs.push_back(pair);
        between.firstBegin = pair.first + 1;
        between.secondBegin = pair.second + 1;
    }
    between.firstEnd = whole.firstEnd;
    between.secondEnd = whole.secondEnd;
    byDigest.Align(between, pairs);
    return pairs;
}

Pairs AlignSequences(TimedSequence const& first, TimedSequence const& second, u32 digests) {
    SequenceAligner byDigest(first.digests, second.digests, digests);
    Pairs loose;
    byDigest.Align({0, static_cast<u32>(first.digests.size()), 0, static_cast<u32>(second.digests.size())}, loose);
    // Where no digest is on both sides, no item is.
    if (loose.empty()) return loose;
    Pairs exact = AlignByBoth(first, second, byDigest);
    SlideGaps(first, second, exact);
    SlideGaps(first, second, loose);
    return ChooseSimpler(first, second, exact, loose);
}

void AddRun(std::vector<PairedItems>& runs, PairedItems const& run) {
    if (run.count == 0) return;
    if (!runs.empty() && runs.back().first + runs.back().count == run.first &&
        runs.back().second + runs.back().count == run.second)
        runs.back().count += run.count;
    else
        runs.push_back(run);
}

}  // namespace

std::vector<PairedItems> AlignItems(Items const& first, Items const& second) {
    auto firstEnd = static_cast<u32>(first.size());
    auto secondEnd = static_cast<u32>(second.size());
    u32 begin = 0;
    u32 tail = 0;
    while (begin < std::min(firstEnd, secondEnd) && IsSame(first[begin], second[begin])) ++begin;
    for (; begin < std::min(firstEnd, secondEnd) && IsSame(first[firstEnd - 1], second[secondEnd - 1]); ++tail)
        --firstEnd, --secondEnd;
    std::vector<PairedItems> runs;
    AddRun(runs, {0, 0, begin});
    if (begin < std::min(firstEnd, secondEnd)) {
        Digests digests;
        TimedSequence firstRest{digests.NamesOf(first, begin, firstEnd), {}};
        TimedSequence secondRest{digests.NamesOf(second, begin, secondEnd), {}};
        for (u32 i = begin; i < firstEnd; ++i) firstRest.times.push_back(first[i].GetTimeStamp());
        for (u32 i = begin; i < secondEnd; ++i) secondRest.times.push_back(second[i].GetTimeStamp());
        for (AlignedPair const& pair : AlignSequences(firstRest, secondRest, digests.GetCount()))
            AddRun(runs, {begin + pair.first, begin + pair.second, 1});
    }
    AddRun(runs, {firstEnd, secondEnd, tail});
    return runs;
}

}  // namespace Tarsel::Host
