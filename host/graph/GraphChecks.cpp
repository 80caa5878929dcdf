#include "host/graph/GraphChecks.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

GraphStreamTypes CheckGraph(GraphDocument const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

}  // namespace Tarsel::Host
