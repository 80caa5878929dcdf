#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/cut/CutRequest.h"
#include "host/sound/LevelMeter.h"

namespace Tarsel::Host {

struct LevelRequest {
    std::string input;
    /// Which of the audio streams, from 0.
    int stream = 0;
};

/// How loud a stream of sound is, 1 being full scale.
struct LevelReport {
    /// In the order of the stream's layout.
    std::vector<LevelMeter::Level> channels;
    /// The largest peak, and the RMS of all channels together.
    LevelMeter::Level all;
    /// The verdict of the library's detector, which looks at the first ten minutes.
    bool quiet = false;
    std::vector<std::string> warnings;

    /// {"channels": [{"peak", "rms"}...], "peak", "rms", "quiet"}, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: a line for each channel and one for all, as they are and in dBFS, and the verdict.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// Decodes a stream from its start to its end, once. Throws `Core::IOException` "PATH: ..." for a file that can't be
/// read or has no such stream, and what the decoder throws. `progress` is told the time reached and the length.
TARSEL_HOST_EXPORT LevelReport MeasureLevel(LevelRequest const& request, ProgressCallback const& progress);

}  // namespace Tarsel::Host
