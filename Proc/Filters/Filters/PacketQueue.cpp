#include "Proc/Filters/Filters/PacketQueue.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

PacketQueue::~PacketQueue() = default;

int64 PacketQueue::GetStartPosition() const {
    Core::RecursiveMutexLock const lock(mutex);
    if (totalBytes <= 0) return NO_VALUE;
    for (auto const& packet : packets)
        if (int64 const position = packet->GetSourcePosition(); HasValue(position)) return position;
    return NO_VALUE;
}

void PacketQueue::Clear() {
    Core::RecursiveMutexLock const lock(mutex);
    packets.clear();
    keyPackets = 0;
    totalBytes = 0;
}

void PacketQueue::Push(iptr<IDataPacket> packet) {
    Core::RecursiveMutexLock const lock(mutex);
    packets.push_back(std::move(packet));
    totalBytes += static_cast<int64>(packets.back()->GetSize());
    if (packets.back()->IsKeyFrame()) ++keyPackets;
}

iptr<IDataPacket> PacketQueue::Pop() {
    Core::RecursiveMutexLock const lock(mutex);
    if (packets.empty()) TARSEL_THROW(std::logic_error, "Packet queue is empty");
    iptr<IDataPacket> packet = std::move(packets.front());
    packets.pop_front();
    totalBytes -= static_cast<int64>(packet->GetSize());
    if (packet->IsKeyFrame()) --keyPackets;
    return packet;
}

uint32 PacketQueue::Count() const {
    Core::RecursiveMutexLock const lock(mutex);
    return static_cast<uint32>(packets.size());
}

uint32 PacketQueue::KeyCount() const {
    Core::RecursiveMutexLock const lock(mutex);
    return keyPackets;
}

int64 PacketQueue::GetTotalBytes() const {
    Core::RecursiveMutexLock const lock(mutex);
    return totalBytes;
}

bool PacketQueue::IsFull() const {
    Core::RecursiveMutexLock const lock(mutex);
    return packets.size() > maxPackets || totalBytes > maxBytes;
}

int64 PacketQueue::GetEndTime() const {
    Core::RecursiveMutexLock const lock(mutex);
    int64 latest = NO_VALUE;
    // No value is the smallest integer, so the maximum needs no test of its own.
    for (auto const& packet : packets)
        latest = std::max(latest, AddTime(packet->GetTime(), std::max<int64>(packet->GetDuration(), 1)));
    return latest;
}

void PacketQueue::SetLimits(uint32 packetLimit, int64 byteLimit) {
    Core::RecursiveMutexLock const lock(mutex);
    maxPackets = packetLimit;
    maxBytes = byteLimit;
}

}  // namespace Tarsel::Proc
