#pragma once

#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

/// The frame that the context's decoder would give for a packet, over the packet's own memory: for samples that are
/// stored just as this machine computes with them, so that there is nothing to decode. Null for all that needs the
/// decoder: other codecs, packets with a rest of a sample, marks or side data.
FramePtr PlainFrame(AVCodecContext const& context, AVPacket const& packet);

}  // namespace Tarsel::Host
