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
        /// What the container's own times and the kinds of key pictures say about cutting without loss.
        bool losslessPossible = true;
        bool craPictures = false;
        std::vector<std::string> losslessReasons;
        /// The header records, one child for each; see `DescribeHeaders`.
        Core::Property headers;
    };
    struct Chapter {
        int64 beginUs;
        int64 endUs;
        std::string title;
    };

    std::string input;
    /// Whether the header records were asked for.
    bool withHeaders = false;
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

/// Reads the whole file once, HEVC video twice. With `headers` also the header records of each stream. Throws
/// `Core::IOException` naming the file.
TARSEL_HOST_EXPORT ProbeReport Probe(std::string const& path, bool headers);

}  // namespace Tarsel::Host
