// Bit stream filters of libavcodec, and the decoder's view of a stream.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/LibAv.h"
#include "tests/support/MediaInspector.h"

namespace Tarsel::Test {

struct FilteredStream {
    /// The header behind the filter: the one it announced, or else one that came with a packet.
    Bytes extradata;
    std::vector<Bytes> packets;
};

/// Sends the stream's packets through a filter, one in and one out. Throws `std::runtime_error` when the filter refuses
/// one or doesn't give exactly one for it.
FilteredStream RunFilter(std::string const& name, StreamInspection const& stream);

/// One header that the filter "trace_headers" told: its title and its fields in their order.
struct TracedHeader {
    std::string title;
    std::vector<std::pair<std::string, int64>> fields;
};

/// What "trace_headers" tells of extradata, and of packets when there are some.
std::vector<TracedHeader> TraceHeaders(std::string const& codec, Bytes const& extradata,
                                       std::vector<Bytes> const& packets);

/// The decoder after it has seen the stream's header and all packets.
Av::Codec DecodeStream(StreamInspection const& stream);

}  // namespace Tarsel::Test
