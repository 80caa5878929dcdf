#include "host/digest/AlignmentChoice.h"

#include <algorithm>
#include <span>
#include <utility>

namespace Tarsel::Host {

namespace {

using Pairs = std::vector<AlignedPair>;

/// How far a pair's second time lies behind its first; wraps around, as only equality counts.
class Distances {
  public:
    Distances(TimedSequence const& first, TimedSequence const& second) : first(first), second(second) {}
    u64 Of(AlignedPair const& pair) const {
        return static_cast<u64>(second.times[pair.second]) - static_cast<u64>(first.times[pair.first]);
    }

  private:
    TimedSequence const& first;
    TimedSequence const& second;
};

/// A gap on one side between pairs that follow on each other on the other side.
class Slide {
  public:
    Slide(TimedSequence const& first, TimedSequence const& second, Pairs& pairs)
        : first(first),
          second(second),
          distances(first, second),
          pairs(pairs),
          patience(PATIENCE_PER_PAIR * (pairs.size() + 1)) {}

    /// The gap in front of pair `place`; of the last gap that is the number of pairs.
    void Settle(std::size_t place) {
        AlignedPair const after = place < pairs.size() ? pairs[place] : End();
        AlignedPair const from = place > 0 ? Next(pairs[place - 1]) : AlignedPair{};
        width = {after.first - from.first, after.second - from.second};
        if ((width.first == 0) == (width.second == 0) || patience == 0) return;
        std::size_t begin = place;
        while (begin > 0 && Follows(begin, place) && IsAlike(pairs[begin - 1], true)) --begin;
        std::size_t end = place;
        while (end < pairs.size() && (end == place || Next(pairs[end - 1]) == pairs[end]) && IsAlike(pairs[end], false))
            ++end;
        patience -= std::min(patience, end - begin);
        if (begin != end && patience > 0) Split(begin, place, end);
    }

  private:
    static constexpr std::size_t PATIENCE_PER_PAIR = 16;

    AlignedPair End() const {
        return {static_cast<u32>(first.digests.size()), static_cast<u32>(second.digests.size())};
    }
    static AlignedPair Next(AlignedPair const& pair) { return {pair.first + 1, pair.second + 1}; }
    bool Follows(std::size_t begin, std::size_t place) const {
        return begin == place || Next(pairs[begin - 1]) == pairs[begin];
    }
    AlignedPair Behind(AlignedPair const& pair) const { return {pair.first + width.first, pair.second + width.second}; }
    AlignedPair Ahead(AlignedPair const& pair) const { return {pair.first - width.first, pair.second - width.second}; }
    /// Whether a pair could stand on the other side of the gap.
    bool IsAlike(AlignedPair const& pair, bool isAhead) const {
        AlignedPair const other = isAhead ? Behind(pair) : Ahead(pair);
        return first.digests[other.first] == second.digests[other.second];
    }

    /// Pairs from `begin` to `end` may stand on either side of the gap, which is at `place` now.
    void Split(std::size_t begin, std::size_t place, std::size_t end) {
        std::size_t const count = end - begin;
        Pairs ahead(pairs.begin() + Signed(begin), pairs.begin() + Signed(end));
        Pairs behind = ahead;
        for (std::size_t i = 0; i < count; ++i)
            (begin + i < place ? behind[i] : ahead[i]) = begin + i < place ? Behind(ahead[i]) : Ahead(behind[i]);
        u64 const before = begin > 0 ? distances.Of(pairs[begin - 1]) : 0;
        u64 const after = end < pairs.size() ? distances.Of(pairs[end]) : 0;
        // Changes and moved items, first with all pairs behind the gap; then one after the other is taken ahead of it.
        std::pair<int64, int64> cost{0, 0};
        u64 last = before;
        for (AlignedPair const& pair : behind) {
            cost.first += distances.Of(pair) != std::exchange(last, distances.Of(pair)) ? 1 : 0;
            cost.second += last != 0 ? 1 : 0;
        }
        cost.first += last != after ? 1 : 0;
        auto best = cost;
        std::size_t split = 0;
        last = before;
        for (std::size_t i = 0; i < count; ++i) {
            u64 const next = i + 1 < count ? distances.Of(behind[i + 1]) : after;
            u64 const was = distances.Of(behind[i]);
            u64 const is = distances.Of(ahead[i]);
            cost.first += (last != is) + (is != next) - (last != was) - (was != next);
            cost.second += (is != 0) - (was != 0);
            last = is;
            if (cost > best) continue;
            best = cost;
            split = i + 1;
        }
        std::copy(ahead.begin(), ahead.begin() + Signed(split), pairs.begin() + Signed(begin));
        std::copy(behind.begin() + Signed(split), behind.end(), pairs.begin() + Signed(begin + split));
    }
    static std::ptrdiff_t Signed(std::size_t place) { return static_cast<std::ptrdiff_t>(place); }

    TimedSequence const& first;
    TimedSequence const& second;
    Distances const distances;
    Pairs& pairs;
    /// Pairs that may still be looked at: where gaps push each other along there would be no end of them.
    std::size_t patience;
    /// Of the gap on each side.
    AlignedPair width;
};

/// What a stretch of pairs costs between two that stay: events without the items that no alignment could pair, and
/// moved items.
std::pair<int64, int64> CostOf(std::span<AlignedPair const> pairs, u64 before, u64 after, Distances const& distances) {
    std::pair<int64, int64> cost{-2 * static_cast<int64>(pairs.size()), 0};
    for (AlignedPair const& pair : pairs) {
        u64 const distance = distances.Of(pair);
        if (distance != before) ++cost.first;
        if (distance == 0) --cost.second;
        before = distance;
    }
    if (before != after) ++cost.first;
    return cost;
}

}  // namespace

void SlideGaps(TimedSequence const& first, TimedSequence const& second, Pairs& pairs) {
    Slide slide(first, second, pairs);
    for (std::size_t i = 0; i <= pairs.size(); ++i) slide.Settle(i);
}

Pairs ChooseSimpler(TimedSequence const& first, TimedSequence const& second, Pairs const& exact, Pairs const& loose) {
    Distances const distances(first, second);
    Pairs chosen;
    std::size_t exactBegin = 0;
    std::size_t looseBegin = 0;
    u64 before = 0;
    auto const choose = [&](std::size_t exactEnd, std::size_t looseEnd, u64 after) {
        std::span const tight(exact.data() + exactBegin, exactEnd - exactBegin);
        std::span const free(loose.data() + looseBegin, looseEnd - looseBegin);
        bool const isExact = CostOf(tight, before, after, distances) <= CostOf(free, before, after, distances);
        auto const& taken = isExact ? tight : free;
        chosen.insert(chosen.end(), taken.begin(), taken.end());
    };
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < exact.size() && j < loose.size()) {
        if (exact[i] == loose[j]) {
            choose(i, j, distances.Of(exact[i]));
            before = distances.Of(exact[i]);
            chosen.push_back(exact[i]);
            exactBegin = ++i;
            looseBegin = ++j;
        } else if (exact[i].first <= loose[j].first) {
            ++i;
        } else {
            ++j;
        }
    }
    choose(exact.size(), loose.size(), 0);
    return chosen;
}

}  // namespace Tarsel::Host
