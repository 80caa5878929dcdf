#pragma once

#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterBitStream.h"

namespace Tarsel::Proc {

/// The door to the bit stream filter for whoever links the filters library, such as a muxer: the same filter as the
/// registry's under `SettingsFilterBitStream::CLASS_ID`.
///
/// Goes in: packets of one stream. Comes out: the same packets in the framing that was asked for, one for one; a packet
/// whose framing is broken comes out as null although the stream goes on, so a reader must know its source's end.
/// `GetFormatCodec` has the global header that belongs to the new framing. Seek and end: the source's. One consumer.
class FilterBitStream {
  public:
    FilterBitStream() = delete;

    /// Throws `std::bad_cast` for settings that aren't `SettingsFilterBitStream`, `std::invalid_argument` for a null
    /// source, and `Tarsel::Exception` for a global header that can't be converted.
    TARSEL_FILTERS_EXPORT static iptr<IStreamRawEx> Create(iptr<IStreamRaw> source, Settings const& settings);
};

}  // namespace Tarsel::Proc
