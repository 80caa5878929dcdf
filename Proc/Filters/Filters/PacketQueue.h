#pragma once

#include <list>

#include "contracts/Core/Mutex.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// A locked first-in first-out queue of compressed packets that knows its packets, key packets and bytes.
///
/// Only references move. Each operation takes `mutex` on its own; who needs several of them in one piece brings a lock
/// of its own around them.
class PacketQueue {
  public:
    PacketQueue() = default;
    virtual ~PacketQueue();
    /// Position of the first packet that has one; no value when there is none, or when the queue holds no bytes.
    virtual int64 GetStartPosition() const;
    virtual void Clear();

    PacketQueue(PacketQueue const&) = delete;
    PacketQueue& operator=(PacketQueue const&) = delete;

    void Push(iptr<IDataPacket> packet);
    /// The oldest packet. An empty queue throws `std::logic_error`: test `Count` first.
    iptr<IDataPacket> Pop();
    uint32 Count() const;
    uint32 KeyCount() const;
    int64 GetTotalBytes() const;
    /// Whether a limit is exceeded.
    bool IsFull() const;
    /// Latest end (time and duration) of the packets in the queue; a packet without a duration counts as one
    /// microsecond. No value when no packet has a time.
    int64 GetEndTime() const;
    void SetLimits(uint32 packetLimit, int64 byteLimit);

  protected:
    uint32 keyPackets TARSEL_GUARDED_BY(mutex) = 0;
    int64 totalBytes TARSEL_GUARDED_BY(mutex) = 0;
    uint32 maxPackets TARSEL_GUARDED_BY(mutex) = 999999;
    int64 maxBytes TARSEL_GUARDED_BY(mutex) = 50000000;
    std::list<iptr<IDataPacket>> packets TARSEL_GUARDED_BY(mutex);
    /// Guards all of the above. Innermost: nothing else is taken while it is held, except inside the source that
    /// `PacketQueueWithGOP::ReadGOP` reads.
    mutable Core::RecursiveMutex mutex;
};

}  // namespace Tarsel::Proc
