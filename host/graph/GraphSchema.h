#pragma once

#include <string>

#include "contracts/Core/Export.h"

namespace Tarsel::Host {

/// The JSON Schema (draft 2020-12) of a graph file, made of the catalog: docs/graph.schema.json.
TARSEL_HOST_EXPORT std::string GraphSchema();

/// The table of classes and settings of docs/graph.md (Markdown), made of the catalog.
TARSEL_HOST_EXPORT std::string GraphClassTable();

}  // namespace Tarsel::Host
