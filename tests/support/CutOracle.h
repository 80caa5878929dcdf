// What a cut of a file must give, computed from the source's packets and pictures alone. It knows nothing of how the
// program works: it is what the program's output is judged by.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "tests/support/MediaInspector.h"

namespace Tarsel::Test {

/// Half open, in microseconds from the first picture.
struct TimeRange {
    int64 begin = 0;
    int64 end = 0;
    bool operator==(TimeRange const&) const = default;
};
using TimeRanges = std::vector<TimeRange>;

/// Stands for "to the end" in a request.
inline constexpr int64 TO_END = std::numeric_limits<int64>::max();

struct CutRequest {
    bool keep = false;
    TimeRanges ranges;
    bool snapMore = false;
};

/// Key packet to key packet in decoding order. In time it reaches to the next key picture's time.
struct SourceGroup {
    int firstPacket = 0;
    int packetCount = 0;
    int64 start = 0;
    int64 end = 0;
};

/// Gives each picture its packet's own time, which is the true one: decoders count on where order or times puzzle them.
/// Where a file tells no times (AVI), what the decoder found out stays, and pictures ahead of the first known time
/// precede it in steps.
void TakePacketTimes(std::vector<DecodedPicture>& pictures, StreamInspection const& stream);

/// A source file, read and decoded once. All times count from the first picture, without video from the earliest
/// packet.
class SourceMedia {
  public:
    /// `duration` is the file's common duration in microseconds, as "to the end" means it.
    SourceMedia(std::string const& path, int64 duration);

    FileInspection const file;
    /// The file's own time of time 0, in microseconds.
    int64 zero = 0;
    int64 const duration;
    /// Index of the video stream, -1 without one.
    int video = -1;
    /// In presentation order; times count from time 0.
    std::vector<DecodedPicture> pictures;
    /// The picture of each video packet, -1 for a packet that shows none.
    std::vector<int> pictureOfPacket;
    /// Presentation time of each video packet.
    std::vector<int64> packetTimes;
    std::vector<SourceGroup> groups;
    /// The group of each video packet.
    std::vector<int> groupOfPacket;
    /// What the library says while it decodes the source itself.
    Messages messages;

    /// A picture that is shown before the key picture which precedes it in decoding order.
    bool IsLeading(int picture) const;
    bool HasLeading() const;
    /// Time of the picture after this one; behind the last, its time plus the usual distance.
    int64 PictureEnd(int picture) const;
    /// Presentation time of a packet of another stream than the video.
    int64 PacketTime(StreamInspection const& stream, PacketInfo const& packet) const;

  private:
    void ReadPictures();
    void ReadGroups();
};

/// The removed ranges as they fall on pictures: sorted, apart, none empty, within [0, duration].
TimeRanges RangesOnPictures(SourceMedia const& source, CutRequest const& request);
/// The same, moved to whole groups: inward to key pictures, or outward with `more`.
TimeRanges RangesOnGroups(SourceMedia const& source, TimeRanges const& ranges, bool more);

bool IsRemoved(TimeRanges const& removed, int64 time);
/// Time in the result of a time of the source; inside a removed range the time of the seam.
int64 MapTime(TimeRanges const& removed, int64 time);

enum class GroupFate { Copied, Recoded, Dropped };
GroupFate FateOf(SourceGroup const& group, TimeRanges const& removed);

struct ExpectedPicture {
    int source = 0;
    /// Result time in microseconds.
    int64 time = 0;
    /// Decodes to the very same bytes.
    bool exact = true;
    /// May be missing: a repeat of the picture before it, or a picture at a seam that lost its reference.
    bool optional = false;
};

struct ExpectedCut {
    TimeRanges removed;
    /// Fate of each group.
    std::vector<GroupFate> fates;
    std::vector<ExpectedPicture> pictures;
    /// In decoding order: for each copied group its packets; `optional` tells which of them may be missing.
    struct Packet {
        int source = 0;
        bool optional = false;
    };
    std::vector<std::vector<Packet>> copiedPackets;
};

/// `wholeGroups`: the video can be cut on key pictures only.
ExpectedCut ExpectCut(SourceMedia const& source, CutRequest const& request, bool wholeGroups);

}  // namespace Tarsel::Test
