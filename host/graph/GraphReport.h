#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// What a run of a graph did.
struct GraphReport {
    struct Node {
        NodeId id = 0;
        /// The class, or "source".
        std::string classId;
        /// "video", "audio", "subtitle", "packets".
        std::string kind;
        /// Reads that gave an item.
        int64 items = 0;
        /// The stream's own length; no value when it isn't known.
        int64 durationUs = NO_VALUE;
        /// Time inside the node's calls, with and without that of its inputs on the same thread.
        int64 inclusiveUs = 0;
        int64 exclusiveUs = 0;
    };
    struct Stream {
        NodeId input = 0;
        std::string kind;
        /// FFmpeg's name; empty in a dry run of a decoded stream.
        std::string codec;
        /// What was read of it: packets, or the items of a dry run.
        int64 items = 0;
        /// Where it begins, and where its last item ends; no value when it is empty.
        int64 beginUs = NO_VALUE;
        int64 endUs = NO_VALUE;
        /// The tree of its chain, as the streams tell it.
        Core::Property statistics;
    };

    /// What a drawer of subtitles did.
    struct Titles {
        NodeId node = 0;
        int64 subtitlesRead = 0;
        int64 imagesMade = 0;
    };

    /// A place that the run went to, and where the streams of the output stood there.
    struct Seek {
        int64 requestedUs = 0;
        /// The times of the items that came; no value at a stream's end.
        std::vector<int64> realUs;
    };

    /// Empty in a dry run.
    std::string output;
    /// libavformat's name of the container; empty in a dry run.
    std::string container;
    std::vector<Node> nodes;
    std::vector<Stream> streams;
    std::vector<Titles> titles;
    std::vector<Seek> seeks;
    std::vector<std::string> warnings;
    double wallSeconds = 0;

    /// One JSON document, without a line break at its end. Statistics only on request.
    TARSEL_HOST_EXPORT std::string ToJson(bool withStatistics) const;
    /// For people: a line for the file, one for each stream and each seek; with statistics also one for each node, and
    /// the trees.
    TARSEL_HOST_EXPORT std::string ToText(bool withStatistics) const;
    /// The later of the streams' ends; 0 when nothing came out.
    TARSEL_HOST_EXPORT int64 GetEnd() const;
};

}  // namespace Tarsel::Host
