#pragma once

#include <memory>
#include <string>

#include "contracts/Core/Types.h"
#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

/// Prepares packets for containers that have no place for a global header, so that each key packet carries it. The MPEG
/// kinds get the header in front of the keys that lack it. H.264 and HEVC come with it (see `ReframedStream`): here the
/// access unit delimiter, if there is one, goes to the front, and a parameter set that is repeated goes.
class InBandHeaders {
  public:
    /// Null when the codec needs none of it. `parameters` is changed to what the muxer is to be told. Throws
    /// `Core::IOException` for H.264 and HEVC with lengths instead of start codes.
    static std::unique_ptr<InBandHeaders> Create(AVCodecParameters& parameters);

    /// Changes the packet in place.
    void Process(AVPacket& packet) const;

  private:
    explicit InBandHeaders(AVCodecID codec) : codec(codec) {}

    AVCodecID const codec;
    std::string header;  // the global header as it stands (MPEG)
};

}  // namespace Tarsel::Host
