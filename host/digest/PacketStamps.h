#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Types.h"
#include "host/media/FFmpeg.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// What the container itself says of a packet, in its own ticks. A presentation time that it doesn't say has no value;
/// a decoding time and a duration are filled in as the ffmpeg tool does.
struct PacketStamp {
    int64 pts = NO_VALUE;
    int64 dts = NO_VALUE;
    int64 duration = 0;
    std::size_t size = 0;
    /// See `SideDataText`; that of the stream counts to the first packet, as in the ffmpeg tool.
    std::string sideData;
};

struct StreamStamps {
    ParametersPtr parameters;
    AVRational timeBase{1, 1000000};
    AVRational sampleAspect{0, 1};
    std::vector<PacketStamp> packets;
};

/// Reads through a file and tells of all its streams what its packets are stamped with. Streams of packets count
/// microseconds from another zero, and know lengths that the container doesn't state: whoever compares with other
/// programs needs the file's own words. Throws `Core::IOException`; a file that breaks off ends there.
std::vector<StreamStamps> ReadStamps(MediaFile const& file);

}  // namespace Tarsel::Host
