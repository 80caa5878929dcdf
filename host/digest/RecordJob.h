#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/GraphCRCData.h"
#include "host/cut/CutRequest.h"
#include "host/graph/GraphBuilder.h"
#include "host/graph/GraphReport.h"

namespace Tarsel::Host {

/// Where the frames of a media file's stream stand in its record: that of stream N is node N for the packets, and
/// node `DECODED_NODES` + N for what is decoded of them.
inline constexpr NodeId DECODED_NODES = 1000;

/// How a run is recorded.
struct RecordOptions {
    /// Stands in front of messages, and goes into the record as the graph's name. May be empty.
    std::string name;
    /// The nodes that are watched; empty: all of them.
    std::vector<NodeId> nodes;
    /// Places to go to before the graph is read from its start; one item of every output is read at each, and stays in
    /// the record.
    std::vector<int64> seeks;
    /// How the graph is made. A `wrap` of it stands below the digests.
    GraphBuildOptions building;
};

/// What a recording gave.
struct RunRecord {
    Proc::GraphCRCData data;
    GraphReport report;
};

/// Throws `GraphException` for a node of these that is no stream of the graph.
TARSEL_HOST_EXPORT void CheckNodes(GraphDocument const& document, std::vector<NodeId> const& nodes);

/// Builds a graph, reads its outputs in step to their ends without writing them, and records what comes out of the
/// nodes that are watched; one that gave nothing isn't in the record. The record names the graph as the options do, and
/// the first file of the graph's sources as the document does. A node that isn't in the graph throws `GraphException`,
/// a name that isn't UTF-8 `Core::IOException`; other failures are those of `RunGraph`.
TARSEL_HOST_EXPORT RunRecord RecordGraph(GraphDocument const& document, RecordOptions const& options,
                                         ProgressCallback const& progress);

/// The graph by which a media file is recorded: each stream that has packets, and with `decoded` also what comes of
/// those that can be decoded. `warnings` tell of video, sound and subtitles that are left out. A file of which nothing
/// is left throws `Core::IOException` "PATH: holds no packets".
TARSEL_HOST_EXPORT GraphDocument MakeMediaGraph(std::string const& path, bool decoded,
                                                std::vector<std::string>& warnings);
/// The same of a file that is open already.
TARSEL_HOST_EXPORT GraphDocument MakeMediaGraph(iptr<MediaFile> const& file, bool decoded,
                                                std::vector<std::string>& warnings);

}  // namespace Tarsel::Host
