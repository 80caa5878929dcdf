#include "host/digest/SequenceAligner.h"

#include <algorithm>
#include <utility>

#include "host/digest/FewestEdits.h"

namespace Tarsel::Host {

namespace {

constexpr u32 NOWHERE = ~u32{0};

std::vector<u32> NamesAt(std::vector<u32> const& places, std::vector<u32> const& sequence) {
    std::vector<u32> names;
    names.reserve(places.size());
    for (u32 const place : places) names.push_back(sequence[place]);
    return names;
}

}  // namespace

std::vector<AlignedPair> LongestChain(std::vector<AlignedPair> const& pairs) {
    // For each length the pair that ends a chain of it earliest on the second side, and for each pair the one before.
    std::vector<u32> ends;
    std::vector<u32> before(pairs.size(), NOWHERE);
    for (u32 i = 0; i < pairs.size(); ++i) {
        auto const end = std::lower_bound(ends.begin(), ends.end(), pairs[i].second,
                                          [&](u32 pair, u32 place) { return pairs[pair].second < place; });
        if (end != ends.begin()) before[i] = *(end - 1);
        if (end == ends.end())
            ends.push_back(i);
        else
            *end = i;
    }
    std::vector<AlignedPair> chain(ends.size());
    u32 pair = ends.empty() ? NOWHERE : ends.back();
    for (auto link = chain.rbegin(); link != chain.rend(); ++link, pair = before[pair]) *link = pairs[pair];
    return chain;
}

SequenceAligner::SequenceAligner(std::vector<u32> const& first, std::vector<u32> const& second, u32 names)
    : first(first), second(second), inFirst(names), inSecond(names), nextPlace(second.size()) {}

void SequenceAligner::Align(AlignedStretch stretch, std::vector<AlignedPair>& pairs, int depth) {
    auto& [firstBegin, firstEnd, secondBegin, secondEnd] = stretch;
    for (; firstBegin < firstEnd && secondBegin < secondEnd && first[firstBegin] == second[secondBegin];
         ++firstBegin, ++secondBegin)
        pairs.push_back({firstBegin, secondBegin});
    u32 tail = 0;
    for (; firstBegin < firstEnd && secondBegin < secondEnd && first[firstEnd - 1] == second[secondEnd - 1]; ++tail)
        --firstEnd, --secondEnd;
    if (firstBegin < firstEnd && secondBegin < secondEnd) AlignInner(stretch, pairs, depth);
    for (u32 i = 0; i < tail; ++i) pairs.push_back({firstEnd + i, secondEnd + i});
}

void SequenceAligner::AlignInner(AlignedStretch const& stretch, std::vector<AlignedPair>& pairs, int depth) {
    Shared const shared = FindShared(stretch);
    if (shared.first.empty()) return;
    if (shared.areUnique) {
        std::vector<AlignedPair> const chain = LongestChain(PairOccurrences(shared));
        pairs.insert(pairs.end(), chain.begin(), chain.end());
        return;
    }
    CommonItems walked = FewestEdits(NamesAt(shared.first, first), NamesAt(shared.second, second));
    for (AlignedPair& pair : walked.pairs) pair = {shared.first[pair.first], shared.second[pair.second]};
    if (!walked.areMost && depth > 0) {
        std::vector<AlignedPair> chained = AlignByOccurrence(stretch, shared, depth);
        if (chained.size() > walked.pairs.size()) walked.pairs = std::move(chained);
    }
    pairs.insert(pairs.end(), walked.pairs.begin(), walked.pairs.end());
}

std::vector<AlignedPair> SequenceAligner::AlignByOccurrence(AlignedStretch const& stretch, Shared const& shared,
                                                            int depth) {
    std::vector<AlignedPair> pairs;
    AlignedStretch between = stretch;
    for (AlignedPair const& pair : LongestChain(PairOccurrences(shared))) {
        between.firstEnd = pair.first;
        between.secondEnd = pair.second;
        Align(between, pairs, depth - 1);
        pairs.push_back(pair);
        between.firstBegin = pair.first + 1;
        between.secondBegin = pair.second + 1;
    }
    between.firstEnd = stretch.firstEnd;
    between.secondEnd = stretch.secondEnd;
    Align(between, pairs, depth - 1);
    return pairs;
}

SequenceAligner::Shared SequenceAligner::FindShared(AlignedStretch const& stretch) {
    for (u32 i = stretch.firstBegin; i < stretch.firstEnd; ++i) ++inFirst[first[i]];
    for (u32 i = stretch.secondBegin; i < stretch.secondEnd; ++i) ++inSecond[second[i]];
    Shared shared;
    for (u32 i = stretch.firstBegin; i < stretch.firstEnd; ++i) {
        u32 const name = first[i];
        if (inSecond[name] == 0) continue;
        shared.first.push_back(i);
        if (inFirst[name] > 1 || inSecond[name] > 1) shared.areUnique = false;
    }
    for (u32 i = stretch.secondBegin; i < stretch.secondEnd; ++i)
        if (inFirst[second[i]] != 0) shared.second.push_back(i);
    for (u32 i = stretch.firstBegin; i < stretch.firstEnd; ++i) inFirst[first[i]] = 0;
    for (u32 i = stretch.secondBegin; i < stretch.secondEnd; ++i) inSecond[second[i]] = 0;
    return shared;
}

std::vector<AlignedPair> SequenceAligner::PairOccurrences(Shared const& shared) {
    // The places of each name on the second side as a list from the front, by what is one above them.
    for (auto place = shared.second.rbegin(); place != shared.second.rend(); ++place) {
        u32& head = inSecond[second[*place]];
        nextPlace[*place] = head;
        head = *place + 1;
    }
    std::vector<AlignedPair> pairs;
    for (u32 const place : shared.first) {
        u32& head = inSecond[first[place]];
        if (head == 0) continue;
        pairs.push_back({place, head - 1});
        head = nextPlace[head - 1];
    }
    for (u32 const place : shared.second) inSecond[second[place]] = 0;
    return pairs;
}

}  // namespace Tarsel::Host
