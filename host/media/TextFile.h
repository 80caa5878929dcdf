#pragma once

#include <string>

#include "contracts/Core/Export.h"

namespace Tarsel::Host {

/// Writes a text file in one piece: it appears at its place when all of it is written. Throws `Core::IOException`
/// naming the file when it can't be written, or when one stands there and `force` is not set.
TARSEL_HOST_EXPORT void WriteTextFile(std::string const& path, std::string const& text, bool force);

}  // namespace Tarsel::Host
