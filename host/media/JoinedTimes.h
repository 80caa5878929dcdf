#pragma once

#include <cstddef>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "host/media/FFmpeg.h"
#include "host/media/StreamIndex.h"

namespace Tarsel::Host {

/// A stream whose times may start anew; in ticks, in the order of the file.
struct JoinedTrack {
    std::vector<IndexRecord>* records;
    std::vector<u32> const* ticks;  // durations
    AVRational timeBase;
    int64 frameTicks;  // the duration of packets that have none
};

/// Recordings that were joined byte by byte have times that jump back at each joint. Moves what stands behind a joint
/// to the end of what stands in front of it, all streams by the same time, and returns the number of joints. Single
/// packets with a wrong time are no joint.
TARSEL_HOST_EXPORT std::size_t MoveBehindJoints(std::vector<JoinedTrack> const& tracks);

}  // namespace Tarsel::Host
