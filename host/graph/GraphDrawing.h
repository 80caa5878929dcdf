#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "host/graph/GraphBuilder.h"

namespace Tarsel::Host {

/// The built graph in the language of Graphviz: each stream with its node, class, kind, format and length, controllers
/// as boxes beside their streams, and the output.
TARSEL_HOST_EXPORT std::string DrawGraph(BuiltGraph const& graph);

}  // namespace Tarsel::Host
