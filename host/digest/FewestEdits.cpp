#include "host/digest/FewestEdits.h"

#include <algorithm>
#include <utility>

namespace Tarsel::Host {

namespace {

/// Of the first walk, of those that follow, and of those for which few steps are left.
constexpr int64 MOST_EDITS = 2000;
constexpr int64 LATER_EDITS = 400;
constexpr int64 HASTY_EDITS = 40;
constexpr int64 STEPS_PER_ITEM = 64;

/// How far each diagonal was reached after each number of edits. Diagonal `k` holds the places (x, x - k); after `d`
/// edits those from -d to d have been reached, every second of them.
class Diagonals {
  public:
    void AddLayer(int64 edits) { reached.resize(Begin(edits + 1)); }
    int64& At(int64 edits, int64 diagonal) { return reached[Begin(edits) + Within(edits, diagonal)]; }
    /// Where diagonal `diagonal` is entered by the last of `edits` edits, and on which diagonal that edit begins.
    int64 Enter(int64 edits, int64 diagonal, int64& from) {
        bool const down =
            diagonal == -edits || (diagonal != edits && At(edits - 1, diagonal - 1) < At(edits - 1, diagonal + 1));
        from = down ? diagonal + 1 : diagonal - 1;
        return At(edits - 1, from) + (down ? 0 : 1);
    }

  private:
    static std::size_t Begin(int64 edits) { return static_cast<std::size_t>(edits * (edits + 1) / 2); }
    static std::size_t Within(int64 edits, int64 diagonal) { return static_cast<std::size_t>((diagonal + edits) / 2); }

    std::vector<int64> reached;
};

class Walk {
  public:
    Walk(std::vector<u32> const& first, std::vector<u32> const& second)
        : first(first),
          second(second),
          firstEnd(static_cast<int64>(first.size())),
          secondEnd(static_cast<int64>(second.size())),
          steps(STEPS_PER_ITEM * (firstEnd + secondEnd)) {}

    CommonItems Run() {
        common.areMost = Advance(MOST_EDITS);
        if (common.areMost) return std::move(common);
        steps = STEPS_PER_ITEM * (firstEnd + secondEnd);
        while (!Advance(steps > 0 ? LATER_EDITS : HASTY_EDITS)) continue;
        return std::move(common);
    }

  private:
    /// Walks on from where the last walk's findings end; whether to the end.
    bool Advance(int64 edits) {
        int64 const n = firstEnd - firstBegin;
        int64 const m = secondEnd - secondBegin;
        for (int64 d = 0; d <= edits; ++d) {
            Layer const layer = Reach(d, n, m);
            if (layer.isEnd || d == edits || (steps < 0 && d >= HASTY_EDITS)) {
                Trace(d, layer.x, layer.diagonal, layer.isEnd ? d : d - d / 4);
                return layer.isEnd;
            }
        }
        return false;
    }

    struct Layer {
        /// The furthest place.
        int64 x = 0;
        int64 diagonal = 0;
        bool isEnd = false;
    };

    /// How far all diagonals are reached by one edit more.
    Layer Reach(int64 d, int64 n, int64 m) {
        diagonals.AddLayer(d);
        Layer layer;
        int64 furthest = -1;
        for (int64 k = -d; k <= d; k += 2) {
            int64 from = 0;
            int64 const entered = d == 0 ? 0 : diagonals.Enter(d, k, from);
            int64 x = entered;
            while (x < n && x - k < m && At(first, firstBegin + x) == At(second, secondBegin + x - k)) ++x;
            diagonals.At(d, k) = x;
            steps -= x - entered + 1;
            // Diagonals are followed beyond the ends too.
            if (x > n || x - k > m || 2 * x - k <= furthest) continue;
            furthest = 2 * x - k;
            layer = {x, k, x == n && x - k == m};
            if (layer.isEnd) break;
        }
        return layer;
    }

    /// Walks the found way back from its end, and takes what it passes within its first `kept` edits.
    void Trace(int64 edits, int64 x, int64 diagonal, int64 kept) {
        auto const known = static_cast<std::ptrdiff_t>(common.pairs.size());
        int64 const firstStart = firstBegin;
        int64 const secondStart = secondBegin;
        int64 y = x - diagonal;
        for (int64 d = edits; d >= 0; --d) {
            int64 from = 0;
            int64 const entered = d == 0 ? 0 : diagonals.Enter(d, x - y, from);
            if (d == kept) {
                firstBegin = firstStart + x;
                secondBegin = secondStart + y;
            }
            for (; x > entered; --x, --y)
                if (d <= kept)
                    common.pairs.push_back(
                        {static_cast<u32>(firstStart + x - 1), static_cast<u32>(secondStart + y - 1)});
            if (d == 0) break;
            x = diagonals.At(d - 1, from);
            y = x - from;
        }
        std::reverse(common.pairs.begin() + known, common.pairs.end());
    }

    static u32 At(std::vector<u32> const& sequence, int64 place) { return sequence[static_cast<std::size_t>(place)]; }

    std::vector<u32> const& first;
    std::vector<u32> const& second;
    int64 const firstEnd;
    int64 const secondEnd;
    /// Where the next walk begins.
    int64 firstBegin = 0;
    int64 secondBegin = 0;
    /// What may still be spent before walks become hasty.
    int64 steps;
    Diagonals diagonals;
    CommonItems common;
};

}  // namespace

CommonItems FewestEdits(std::vector<u32> const& first, std::vector<u32> const& second) {
    return Walk(first, second).Run();
}

}  // namespace Tarsel::Host
