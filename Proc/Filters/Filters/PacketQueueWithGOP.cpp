#include "Proc/Filters/Filters/PacketQueueWithGOP.h"

#include <glog/logging.h>

#include <utility>

namespace Tarsel::Proc {

void PacketQueueWithGOP::SetPosition(int64 position) {
    Core::RecursiveMutexLock const lock(mutex);
    minGopPosition = position;
    nextGopPacket = nullptr;
    lastPosition = NO_VALUE;
    Clear();
}

void PacketQueueWithGOP::Reset() {
    Core::RecursiveMutexLock const lock(mutex);
    Clear();
}

void PacketQueueWithGOP::TakeHeldPacket() {
    if (nextGopPacket) Push(std::exchange(nextGopPacket, nullptr));
}

int64 PacketQueueWithGOP::GetGopStart() {
    Core::RecursiveMutexLock const lock(mutex);
    if (packets.empty()) TakeHeldPacket();
    return GetStartPosition();
}

int64 PacketQueueWithGOP::GetNextGopStart() const {
    Core::RecursiveMutexLock const lock(mutex);
    if (nextGopPacket)
        if (int64 const position = nextGopPacket->GetSourcePosition(); HasValue(position)) return position;
    return lastPosition;
}

bool PacketQueueWithGOP::HasNextGop() const {
    Core::RecursiveMutexLock const lock(mutex);
    return nextGopPacket != nullptr;
}

bool PacketQueueWithGOP::ReadGOP(iptr<IStreamRaw> const& source) {
    Core::RecursiveMutexLock const lock(mutex);
    VLOG(4001) << "----------------Read GOP----------------\n";
    TakeHeldPacket();
    while (!IsFull()) {
        iptr<IDataPacket> packet = source->Read();
        if (!packet || AddToGop(std::move(packet))) break;
    }
    VLOG(4001) << "-------" << packets.size() << " packets-------\n";
    return !packets.empty();
}

bool PacketQueueWithGOP::AddToGop(iptr<IDataPacket> packet) {
    int64 const position = packet->GetSourcePosition();
    VLOG(4001) << "pos=" << position << (packet->IsKeyFrame() ? "  Key" : "");
    // A packet without a position never ends a group, key or not.
    if (HasValue(position)) {
        lastPosition = position;
        if (packet->IsKeyFrame() && !packets.empty()) {
            if (!HasValue(minGopPosition) || minGopPosition <= position) {
                nextGopPacket = std::move(packet);
                VLOG(4001) << "Next GOP start=" << position;
                return true;
            }
            // What was read ends ahead of the place that is wanted.
            Reset();
            VLOG(4001) << "GOP reset\n";
        }
    }
    Push(std::move(packet));
    return false;
}

}  // namespace Tarsel::Proc
