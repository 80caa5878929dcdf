#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// Which of many records on a timeline a reader has to look at: those that have begun and haven't ended yet.
///
/// Goes in: the records, sorted by `begin`, and a position that mostly moves on. Comes out: the few that stand around
/// it, in the same order. A move costs as much as records begin or end on the way, however many sleep; one backwards
/// looks through all records again. Whoever changes, adds, removes or sorts records calls `Reset`. One thread.
///
/// A record has `begin`, `end` and `IsHeld()`: it is kept although its end has passed.
template <class Record>
class TimelineWindow {
  public:
    using Records = std::vector<std::shared_ptr<Record>>;

    void Reset() {
        current.clear();
        next = 0;
        reached = std::numeric_limits<int64>::min();
    }
    /// Drops what ended at or before `position`, and takes in what has begun.
    void MoveTo(Records const& sorted, int64 position) {
        if (position < reached) Reset();
        reached = position;
        current.erase(
            std::remove_if(current.begin(), current.end(), [&](auto const& record) { return !Keeps(*record); }),
            current.end());
        Enter(sorted, position);
    }
    /// Takes in what has begun at a position further on, and drops nothing: the reader may still come back to where it
    /// was moved to.
    void Enter(Records const& sorted, int64 position) {
        for (; next < sorted.size() && sorted[next]->begin <= position; ++next)
            if (Keeps(*sorted[next])) current.push_back(sorted[next]);
    }
    Records const& Current() const { return current; }

  private:
    bool Keeps(Record const& record) const { return record.end > reached || record.IsHeld(); }

    Records current;
    std::size_t next = 0;  // the first record that hasn't begun
    int64 reached = std::numeric_limits<int64>::min();
};

}  // namespace Tarsel::Proc
