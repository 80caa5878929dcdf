#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/scrub/ScrubPlayer.h"

namespace Tarsel::Host {

/// What a scrub did, operation by operation.
struct ScrubReport {
    struct Step {
        ScrubOperation operation;
        ScrubMove move;
        /// From the order to the last item, microseconds.
        int64 time = 0;
    };
    std::vector<Step> steps;
    /// Operations in which the decoders were sought.
    uint64 sourceSeeks = 0;
    /// Operations that needed a seek (seeks, and steps back) and were answered from what the caches held.
    uint64 savedSeeks = 0;

    /// Of the operations' times, microseconds; 0 when there were none. Between the two in the middle: their mean.
    TARSEL_HOST_EXPORT int64 GetMedian() const;
    TARSEL_HOST_EXPORT int64 GetWorst() const;
    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: a line for each operation, and a summary.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

}  // namespace Tarsel::Host
