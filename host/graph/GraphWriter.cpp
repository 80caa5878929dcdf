#include "host/graph/GraphWriter.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

std::string WriteGraph(GraphDocument const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

}  // namespace Tarsel::Host
