// The real streams that are measured on, read and written through libavformat.
#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Bench {

using Bytes = std::vector<u8>;

struct Packet {
    Bytes data;
    bool key = false;
};

struct Stream {
    std::string codec;
    Bytes extradata;
    std::vector<Packet> packets;
    std::size_t GetSize() const;
};

/// The first stream of a file. Throws `std::runtime_error`.
Stream ReadStream(std::string const& path);

/// The packets behind a bit stream filter, with the filter's extradata.
Stream Filter(std::string const& name, Stream const& stream);

/// Seconds that a filter takes for the packets, copies of which are made before.
double TimeFilter(std::string const& name, Stream const& stream);

/// Seconds that the MP4 muxer takes for the packets when what it writes is thrown away.
double TimeMuxer(Stream const& stream);

}  // namespace Tarsel::Bench
