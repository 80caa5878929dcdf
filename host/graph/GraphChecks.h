#pragma once

#include <map>
#include <optional>

#include "contracts/Core/Export.h"
#include "host/graph/GraphDocument.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

/// What is known about a stream of a graph before any file is opened.
struct GraphStreamType {
    /// Not set for a stream that is chosen by its index.
    std::optional<GraphKind> kind;
    /// What the packets are packets of; for the other kinds what the kind says. Not set when it isn't known.
    std::optional<StreamKind> media;
};

/// The type of every stream, by its id.
using GraphStreamTypes = std::map<NodeId, GraphStreamType>;

/// Checks how the nodes of a graph hang together: ids, inputs, circles, kinds, streams that nobody reads, and the
/// output. `GraphException` with the first finding in the order of the document. Classes must be in the catalog.
TARSEL_HOST_EXPORT GraphStreamTypes CheckGraph(GraphDocument const& document);

}  // namespace Tarsel::Host
