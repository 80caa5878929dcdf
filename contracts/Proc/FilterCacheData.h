#pragma once

#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// The door to the read-ahead stage for whoever links the filters library, such as a player: no class of settings names
/// it in the registry.
///
/// Goes in: decoded pictures. Comes out: the same objects; a thread of its own reads the next one while the consumer
/// works on the last, so that the two overlap by one picture. `GetStatistic` tells what that saved. Seek and end: the
/// source's; a failed read reaches the consumer behind the picture that was read before it. Throws
/// `std::invalid_argument` "parentStream is NULL." for a null source.
TARSEL_FILTERS_EXPORT iptr<IStreamVideo> CreateFilterCacheData(iptr<IStreamVideo> source);

}  // namespace Tarsel::Proc
