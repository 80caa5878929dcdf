#pragma once

#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// A graph that can't be built or run as it stands: what is wrong with it is its writer's to change.
class TARSEL_HOST_EXPORT GraphException : public virtual Exception {
  public:
    ~GraphException() noexcept override;
};

/// Throws `GraphException` "node ID: POINTER: WHAT". The pointer (RFC 6901) names the place in the graph's document; it
/// may be empty for what has no place there.
[[noreturn]] TARSEL_HOST_EXPORT void FailAtNode(int64 id, std::string const& pointer, std::string const& what);
/// Throws `GraphException` "POINTER: WHAT", for what belongs to no node.
[[noreturn]] TARSEL_HOST_EXPORT void FailAtPlace(std::string const& pointer, std::string const& what);

}  // namespace Tarsel::Host
