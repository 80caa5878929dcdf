#pragma once

#include <cstddef>
#include <list>

#include "contracts/Proc/IPTSRestorer.h"

namespace Tarsel::Proc::CodecParsers {

/// Groups packets: a group lasts from a packet that isn't a B slice to the next such packet, which makes it ready.
class H264PTSRestorer : public IPTSRestorer {
  public:
    /// Entries that a list holds at most.
    static constexpr std::size_t MAX_ENTRIES = 0x7FFFFFF;

    /// `maxEntries` is for tests, which can't wait for `MAX_ENTRIES`.
    H264PTSRestorer(bool lengthPrefixed, u32 nalLengthSize, std::size_t maxEntries = MAX_ENTRIES);

    /// Throws as `GetH264SliceInfo`, and `std::length_error` "list too long". Nothing has changed then.
    void AddPacket(iptr<IDataPacket> packet) override;
    RestoredPacket GetPacket() override;
    void Clear() override;

  private:
    i32 GetSliceType(iptr<IDataPacket> packet) const;
    /// Makes the group ready. `nextDts` is the decoding time of the packet behind it; returned as the group fills it
    /// in.
    int64 CloseGroup(int64 nextDts);

    bool lengthPrefixed;
    u32 nalLengthSize;
    std::size_t maxEntries;
    std::list<RestoredPacket> pending;  // the open group
    std::list<RestoredPacket> ready;    // in output order
};

}  // namespace Tarsel::Proc::CodecParsers
