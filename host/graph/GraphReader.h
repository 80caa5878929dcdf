#pragma once

#include <map>
#include <string>

#include "contracts/Core/Export.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// What `${NAME}` stands for in a graph file.
using GraphVariables = std::map<std::string, std::string>;

/// Reads and checks a graph file. `GraphException` "PATH: " and the message of `ParseGraph`; a file that can't be read
/// is `Core::IOException` "PATH: ...".
TARSEL_HOST_EXPORT GraphDocument ReadGraph(std::string const& path, GraphVariables const& variables = {});

/// Reads a graph from its text: JSON (UTF-8) in the form of docs/graph.md, `${NAME}` filled in every text that is a
/// value. Everything that can be known without opening the media is checked; what is wrong throws `GraphException` with
/// the first of the findings: first what is wrong as JSON, then inside of the nodes, then between them (`CheckGraph`),
/// each in the order of the document. Settings come out complete: what the text leaves out has its default.
TARSEL_HOST_EXPORT GraphDocument ParseGraph(std::string const& text, GraphVariables const& variables = {});

}  // namespace Tarsel::Host
