#include "host/media/JoinedTimes.h"

#include <algorithm>
#include <cstdlib>

namespace Tarsel::Host {

namespace {

/// Decoding times may be off by less than this without a joint, in microseconds.
constexpr int64 TOLERANCE = 100000;
/// Jumps of several streams at one joint differ by less than this, in microseconds.
constexpr int64 SAME_JOINT = 5 * SECOND;
/// A jump that is taken back within so many packets is a wrong time.
constexpr std::size_t WRONG_TIMES = 16;
/// Packets behind a joint among which the one shown first is looked for.
constexpr std::size_t REORDERED = 32;

/// A place at which a stream's decoding times jump back. Times in microseconds.
struct Jump {
    std::size_t track;
    std::size_t record;  // the first one behind the joint
    int64 position;
    int64 from;
    int64 to;
    int64 shift;  // what moves the stream's rest behind its beginning
};

struct Joint {
    std::vector<Jump> jumps;  // of one stream each
    int64 offset = 0;         // of all that follows, this joint's predecessors included
};

class JumpFinder {
  public:
    JumpFinder(JoinedTrack const& track, std::size_t number) : track(track), records(*track.records), number(number) {}

    void Run(std::vector<Jump>& jumps) {
        int64 position = -1;
        for (std::size_t i = 0; i < records.size(); ++i) {
            position = std::max(position, records[i].position);
            int64 const time = DecodingTime(i);
            if (!HasValue(time)) continue;
            if (HasValue(last) && SubTime(last, time) > TOLERANCE) {
                if (IsTakenBack(i)) continue;
                int64 const shift = std::max(SubTime(lastEnd, time), SubTime(shownEnd, FindShownStart(i)));
                jumps.push_back({number, i, position, last, time, shift});
                shownEnd = NO_VALUE;
            }
            last = time;
            lastEnd = AddTime(time, DurationOf(i));
            int64 const end = AddTime(ToMicroseconds(records[i].time, track.timeBase), DurationOf(i));
            shownEnd = std::max(shownEnd, end);
        }
    }

  private:
    int64 DecodingTime(std::size_t i) const { return ToMicroseconds(records[i].decodingTime, track.timeBase); }

    int64 DurationOf(std::size_t i) const {
        u32 const ticks = (*track.ticks)[i];
        return ToMicroseconds(ticks != 0 ? ticks : track.frameTicks, track.timeBase);
    }

    bool IsTakenBack(std::size_t jump) const {
        int64 previous = DecodingTime(jump);
        std::size_t const end = std::min(records.size(), jump + WRONG_TIMES);
        for (std::size_t i = jump + 1; i < end; ++i) {
            int64 const time = DecodingTime(i);
            if (!HasValue(time)) continue;
            if (time > last && SubTime(time, previous) > TOLERANCE) return true;
            previous = time;
        }
        return false;
    }

    int64 FindShownStart(std::size_t jump) const {
        int64 start = DecodingTime(jump);
        bool found = false;
        for (std::size_t i = jump; i < std::min(records.size(), jump + REORDERED); ++i) {
            int64 const time = ToMicroseconds(records[i].time, track.timeBase);
            if (!HasValue(time) || (found && time >= start)) continue;
            found = true;
            start = time;
        }
        return start;
    }

    JoinedTrack const& track;
    std::vector<IndexRecord> const& records;
    std::size_t const number;
    int64 last = NO_VALUE;
    int64 lastEnd = NO_VALUE;
    int64 shownEnd = NO_VALUE;
};

bool BelongsTo(Joint const& joint, Jump const& jump) {
    Jump const& first = joint.jumps.front();
    bool const near = std::abs(jump.from - first.from) < SAME_JOINT && std::abs(jump.to - first.to) < SAME_JOINT;
    return near && std::none_of(joint.jumps.begin(), joint.jumps.end(),
                                [&](Jump const& other) { return other.track == jump.track; });
}

std::vector<Joint> FindJoints(std::vector<Jump> const& jumps) {
    std::vector<Joint> joints;
    for (Jump const& jump : jumps) {
        if (joints.empty() || !BelongsTo(joints.back(), jump)) joints.emplace_back();
        joints.back().jumps.push_back(jump);
    }
    int64 offset = 0;
    for (Joint& joint : joints) {
        int64 shift = 0;
        for (Jump const& jump : joint.jumps) shift = std::max(shift, jump.shift);
        joint.offset = offset = AddTime(offset, shift);
    }
    return joints;
}

/// The first record behind the joint; a stream that doesn't jump there goes by its place in the file.
std::size_t FindStart(Joint const& joint, JoinedTrack const& track, std::size_t number, std::size_t from) {
    for (Jump const& jump : joint.jumps)
        if (jump.track == number) return jump.record;
    std::vector<IndexRecord> const& records = *track.records;
    while (from < records.size() && records[from].position < joint.jumps.front().position) ++from;
    return from;
}

void Move(std::vector<Joint> const& joints, JoinedTrack const& track, std::size_t number) {
    std::vector<IndexRecord>& records = *track.records;
    int64 offset = 0;
    std::size_t at = 0;
    for (std::size_t k = 0; k <= joints.size(); ++k) {
        std::size_t const next = k < joints.size() ? FindStart(joints[k], track, number, at) : records.size();
        for (; at < next; ++at) {
            records[at].time = AddTime(records[at].time, offset);
            records[at].decodingTime = AddTime(records[at].decodingTime, offset);
        }
        if (k < joints.size()) offset = FromMicroseconds(joints[k].offset, track.timeBase);
    }
}

}  // namespace

std::size_t MoveBehindJoints(std::vector<JoinedTrack> const& tracks) {
    std::vector<Jump> jumps;
    for (std::size_t i = 0; i < tracks.size(); ++i) JumpFinder(tracks[i], i).Run(jumps);
    std::stable_sort(jumps.begin(), jumps.end(), [](Jump const& a, Jump const& b) { return a.position < b.position; });
    std::vector<Joint> const joints = FindJoints(jumps);
    if (joints.empty()) return 0;
    for (std::size_t i = 0; i < tracks.size(); ++i) Move(joints, tracks[i], i);
    return joints.size();
}

}  // namespace Tarsel::Host
