#pragma once

#include <cstddef>
#include <cstdlib>

#include "Proc/CodecParsers/NaluRange.h"

namespace Tarsel::Fuzz {

/// Ends the process when a unit isn't inside the data that was scanned.
inline void RequireInside(Proc::CodecParsers::NaluRangeList const& units, u8 const* data, std::size_t size) {
    for (Proc::CodecParsers::NaluRange const& unit : units)
        if (unit.data < data || unit.data > data + size ||
            unit.size > static_cast<std::size_t>(data + size - unit.data))
            std::abort();
}

}  // namespace Tarsel::Fuzz
