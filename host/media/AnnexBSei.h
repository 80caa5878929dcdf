#pragma once

#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

/// Takes the SEI units that hold nothing but unregistered user data (H.264, D.1.7: payload type 5) out of an Annex B
/// packet of H.264. Encoders write what they are and how they were set into such a unit, once per instance. A packet
/// without one stays as it is. Throws `ProcException` when there is no memory.
void RemoveUserDataSei(AVPacket& packet);

}  // namespace Tarsel::Host
