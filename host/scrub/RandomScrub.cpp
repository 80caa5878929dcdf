#include <algorithm>
#include <random>

#include "host/scrub/ScrubScript.h"

namespace Tarsel::Host {

namespace {

constexpr int64 NEAR = 2 * SECOND;
constexpr int64 LONGEST_RUN = 12;
constexpr int64 LONGEST_STEP = 4;

/// Somebody at a player. Where the shown picture stands is known from the grid, so that jumps can be near ones.
class Person {
  public:
    Person(uint64 seed, TimeGrid const& grid, int64 duration) : random(seed), grid(grid), duration(duration) {}

    ScrubScript Act(std::size_t count) {
        script.reserve(count);
        while (script.size() < count) {
            int64 const choice = Below(100);
            if (choice < 32)
                Run(count, 1);
            else if (choice < 60)
                Run(count, -1);
            else if (choice < 78)
                Seek(here + Below(2 * NEAR + 1) - NEAR);
            else if (choice < 87)
                Seek(Below(duration + 1));
            else if (choice < 95)
                SeekToPicture();
            else
                Seek(choice < 98 ? 0 : duration);
        }
        return std::move(script);
    }

  private:
    /// From 0 to below `limit`. Plain division: distributions of the library differ from one to the next.
    int64 Below(int64 limit) { return limit <= 1 ? 0 : static_cast<int64>(random() % static_cast<uint64>(limit)); }

    void Seek(int64 time) {
        here = std::clamp<int64>(time, 0, std::max<int64>(duration, 0));
        script.push_back({ScrubOperation::Kind::Seek, here});
    }

    void SeekToPicture() { Seek(grid.GetCount() == 0 ? 0 : grid.GetTime(static_cast<std::size_t>(Below(Count())))); }

    void Run(std::size_t count, int64 direction) {
        for (int64 left = 1 + Below(LONGEST_RUN); left > 0 && script.size() < count; --left) {
            int64 const length = direction * (Below(3) == 0 ? 1 + Below(LONGEST_STEP) : 1);
            script.push_back({ScrubOperation::Kind::Step, length});
            if (grid.GetCount() == 0) continue;
            int64 const number = static_cast<int64>(grid.FindAt(here)) + length;
            here = grid.GetTime(static_cast<std::size_t>(std::clamp<int64>(number, 0, Count() - 1)));
        }
    }

    int64 Count() const { return static_cast<int64>(grid.GetCount()); }

    std::mt19937_64 random;
    TimeGrid const& grid;
    int64 const duration;
    int64 here = 0;
    ScrubScript script;
};

}  // namespace

ScrubScript MakeRandomScrub(std::size_t count, uint64 seed, TimeGrid const& grid, int64 duration) {
    return Person(seed, grid, HasValue(duration) ? std::clamp<int64>(duration, 0, MAX_DURATION) : 0).Act(count);
}

}  // namespace Tarsel::Host
