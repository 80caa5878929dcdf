// Brings packets of different containers to one form, so that "the same bytes" can be asked across them.
#pragma once

#include <string>

#include "tests/support/MediaInspector.h"

namespace Tarsel::Test {

/// What of a packet must be the source's bytes. Within one container that is the whole packet. Where `foreign`, framing
/// and headers that belong to the container go: NAL units come as a list without access unit delimiters and parameter
/// sets, AAC without its ADTS header. In front of key packets of MPEG-4 and MPEG-1/2 video header units may always be
/// added.
Bytes ComparablePayload(StreamInspection const& stream, PacketInfo const& packet, bool foreign);

}  // namespace Tarsel::Test
