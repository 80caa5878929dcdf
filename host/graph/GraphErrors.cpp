#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

GraphException::~GraphException() noexcept = default;

void FailAtNode(int64 id, std::string const& pointer, std::string const& what) {
    TARSEL_THROW(GraphException,
                 "node " + std::to_string(id) + ": " + (pointer.empty() ? std::string() : pointer + ": ") + what);
}

void FailAtPlace(std::string const& pointer, std::string const& what) {
    TARSEL_THROW(GraphException, (pointer.empty() ? std::string() : pointer + ": ") + what);
}

}  // namespace Tarsel::Host
