#include "Proc/CodecParsers/H264PTSRestorer.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr i32 B_SLICE = 1;

// `count` frames of `duration`; no value without a duration. Saturates short of the no-value time, as `AddTime` does.
int64 Frames(int64 duration, std::size_t count) {
    if (!HasValue(duration)) return NO_VALUE;
    int64 product = 0;
    if (__builtin_mul_overflow(duration, count, &product) || product == NO_VALUE)
        return duration < 0 ? NO_VALUE + 1 : std::numeric_limits<int64>::max();
    return product;
}

void RequireRoom(std::list<RestoredPacket> const& list, std::size_t added, std::size_t maxEntries) {
    if (list.size() > maxEntries || added > maxEntries - list.size()) TARSEL_THROW(std::length_error, "list too long");
}

// Fills missing decoding times backwards from `nextDts`, that of the packet behind the group, one frame each. Where the
// packet has none it follows from the group. Returns it.
int64 FillDecodingTimes(std::list<RestoredPacket>& group, int64 nextDts) {
    int64 const frame = group.front().packet->GetDuration();
    if (!HasValue(nextDts)) {
        std::size_t left = group.size();
        for (RestoredPacket const& entry : group) {
            if (HasValue(entry.dts)) {
                nextDts = AddTime(entry.dts, Frames(frame, left));
                break;
            }
            --left;
        }
    }
    std::size_t left = group.size();
    for (RestoredPacket& entry : group) {
        if (!HasValue(entry.dts)) entry.dts = SubTime(nextDts, Frames(frame, left));
        --left;
    }
    return nextDts;
}

}  // namespace

H264PTSRestorer::H264PTSRestorer(bool lengthPrefixed, u32 nalLengthSize, std::size_t maxEntries)
    : lengthPrefixed(lengthPrefixed), nalLengthSize(nalLengthSize), maxEntries(maxEntries) {}

void H264PTSRestorer::AddPacket(iptr<IDataPacket> packet) {
    if (!packet && pending.empty()) return;
    i32 const type = packet ? GetSliceType(packet) : -1;
    std::list<RestoredPacket> added;
    if (packet) added.push_back({packet, packet->GetTime(), packet->GetDecodingTime()});
    if (!pending.empty() && type != B_SLICE) {
        int64 const nextDts = CloseGroup(packet ? added.front().dts : NO_VALUE);
        // Meant: the time that the group gave to the packet stays with it, so one known time is carried on.
        if (packet) added.front().dts = nextDts;
    }
    // Meant: without a limit below that of the list a stream of nothing but B slices is held to its end.
    RequireRoom(pending, added.size(), maxEntries);
    pending.splice(pending.end(), added);
}

RestoredPacket H264PTSRestorer::GetPacket() {
    if (ready.empty()) return {};
    RestoredPacket result = std::move(ready.front());
    ready.pop_front();
    return result;
}

void H264PTSRestorer::Clear() {
    pending.clear();
    ready.clear();
}

i32 H264PTSRestorer::GetSliceType(iptr<IDataPacket> packet) const {
    return GetH264SliceInfo(std::move(packet), lengthPrefixed, static_cast<int>(nalLengthSize)).slice_type;
}

int64 H264PTSRestorer::CloseGroup(int64 nextDts) {
    RequireRoom(ready, pending.size(), maxEntries);
    bool const anchored = GetSliceType(pending.front().packet) != B_SLICE;
    // From here on nothing throws.
    nextDts = FillDecodingTimes(pending, nextDts);
    if (anchored) pending.splice(pending.end(), pending, pending.begin());
    // Meant: each time is the decoding time less one duration, so times don't ascend: the anchor, last, has the lowest.
    for (RestoredPacket& entry : pending) entry.pts = SubTime(entry.dts, entry.packet->GetDuration());
    ready.splice(ready.end(), pending);
    return nextDts;
}

std::unique_ptr<IPTSRestorer> CreateH264PTSRestorer(bool lengthPrefixed, u32 nalLengthSize) {
    return std::make_unique<H264PTSRestorer>(lengthPrefixed, nalLengthSize);
}

}  // namespace Tarsel::Proc::CodecParsers
