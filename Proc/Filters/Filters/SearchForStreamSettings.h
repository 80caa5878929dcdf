#pragma once

#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// What the first packets of a video stream tell about it.
struct StreamSettings {
    /// Presentation minus decoding time of a key packet other than the first (which some containers give no decoding
    /// time), microseconds; 0 when no such packet tells.
    int64 shift = 0;
    /// A packet has no presentation time.
    bool invalidPts = false;
    /// A picture follows a key packet in decoding order and comes ahead of it in display order.
    bool openGop = false;
};

/// Reads the stream from its place up to the third key packet, and leaves it there.
StreamSettings SearchForStreamSettings(IStreamRaw& stream);

}  // namespace Tarsel::Proc
