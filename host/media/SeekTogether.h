#pragma once

#include <exception>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Host {

/// A stream and where it is to go, microseconds.
struct SeekTarget {
    Proc::IStream* stream = nullptr;
    int64 position = 0;
};

/// Seeks streams that belong together, phase by phase: all are asked, then all go, then all finish. `caches`: the
/// controllers whose streams are among them, which all go to `cachePosition`; what their windows can't answer (a
/// position at the very start of an item) is read from the source again, and a failed seek in front of this one does no
/// harm. Failures of the streams pass through. One thread, nobody reading.
TARSEL_HOST_EXPORT void SeekTogether(std::vector<SeekTarget> const& targets,
                                     std::vector<iptr<Proc::IFilterCacheController>> const& caches = {},
                                     int64 cachePosition = 0);

/// Whether a failure is a cache's whose window has no answer: no item of it holds the position, or the next item lies
/// beyond it. It may have come through a node that put its own text in front.
TARSEL_HOST_EXPORT bool MissesWindow(std::exception const& failure);

}  // namespace Tarsel::Host
