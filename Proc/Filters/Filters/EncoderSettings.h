#pragma once

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// Sets up `properties` for an encoder that continues a stream of `format`: more bits a second than the stream has, so
/// that one encoded group doesn't look worse than its neighbours, and what the stream's header tells. `spsId` is the
/// number of the encoder's own parameter sets (H.264). `hasDelay`: the stream's pictures are reordered. A header that
/// can't be decoded is logged, and the settings stay as they are.
void BuildEncoderSettings(Conf::IFormatCodec const& format, Core::Property& properties, u32 spsId, bool hasDelay);

}  // namespace Tarsel::Proc
