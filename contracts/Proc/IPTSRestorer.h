#pragma once

#include <memory>

#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc::CodecParsers {

/// A packet with restored times; microseconds or no value. An empty one has no packet.
struct RestoredPacket {
    iptr<IDataPacket> packet;
    int64 pts = NO_VALUE;
    int64 dts = NO_VALUE;
};

/// Takes packets in decoding order that have no presentation times and gives them back with times, in the order of
/// presentation. The packets themselves aren't changed. One reader owns an object.
class TARSEL_CONTRACTS_EXPORT IPTSRestorer {
  public:
    virtual ~IPTSRestorer();
    /// Gives a packet, or null once at the end of the stream, which flushes what is held.
    virtual void AddPacket(iptr<IDataPacket> packet) = 0;
    /// The next packet that is ready; an empty one when none is.
    virtual RestoredPacket GetPacket() = 0;
    /// Forgets all packets.
    virtual void Clear() = 0;
};

/// The restorer for H.264, which goes by the types of slices alone: a run of B pictures is shown before the picture
/// that was decoded ahead of it. `nalLengthSize`: bytes of a length field (1 to 4) when the packets are
/// length-prefixed, not looked at for Annex B.
TARSEL_FILTERS_EXPORT std::unique_ptr<IPTSRestorer> CreateH264PTSRestorer(bool lengthPrefixed, u32 nalLengthSize);

}  // namespace Tarsel::Proc::CodecParsers
