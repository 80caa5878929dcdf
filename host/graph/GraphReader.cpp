#include "host/graph/GraphReader.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

GraphDocument ReadGraph(std::string const&, GraphVariables const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

GraphDocument ParseGraph(std::string const&, GraphVariables const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

}  // namespace Tarsel::Host
