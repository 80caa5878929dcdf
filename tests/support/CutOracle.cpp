#include "tests/support/CutOracle.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Test {
namespace {

/// Sorts, clamps to the file, merges what touches, leaves out what is empty.
TimeRanges Tidy(TimeRanges ranges, int64 duration) {
    for (auto& range : ranges) {
        range.begin = std::clamp<int64>(range.begin, 0, duration);
        range.end = std::clamp<int64>(range.end, 0, duration);
    }
    std::erase_if(ranges, [](TimeRange const& range) { return range.begin >= range.end; });
    std::sort(ranges.begin(), ranges.end(), [](auto const& a, auto const& b) { return a.begin < b.begin; });
    TimeRanges result;
    for (auto const& range : ranges) {
        if (!result.empty() && range.begin <= result.back().end)
            result.back().end = std::max(result.back().end, range.end);
        else
            result.push_back(range);
    }
    return result;
}

TimeRanges Complement(TimeRanges const& ranges, int64 duration) {
    TimeRanges result;
    int64 from = 0;
    for (auto const& range : ranges) {
        result.push_back({from, range.begin});
        from = range.end;
    }
    result.push_back({from, duration});
    return Tidy(result, duration);
}

/// First of the sorted `times` at or after `time`; the duration when there is none.
int64 NextTime(std::vector<int64> const& times, int64 time, int64 duration) {
    auto const place = std::lower_bound(times.begin(), times.end(), time);
    return place == times.end() ? duration : *place;
}

std::vector<int64> KeyTimes(SourceMedia const& source) {
    std::vector<int64> times;
    for (auto const& group : source.groups) times.push_back(group.start);
    return times;
}

/// Microseconds of `range` that lie in removed ranges.
int64 RemovedWithin(TimeRanges const& removed, TimeRange const& range) {
    int64 sum = 0;
    for (auto const& one : removed)
        sum += std::max<int64>(0, std::min(one.end, range.end) - std::max(one.begin, range.begin));
    return sum;
}

}  // namespace

void TakePacketTimes(std::vector<DecodedPicture>& pictures, StreamInspection const& stream) {
    for (auto& picture : pictures) {
        auto const& packet = stream.packets[static_cast<std::size_t>(picture.packet)];
        if (HasValue(packet.time)) picture.time = packet.time;
    }
    for (std::size_t i = pictures.size(); i-- > 1;)
        if (!HasValue(pictures[i - 1].time))
            pictures[i - 1].time = SubTime(pictures[i].time, stream.packets.front().duration);
    for (std::size_t i = 1; i < pictures.size(); i++)
        if (!HasValue(pictures[i].time))
            pictures[i].time = AddTime(pictures[i - 1].time, stream.packets.front().duration);
}

SourceMedia::SourceMedia(std::string const& path, int64 duration) : file(InspectFile(path)), duration(duration) {
    if (auto const* pictureStream = file.First(StreamKind::Video)) {
        video = pictureStream->index;
        ReadPictures();
        ReadGroups();
    } else {
        zero = std::numeric_limits<int64>::max();
        for (auto const& stream : file.streams)
            for (auto const& packet : stream.packets)
                if (HasValue(packet.time)) zero = std::min(zero, packet.time);
    }
}

void SourceMedia::ReadPictures() {
    auto const& packets = file.streams[static_cast<std::size_t>(video)].packets;
    pictures = DecodePictures(file.path, video, messages);
    if (pictures.empty()) TARSEL_THROW(std::runtime_error, "no picture can be decoded from " + file.path);
    TakePacketTimes(pictures, file.streams[static_cast<std::size_t>(video)]);
    zero = pictures.front().time;
    pictureOfPacket.assign(packets.size(), -1);
    packetTimes.assign(packets.size(), NO_VALUE);
    for (std::size_t i = 0; i < pictures.size(); i++) {
        pictures[i].time -= zero;
        auto const packet = static_cast<std::size_t>(pictures[i].packet);
        pictureOfPacket[packet] = static_cast<int>(i);
        packetTimes[packet] = pictures[i].time;
    }
    for (std::size_t i = 0; i < packets.size(); i++)
        if (pictureOfPacket[i] < 0 && HasValue(packets[i].time)) packetTimes[i] = packets[i].time - zero;
}

void SourceMedia::ReadGroups() {
    auto const& packets = file.streams[static_cast<std::size_t>(video)].packets;
    for (std::size_t i = 0; i < packets.size(); i++) {
        // The library marks every H.263 packet as a key packet: what its picture is decides.
        int const picture = pictureOfPacket[i];
        bool const key = packets[i].key && (picture < 0 || pictures[static_cast<std::size_t>(picture)].intra);
        if (key || groups.empty()) groups.push_back({static_cast<int>(i), 0, packetTimes[i], 0});
        groups.back().packetCount++;
        groupOfPacket.push_back(static_cast<int>(groups.size()) - 1);
    }
    for (std::size_t i = 0; i + 1 < groups.size(); i++) groups[i].end = groups[i + 1].start;
    groups.back().end = PictureEnd(static_cast<int>(pictures.size()) - 1);
}

bool SourceMedia::IsLeading(int picture) const {
    auto const& one = pictures[static_cast<std::size_t>(picture)];
    auto const group = static_cast<std::size_t>(groupOfPacket[static_cast<std::size_t>(one.packet)]);
    return one.time < groups[group].start;
}

bool SourceMedia::HasLeading() const {
    for (std::size_t i = 0; i < pictures.size(); i++)
        if (IsLeading(static_cast<int>(i))) return true;
    return false;
}

