#include "host/graph/GraphSchema.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

std::string GraphSchema() {
    TARSEL_THROW(std::logic_error, "not built yet");
}

std::string GraphClassTable() {
    TARSEL_THROW(std::logic_error, "not built yet");
}

}  // namespace Tarsel::Host
