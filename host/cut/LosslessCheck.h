#pragma once

#include <string>
#include <vector>

#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// What a stream's packets say for and against cutting it without loss.
struct LosslessVerdict {
    bool possible = true;
    /// Whether an HEVC stream has CRA pictures, at which a cut loses the pictures that lead them.
    bool craPictures = false;
    /// The findings, each once.
    std::vector<std::string> reasons;
};

/// Lets the lossless detection look at the times that the container itself has; what the index has filled in counts as
/// missing. The payloads of HEVC video are read for it, other streams are judged by their index. Throws as reading
/// does.
LosslessVerdict JudgeLossless(MediaFile& file, StreamInfo const& info);

}  // namespace Tarsel::Host
