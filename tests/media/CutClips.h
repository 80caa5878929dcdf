// Which clips are cut at random, what is known of each, and how many lists it gets.
#pragma once

#include <string>
#include <vector>

namespace Tarsel::Test {

struct CutClip {
    std::string name;
    /// "recode": boundaries fall on pictures; "gop": on key pictures; "packet": without video.
    std::string mode;
    /// Extension of the output.
    std::string target;
    /// Batches of lists, each one test.
    int batches = 1;
};

/// Lists in a batch.
inline constexpr int LISTS_IN_A_BATCH = 7;

std::vector<CutClip> const& CutClips();

}  // namespace Tarsel::Test
