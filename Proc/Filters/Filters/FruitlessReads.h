#pragma once

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::Details {

/// Weighs what one read of a map gets that doesn't come out of it: sources that go on like this are taken for such that
/// never do otherwise.
class FruitlessReads {
  public:
    /// A frame in front of the position, further on than those before it: a source that has landed early.
    void CountEarly() { Add(1); }
    /// A slice that is lost because a source has ended in front of its end.
    void CountLost() { Add(20); }
    /// An item that brings its source no further, or the map hardly so.
    void CountStill() { Add(100); }

  private:
    static constexpr int LIMIT = 10000000;

    /// Throws `FilterException` when the limit is full.
    void Add(int weight) {
        weighed += weight;
        if (weighed >= LIMIT)
            TARSEL_THROW(FilterException, "Mapped sources go on giving items that don't bring the map further");
    }

    int weighed = 0;
};

}  // namespace Tarsel::Proc::Details
