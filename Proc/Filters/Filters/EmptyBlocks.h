#pragma once

#include <string>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::Details {

/// Counts blocks in a row that bring a reader nowhere: a source that gives too many of them is taken for one that never
/// gives anything else.
class EmptyBlocks {
  public:
    /// Throws `FilterException` for the empty block that makes the limit full. One that isn't empty begins a new row.
    void Count(bool isEmpty) {
        inRow = isEmpty ? inRow + 1 : 0;
        if (inRow >= LIMIT)
            TARSEL_THROW(FilterException,
                         "Audio source gave " + std::to_string(inRow) + " blocks in a row without samples");
    }

  private:
    static constexpr int LIMIT = 100000;

    int inRow = 0;
};

}  // namespace Tarsel::Proc::Details
