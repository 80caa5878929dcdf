#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

// The text format in which the ffmpeg tools list hashes of packets and frames: "framemd5", version 2. First what is
// known of the streams, then a line for each item, those of all streams together by decoding time.

/// One line. Times in ticks of its stream.
struct FrameHashLine {
    int64 dts = 0;
    int64 pts = 0;
    int64 duration = 0;
    std::size_t size = 0;
    std::string hash;
    /// What `SideDataText` says of a packet.
    std::string sideData;
};

struct FrameHashStream {
    /// Codec, size, rate, layout and header bytes are told of them.
    ParametersPtr parameters;
    AVRational timeBase{1, 1000000};
    AVRational sampleAspect{0, 1};
    /// In decoding order.
    std::vector<FrameHashLine> lines;
};

/// MD5 of the bytes as 32 lower-case hexadecimal digits.
TARSEL_HOST_EXPORT std::string HashBytes(u8 const* data, std::size_t size);
/// ", S=1,       10, " and a hash: number of the pieces, then size and hash of each; empty for none.
std::string SideDataText(AVPacket const& packet);
/// The whole text. The line that names the software is left out: any other program writes another one.
TARSEL_HOST_EXPORT std::string WriteFrameHashes(std::vector<FrameHashStream> const& streams);

}  // namespace Tarsel::Host
