#pragma once

#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// What a file holds, and what a cut would do with it.
struct ProbeReport {
    struct Stream {
        int index = 0;
        std::string kind;
        std::string codec;
        std::string profile;
        std::string framing;
        int64 durationUs = 0;
        int64 startUs = 0;
        int64 packets = 0;
        std::vector<int64> keyframesUs;
        int64 meanGroupUs = NO_VALUE;
        std::string cutMode;
        std::string cutReason;
    };
    struct Chapter {
        int64 beginUs;
        int64 endUs;
        std::string title;
    };

    std::string input;
    std::string container;
    int64 durationUs = 0;
    std::vector<Stream> streams;
    std::vector<Chapter> chapters;
    std::vector<std::pair<std::string, std::string>> metadata;
    std::vector<std::string> warnings;

    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// Reads the whole file once. Throws `Core::IOException` naming the file.
TARSEL_HOST_EXPORT ProbeReport Probe(std::string const& path);

}  // namespace Tarsel::Host
