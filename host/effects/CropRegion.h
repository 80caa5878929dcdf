#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Host {

/// What a part to keep means in pictures of this format and size: a right or bottom of 0 is the picture's own edge, and
/// edges that would divide a chroma sample move outwards, as far as the picture reaches. Throws `EffectException` where
/// it reaches beyond the picture.
TARSEL_HOST_EXPORT Proc::CropInfo CropRegionIn(Proc::CropInfo const& region, PixFmt format, int width, int height);

/// Parts of interlaced pictures begin at rows that are multiples of this: where the first field has a row with chroma
/// of its own.
TARSEL_HOST_EXPORT u32 RowStepOfFields(PixFmt format);

/// "left: L, right: R, top: T, bottom: B", for messages.
TARSEL_HOST_EXPORT std::string ToText(Proc::CropInfo const& region);

}  // namespace Tarsel::Host
