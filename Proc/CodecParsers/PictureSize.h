#pragma once

#include "contracts/Core/Types.h"

namespace Tarsel::Proc::CodecParsers {

/// Width and height in pixels.
struct PictureSize {
    int64 width = 0;
    int64 height = 0;

    bool operator==(PictureSize const&) const = default;
};

}  // namespace Tarsel::Proc::CodecParsers
