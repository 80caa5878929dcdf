#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// What a change of container did.
struct RemuxReport {
    struct Stream {
        int index = 0;  // the stream's number in the source
        std::string kind;
        std::string codec;
        /// Packets of the result, and packets of the source that were left out because their framing is broken.
        int64 packets = 0;
        int64 dropped = 0;
        /// "length", "annexb", "adts" or "raw"; empty for codecs that are framed in one way only.
        std::string framingIn;
        std::string framingOut;
    };

    std::string input;
    std::string output;
    /// libavformat's name of the result's container.
    std::string container;
    std::vector<Stream> streams;
    std::vector<std::string> warnings;
    std::optional<bool> verified;
    double wallSeconds = 0;

    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: one line for the file, one for each stream.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

}  // namespace Tarsel::Host
