#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// The document as the text of a graph file, which `ParseGraph` reads back as an equal document. Throws
/// `GraphException` for a class that the catalog doesn't know, and for settings that it doesn't describe.
TARSEL_HOST_EXPORT std::string WriteGraph(GraphDocument const& document);

}  // namespace Tarsel::Host
