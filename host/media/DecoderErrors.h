#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"

namespace Tarsel::Host {

/// What the decoders in a tree of statistics have complained of, as a warning tells it: "decoders told of 2 errors".
/// Empty when they haven't.
TARSEL_HOST_EXPORT std::string DescribeDecoderErrors(Core::Property const& statistics);

}  // namespace Tarsel::Host
