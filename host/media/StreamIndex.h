#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// Whether decoding can start at a packet.
enum class RandomAccess : u8 {
    None = 0,
    /// An entry behind which pictures may still refer to what stands in front of it (recovery point, CRA, open group).
    Entry = 1,
    /// Nothing behind it refers to anything in front of it (IDR, a key of a codec without such references).
    Idr = 2,
};

/// What the index keeps of a packet. Times in microseconds on the file's axis.
struct IndexRecord {
    enum Flags : u8 {
        KEY = 1,           // marked by container or parser, and an entry point
        LEADING = 2,       // decoded after its key packet, shown before it
        PTS_FILLED = 4,    // the container has no presentation time here
        DTS_FILLED = 8,    // the container has no decoding time here
        NOT_SHOWN = 16,    // ahead of the container's edit list: decoded, not shown
        KEY_REFUSED = 32,  // marked as key, but nothing can start here
        CONTINUED = 64,    // a picture of subtitles that builds on what stands in front of it
    };

    int64 time = NO_VALUE;
    int64 decodingTime = NO_VALUE;
    /// Byte position in the file as the container tells it, -1 when it doesn't.
    int64 position = -1;
    /// Microseconds; 0 only outside video. The largest value stands for itself and all above it.
    u32 duration = 0;
    /// Payload bytes.
    u32 size = 0;
    /// Of size, first and last bytes of the payload: tells packets apart after a seek.
    u32 hash = 0;
    RandomAccess randomAccess = RandomAccess::None;
    u8 flags = 0;

    bool IsKey() const { return (flags & KEY) != 0; }
    bool IsLeading() const { return (flags & LEADING) != 0; }
};
static_assert(sizeof(IndexRecord) <= 40);

/// All packets of one stream, in the order of the file. Constant once built, so that any thread may ask it.
class TARSEL_HOST_EXPORT StreamIndex {
  public:
    static constexpr std::size_t NONE = static_cast<std::size_t>(-1);

    /// In decoding order.
    std::vector<IndexRecord> const& GetRecords() const { return records; }
    std::size_t GetCount() const { return records.size(); }
    std::size_t GetKeyCount() const { return keys.size(); }

    /// Presentation times in ascending order, one per packet.
    std::vector<int64> const& GetTimes() const { return times; }
    /// The first presentation time at or after `time`; no value when there is none.
    int64 GetNextTime(int64 time) const;
    /// Presentation times of the key packets, ascending.
    std::vector<int64> const& GetRandomAccessTimes() const { return keyTimes; }
    /// Number of the last key packet, in presentation order, whose time is at or before `time`; NONE when there is
    /// none.
    std::size_t FindKeyAt(int64 time) const;
    /// Number of the first packet that ends after `time`; NONE when there is none. For streams without reordering.
    std::size_t FindPacketAt(int64 time) const;
    /// The same for subtitles, where a packet that tells no duration lasts until the next one, the last one for ever.
    std::size_t FindEventAt(int64 time) const;
    /// Number of the last packet of pictured subtitles at or before `time` that builds on none in front of it; NONE
    /// when there is none.
    std::size_t FindEntryAt(int64 time) const;

    /// First presentation time; no value for a stream without packets.
    int64 GetStartTime() const { return times.empty() ? NO_VALUE : times.front(); }
    /// End of the packet that ends last; no value for a stream without packets.
    int64 GetEndTime() const { return endTime; }
    /// Payload bytes of all packets.
    int64 GetSize() const { return totalSize; }
    /// Microseconds from key to key on average; no value with no key at all.
    int64 GetMeanGroupLength() const;

    /// Whether each key packet is an IDR picture (or an equal of it in other codecs).
    bool IsEveryKeyIdr() const { return everyKeyIdr; }
    /// Whether any packet is shown before the key packet that it follows.
    bool HasLeadingPictures() const { return leadingCount != 0; }
    std::size_t GetLeadingCount() const { return leadingCount; }
    /// Whether presentation times could be had; otherwise `GetTimesProblem` says why not, and times are decoding times.
    bool HasPresentationTimes() const { return timesProblem.empty(); }
    std::string const& GetTimesProblem() const { return timesProblem; }

  private:
    friend class IndexBuilder;
    /// Derives everything else from the records.
    void Finish();

    std::vector<IndexRecord> records;
    std::vector<int64> times;
    std::vector<u32> keys;        // numbers of the key packets, by presentation time
    std::vector<int64> keyTimes;  // their times
    int64 endTime = NO_VALUE;
    int64 totalSize = 0;
    std::size_t leadingCount = 0;
    bool everyKeyIdr = true;
    std::string timesProblem;
};

}  // namespace Tarsel::Host
