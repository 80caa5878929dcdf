#pragma once

#include "Proc/Filters/Filters/PacketQueue.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// A packet queue that reads its source one group of pictures at a time.
///
/// Goes in: a compressed stream. A group starts with a key packet and ends ahead of the next key packet that has a
/// source position; that packet is held back for the next round. The limits of the queue are the only bound on a
/// group's memory: at a limit the group ends as if a key packet had come, and the next one starts without one. After a
/// seek of the source call `SetPosition`, or the held packet of the old place stands in front of the new one.
class PacketQueueWithGOP final : public PacketQueue {
  public:
    /// Groups that end ahead of `position` (no value: none) are read over; held packet, last position and queue are
    /// emptied.
    void SetPosition(int64 position);
    /// Empties the queue; the held packet stays.
    void Reset();
    /// Position of the group in the queue. With an empty queue the held packet is moved in first.
    int64 GetGopStart();

    /// Reads up to the end of the group. False when there is nothing more. The source is read with the queue's lock
    /// held.
    bool ReadGOP(iptr<IStreamRaw> const& source);
    /// Position of the held packet; without one, of the last packet read.
    int64 GetNextGopStart() const;
    /// Whether a key packet is held for the next group.
    bool HasNextGop() const;

  private:
    void TakeHeldPacket() TARSEL_REQUIRES(mutex);
    /// One packet that was read: true ends the group.
    bool AddToGop(iptr<IDataPacket> packet) TARSEL_REQUIRES(mutex);

    iptr<IDataPacket> nextGopPacket TARSEL_GUARDED_BY(mutex);
    int64 lastPosition TARSEL_GUARDED_BY(mutex) = NO_VALUE;
    int64 minGopPosition TARSEL_GUARDED_BY(mutex) = NO_VALUE;
};

}  // namespace Tarsel::Proc
