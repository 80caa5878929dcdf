#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Types.h"
#include "host/media/FFmpeg.h"
#include "host/media/PacketScan.h"

extern "C" {
#include <libavcodec/bsf.h>
}

namespace Tarsel::Host {

struct FreeBsf {
    void operator()(AVBSFContext* context) const { av_bsf_free(&context); }
};
using BsfPtr = std::unique_ptr<AVBSFContext, FreeBsf>;

/// Prepares packets for containers that have no place for a global header, so that each key packet must carry it:
/// H.264 and HEVC get start codes, and all three MPEG kinds the header units that a key packet lacks.
class InBandHeaders {
  public:
    /// Null when the codec needs none of it. `parameters` is changed to what the muxer is to be told. Throws
    /// `Core::IOException` with the library's text when the global header is broken.
    static std::unique_ptr<InBandHeaders> Create(AVCodecParameters& parameters);

    /// Changes the packet in place. Throws `Core::IOException` when its framing is broken.
    void Process(AVPacket& packet);

  private:
    explicit InBandHeaders(AVCodecID codec) : codec(codec) {}
    void Convert(AVPacket& packet);
    std::string MissingUnits(AVPacket const& packet) const;

    AVCodecID const codec;
    BsfPtr converter;                // from length prefixes; null when packets have start codes already
    std::vector<std::string> units;  // header units without start codes (H.264, HEVC)
    std::string header;              // the global header as it stands (MPEG)
};

}  // namespace Tarsel::Host
