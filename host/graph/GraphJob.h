#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/cut/CutRequest.h"
#include "host/graph/GraphBuilder.h"
#include "host/graph/GraphDocument.h"
#include "host/graph/GraphReport.h"

namespace Tarsel::Host {

struct GraphRunOptions {
    /// Stands in front of messages about the graph: the file that it was read from. May be empty.
    std::string name;
    /// Read all streams of the output and write nothing.
    bool dryRun = false;
    /// Replace a file that stands at the output's place.
    bool force = false;
    /// How the graph is made.
    GraphBuildOptions building;
    /// Take attachments and cover pictures of the first file along. Its metadata always goes along.
    bool attachments = false;
    /// The chapters of the first file, up to that time; not set: none.
    std::optional<int64> chaptersUntil;
    /// Places to go to in turn, microseconds, before the streams are read from the last one to their ends: at each, one
    /// item of every stream is read. Without any, the streams are read from their start. For a dry run only.
    std::vector<int64> seeks;
    /// Go back to the start behind the last of these places: what follows is read as without them.
    bool fromStart = false;
};

/// Builds a graph and reads its output's streams in step to their ends, into a file or into nothing. The output appears
/// at its place only when all of it is written. `GraphException` for what is wrong with the graph or in one of its
/// nodes, `Core::IOException` for what is wrong with the output; then no output is left, and what stood at its place is
/// untouched. Seeks of a run that writes throw `std::invalid_argument` "Only a dry run seeks". `progress` is told the
/// time reached in the output and the longest length of its streams.
TARSEL_HOST_EXPORT GraphReport RunGraph(GraphDocument const& document, GraphRunOptions const& options,
                                        ProgressCallback const& progress);

/// Builds a graph and draws it, see `DrawGraph`; nothing is read of its streams.
TARSEL_HOST_EXPORT std::string DrawGraph(GraphDocument const& document, GraphRunOptions const& options);

}  // namespace Tarsel::Host