int64 SourceMedia::PictureEnd(int picture) const {
    auto const index = static_cast<std::size_t>(picture);
    if (index + 1 < pictures.size()) return pictures[index + 1].time;
    auto const& packets = file.streams[static_cast<std::size_t>(video)].packets;
    int64 const own = packets[static_cast<std::size_t>(pictures[index].packet)].duration;
    if (own > 0) return pictures[index].time + own;
    return pictures[index].time + (index > 0 ? pictures[index].time - pictures[index - 1].time : 0);
}

int64 SourceMedia::PacketTime(StreamInspection const& stream, PacketInfo const& packet) const {
    if (stream.index == video) return packetTimes[static_cast<std::size_t>(&packet - stream.packets.data())];
    int64 const time = HasValue(packet.time) ? packet.time : packet.decodingTime;
    return HasValue(time) ? time - zero : NO_VALUE;
}

TimeRanges RangesOnPictures(SourceMedia const& source, CutRequest const& request) {
    auto ranges = request.ranges;
    if (request.keep) ranges = Complement(Tidy(ranges, source.duration), source.duration);
    ranges = Tidy(ranges, source.duration);
    if (source.pictures.empty()) return ranges;
    std::vector<int64> times;
    for (auto const& picture : source.pictures) times.push_back(picture.time);
    for (auto& range : ranges) {
        range.begin = NextTime(times, range.begin, source.duration);
        range.end = NextTime(times, range.end, source.duration);
    }
    return Tidy(ranges, source.duration);
}

TimeRanges RangesOnGroups(SourceMedia const& source, TimeRanges const& ranges, bool more) {
    auto const keys = KeyTimes(source);
    auto result = ranges;
    for (auto& range : result) {
        auto const atOrBefore = [&](int64 time) {
            auto const place = std::upper_bound(keys.begin(), keys.end(), time);
            return place == keys.begin() ? int64{0} : *(place - 1);
        };
        if (more) {
            range.begin = range.begin >= source.duration ? source.duration : atOrBefore(range.begin);
            range.end = NextTime(keys, range.end, source.duration);
        } else {
            range.begin = NextTime(keys, range.begin, source.duration);
            if (range.end < source.duration) range.end = atOrBefore(range.end);
        }
    }
    return Tidy(result, source.duration);
}

bool IsRemoved(TimeRanges const& removed, int64 time) {
    int64 const point = std::max<int64>(time, 0);
    return std::any_of(removed.begin(), removed.end(),
                       [&](TimeRange const& range) { return range.begin <= point && point < range.end; });
}

int64 MapTime(TimeRanges const& removed, int64 time) {
    if (time < 0) return IsRemoved(removed, 0) ? 0 : time;
    return time - RemovedWithin(removed, {0, time});
}

GroupFate FateOf(SourceGroup const& group, TimeRanges const& removed) {
    int64 const gone = RemovedWithin(removed, {group.start, group.end});
    if (gone == 0) return GroupFate::Copied;
    return gone == group.end - group.start ? GroupFate::Dropped : GroupFate::Recoded;
}

ExpectedCut ExpectCut(SourceMedia const& source, CutRequest const& request, bool wholeGroups) {
    ExpectedCut cut;
    cut.removed = RangesOnPictures(source, request);
    if (wholeGroups) cut.removed = RangesOnGroups(source, cut.removed, request.snapMore);
    for (auto const& group : source.groups) cut.fates.push_back(FateOf(group, cut.removed));
    cut.copiedPackets.resize(source.groups.size());
    // A leading picture needs the group before it as it was.
    auto const isCut = [&](std::size_t group) { return group == 0 || cut.fates[group - 1] != GroupFate::Copied; };
    int last = -1;
    for (std::size_t i = 0; i < source.pictures.size(); i++) {
        auto const& picture = source.pictures[i];
        auto const group = static_cast<std::size_t>(source.groupOfPacket[static_cast<std::size_t>(picture.packet)]);
        bool const leading = source.IsLeading(static_cast<int>(i));
        if (IsRemoved(cut.removed, picture.time)) continue;
        if (cut.fates[group] == GroupFate::Dropped) {
            // Shown before the first picture of the removed range, but stored inside it: lost with its group.
            if (wholeGroups || !leading) continue;
        }
        bool const again = cut.fates[group] != GroupFate::Copied;
        bool const orphan = leading && (isCut(group) || again);
        bool const repeat =
            again && last >= 0 && source.pictures[static_cast<std::size_t>(last)].pixels == picture.pixels;
        cut.pictures.push_back(
            {static_cast<int>(i), MapTime(cut.removed, picture.time), !again && !orphan, orphan || repeat});
        last = static_cast<int>(i);
    }
    for (std::size_t g = 0; g < source.groups.size(); g++) {
        if (cut.fates[g] != GroupFate::Copied) continue;
        auto const& group = source.groups[g];
        for (int packet = group.firstPacket; packet < group.firstPacket + group.packetCount; packet++) {
            int64 const time = source.packetTimes[static_cast<std::size_t>(packet)];
            if (HasValue(time) && IsRemoved(cut.removed, time)) continue;
            int const picture = source.pictureOfPacket[static_cast<std::size_t>(packet)];
            cut.copiedPackets[g].push_back({packet, picture >= 0 && source.IsLeading(picture) && isCut(g)});
        }
    }
    return cut;
}

}  // namespace Tarsel::Test
