#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/digest/RecordJob.h"

namespace Tarsel::Host {

/// What a recording left behind.
struct RecordReport {
    struct Node {
        NodeId id = 0;
        /// The class, or "source".
        std::string classId;
        /// "video", "audio", "subtitle", "packets".
        std::string kind;
        /// Items in the record.
        std::size_t items = 0;
    };

    /// The file of the record.
    std::string record;
    /// As the record names them; empty for none.
    std::string graph;
    std::string media;
    /// The file of frame hashes; empty for none.
    std::string frameHashes;
    /// Those that were watched, ascending by id.
    std::vector<Node> nodes;
    /// Items of all nodes.
    std::size_t items = 0;
    std::vector<std::string> warnings;
    double wallSeconds = 0;

    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: a line for each file and each node.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// What a record says for itself; `nodes` are those that were watched, empty for all. Names of files are the caller's.
TARSEL_HOST_EXPORT RecordReport MakeRecordReport(RunRecord const& record, std::vector<NodeId> const& nodes);

}  // namespace Tarsel::Host
